// The part of a store that is the same for every engine that speaks SQL: the tree of databases,
// nodes and points. An engine provides one primitive, a batch of statements run as one transaction,
// and the work on samples.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "store/store.h"

namespace kelp {

// NULL stands for a NaN in engines that cannot store one.
using SqlValue = std::variant<std::monostate, int64_t, double, std::string>;
using SqlRow = std::vector<SqlValue>;

struct SqlCommand {
  std::string sql;  // parameters are $1, $2, ...
  std::vector<SqlValue> parameters;
  int columns = 1;  // of each row
};

struct SqlResult {
  std::vector<SqlRow> rows;
  bool refused = false;  // the store cannot hold a text of the command, and has done nothing
};

// Conditions on an object, and what statements of all engines end with.
inline const std::string kIsPoint = "kind >= " + std::to_string(kFirstPointKind);
inline const std::string kIsNodeOrPoint = "kind >= " + std::to_string(kNodeKind);
constexpr const char *kReplaceSample =
    " ON CONFLICT (point_id, time) DO UPDATE"
    " SET status = excluded.status, value = excluded.value";
constexpr const char *kReplaceCurrentValue =
    " ON CONFLICT (point_id) DO UPDATE"
    " SET time = excluded.time, status = excluded.status, value = excluded.value";

// The row of the database that every new store holds.
inline const std::string kFirstDatabase =
    "(kind, name, full_name) VALUES (" + std::to_string(kDatabaseKind) + ", 'W3', 'W3')";

class SqlStore : public Store {
 public:
  // `object` is the name of the table of objects.
  explicit SqlStore(std::string object) : object_(std::move(object)) {}

  std::vector<ObjectRecord> databases() override;
  std::vector<ObjectRecord> children(const std::string &name) override;
  std::vector<std::optional<ObjectRecord>> points(std::span<const int32_t> ids) override;
  std::vector<std::optional<ObjectRecord>> objects(std::span<const std::string> names) override;
  std::vector<ResultCode> insert(const std::string &parent,
                                 std::span<ObjectRecord *const> records) override;
  std::vector<ResultCode> update(const std::string &parent,
                                 std::span<const ObjectChange> changes) override;
  std::vector<ResultCode> erase(const std::string &parent, std::span<const int32_t> ids) override;

 protected:
  enum class Access { read, write };

  // Runs the commands as one transaction and returns the rows of each.
  virtual std::vector<SqlResult> run(Access access, const std::vector<SqlCommand> &commands) = 0;

  // The statement which notes that the samples of an object, $1, are to be removed, unless it is
  // still there.
  virtual const char *note_erased() const = 0;
  // Names the store in lines for the operator.
  virtual std::string label() const = 0;

 private:
  SqlCommand select(const std::string &condition, std::vector<SqlValue> parameters) const;
  SqlCommand insert_command(const std::string &parent, const ObjectRecord &record) const;
  SqlCommand update_command(const std::string &parent, const ObjectChange &change) const;
  SqlCommand erase_command(const std::string &parent, int64_t id) const;
  // What each of some queries finds.
  std::vector<std::vector<ObjectRecord>> read_objects(const std::vector<SqlCommand> &queries);
  // The same query for every key: a record where it found one.
  template <typename Keys>
  std::vector<std::optional<ObjectRecord>> look_up(const Keys &keys, const std::string &condition);

  std::string object_;
};

}  // namespace kelp
