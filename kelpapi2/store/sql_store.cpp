// One dialect serves all engines here. Every object carries its full name, so that a lookup is one
// probe of one index. Outcomes are read off the rows that statements return, and what it takes to
// tell why one was refused is asked in the same transaction: once it is committed nothing can fail.
#include "store/sql_store.h"

#include <cmath>

namespace kelp {

namespace {

const std::string kSelectObject = "SELECT id, kind, name, ed, fq, ar, iv, hw FROM object WHERE ";

int32_t integer(const SqlValue &value) { return static_cast<int32_t>(std::get<int64_t>(value)); }

double real(const SqlValue &value) {
  if (const auto *number = std::get_if<double>(&value)) return *number;
  if (const auto *whole = std::get_if<int64_t>(&value)) return static_cast<double>(*whole);
  return std::nan("");
}

ObjectRecord to_record(const SqlRow &row) {
  return {integer(row[0]),
          integer(row[1]),
          std::get<std::string>(row[2]),
          std::get<std::string>(row[3]),
          integer(row[4]),
          integer(row[5]),
          real(row[6]),
          integer(row[7])};
}

std::optional<ObjectRecord> first_of(const std::vector<ObjectRecord> &records) {
  return records.empty() ? std::nullopt : std::optional(records[0]);
}

// The kind of container that an object of this kind lies in.
int64_t parent_kind(int32_t kind) { return kind == kNodeKind ? kDatabaseKind : kNodeKind; }

SqlCommand insert_command(const std::string &parent, const ObjectRecord &record) {
  return {
      "INSERT INTO object (parent_id, kind, name, full_name, ed, fq, ar, iv, hw)"
      " SELECT id, $3, $4, $5, $6, $7, $8, $9, $10 FROM object"
      " WHERE full_name = $1 AND kind = $2"
      " ON CONFLICT (full_name) DO NOTHING RETURNING id",
      {parent, parent_kind(record.kind), int64_t{record.kind}, record.name,
       parent + "." + record.name, record.ed, int64_t{record.fq}, int64_t{record.ar}, record.iv,
       int64_t{record.hw}}};
}

SqlCommand update_command(const std::string &parent, const ObjectChange &change) {
  SqlCommand command{"UPDATE object SET name = name", {int64_t{change.id}, parent}};
  const auto set = [&](ChangedField field, const char *column, SqlValue value) {
    if ((change.changed & field) == 0) return;
    command.parameters.push_back(std::move(value));
    command.sql += std::string(", ") + column + " = $" + std::to_string(command.parameters.size());
  };
  set(kChangedEd, "ed", change.record->ed);
  set(kChangedFq, "fq", int64_t{change.record->fq});
  set(kChangedAr, "ar", int64_t{change.record->ar});
  set(kChangedIv, "iv", change.record->iv);
  set(kChangedHw, "hw", int64_t{change.record->hw});
  command.sql +=
      " WHERE id = $1 AND parent_id = (SELECT id FROM object WHERE full_name = $2) RETURNING id";
  return command;
}

}  // namespace

// What each of some queries finds.
std::vector<std::vector<ObjectRecord>> SqlStore::select(const std::vector<SqlCommand> &queries) {
  std::vector<std::vector<ObjectRecord>> results;
  for (const auto &rows : run(Access::read, queries)) {
    auto &records = results.emplace_back();
    try {
      for (const SqlRow &row : rows) records.push_back(to_record(row));
    } catch (const std::bad_variant_access &) {
      throw Failure(kDamaged, label() + ": an object has a field of another type than its column");
    }
  }
  return results;
}

// The same query for every key: a record where it found one.
template <typename Keys>
std::vector<std::optional<ObjectRecord>> SqlStore::look_up(const Keys &keys,
                                                           const std::string &condition) {
  std::vector<SqlCommand> queries;
  for (const auto &key : keys) queries.push_back({kSelectObject + condition, {SqlValue(key)}});
  std::vector<std::optional<ObjectRecord>> found;
  for (const auto &records : select(queries)) found.push_back(first_of(records));
  return found;
}

std::vector<ObjectRecord> SqlStore::databases() {
  // What lies in nothing is a database; unlike the kinds, the parents have an index.
  return select({{kSelectObject + "parent_id IS NULL ORDER BY id", {}}})[0];
}

std::vector<ObjectRecord> SqlStore::children(const std::string &name) {
  const std::string database = name.substr(0, name.rfind('.'));
  if (!look_up(std::span(&database, 1), "full_name = $1")[0]) {
    throw Failure(kUnknownName, "no database has the name \"" + database + "\"");
  }
  return select(
      {{kSelectObject + "parent_id = (SELECT id FROM object WHERE full_name = $1) ORDER BY id",
        {name}}})[0];
}

std::vector<std::optional<ObjectRecord>> SqlStore::points(std::span<const int32_t> ids) {
  return look_up(std::vector<int64_t>(ids.begin(), ids.end()), "id = $1 AND " + kIsPoint);
}

std::vector<std::optional<ObjectRecord>> SqlStore::objects(std::span<const std::string> names) {
  return look_up(names, "full_name = $1 AND " + kIsNodeOrPoint);
}

std::vector<ResultCode> SqlStore::insert(const std::string &parent,
                                         std::span<ObjectRecord *const> records) {
  std::vector<SqlCommand> commands{{"SELECT kind FROM object WHERE full_name = $1", {parent}}};
  for (const ObjectRecord *record : records) commands.push_back(insert_command(parent, *record));
  const auto results = run(Access::write, commands);
  const auto &container = results[0];

  std::vector<ResultCode> codes(records.size(), kOk);
  for (size_t i = 0; i < records.size(); ++i) {
    const auto &inserted = results[i + 1];
    if (!inserted.empty()) {
      records[i]->id = integer(inserted[0][0]);
      continue;
    }
    const bool fits =
        !container.empty() && container[0][0] == SqlValue(parent_kind(records[i]->kind));
    codes[i] = fits ? kExists : kNoParent;
  }
  return codes;
}

std::vector<ResultCode> SqlStore::update(const std::string &parent,
                                         std::span<const ObjectChange> changes) {
  std::vector<SqlCommand> commands;
  for (const ObjectChange &change : changes) commands.push_back(update_command(parent, change));
  std::vector<ResultCode> codes;
  for (const auto &rows : run(Access::write, commands)) {
    codes.push_back(rows.empty() ? kUnknownName : kOk);
  }
  return codes;
}

std::vector<ResultCode> SqlStore::erase(const std::string &parent, std::span<const int32_t> ids) {
  std::vector<SqlCommand> commands;
  for (const int64_t id : ids) {
    commands.push_back(
        {"DELETE FROM object WHERE id = $1"
         " AND parent_id = (SELECT id FROM object WHERE full_name = $2)"
         " AND NOT EXISTS (SELECT 1 FROM object AS child WHERE child.parent_id = $1) RETURNING id",
         {id, parent}});
    for (SqlCommand &command : forget_samples(id)) commands.push_back(std::move(command));
    commands.push_back({"SELECT 1 FROM object WHERE parent_id = $1 LIMIT 1", {id}});
  }
  const auto results = run(Access::write, commands);

  std::vector<ResultCode> codes;
  const size_t of_one = ids.empty() ? 1 : results.size() / ids.size();
  for (size_t first = 0; first < results.size(); first += of_one) {
    const bool erased = !results[first].empty();
    const bool has_children = !results[first + of_one - 1].empty();
    codes.push_back(erased ? kOk : has_children ? kNotEmpty : kUnknownName);
  }
  return codes;
}

std::vector<SqlCommand> SqlStore::forget_samples(int64_t id) const {
  std::vector<SqlCommand> commands;
  for (const char *table : {"sample", "current_value"}) {
    commands.push_back({std::string("DELETE FROM ") + table +
                            " WHERE point_id = $1"
                            " AND NOT EXISTS (SELECT 1 FROM object WHERE id = $1)",
                        {id}});
  }
  return commands;
}

}  // namespace kelp
