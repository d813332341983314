// One dialect serves all engines here. Every object carries its full name, so that a lookup is one
// probe of one index. Outcomes are read off the rows that statements return, and what it takes to
// tell why one was refused is asked in the same transaction: once it is committed nothing can fail.
#include "store/sql_store.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kelp {

namespace {

constexpr int kColumnsOfObject = 8;

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

// The kind of container that an object of this kind lies in.
int64_t parent_kind(int32_t kind) { return kind == kNodeKind ? kDatabaseKind : kNodeKind; }

// Positions in ascending order of the ids: calls that take objects in one order do not deadlock.
template <typename Id>
std::vector<size_t> in_order(size_t count, Id &&id_of) {
  std::vector<size_t> order(count);
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return id_of(a) < id_of(b); });
  return order;
}

}  // namespace

SqlCommand SqlStore::select(const std::string &condition, std::vector<SqlValue> parameters) const {
  return {"SELECT id, kind, name, ed, fq, ar, iv, hw FROM " + object_ + " WHERE " + condition,
          std::move(parameters), kColumnsOfObject};
}

SqlCommand SqlStore::insert_command(const std::string &parent, const ObjectRecord &record) const {
  return {"INSERT INTO " + object_ +
              " (parent_id, kind, name, full_name, ed, fq, ar, iv, hw)"
              " SELECT id, $3, $4, $5, $6, $7, $8, $9, $10 FROM " +
              object_ +
              " WHERE full_name = $1 AND kind = $2"
              " ON CONFLICT (full_name) DO NOTHING RETURNING id",
          {parent, parent_kind(record.kind), int64_t{record.kind}, record.name,
           parent + "." + record.name, record.ed, int64_t{record.fq}, int64_t{record.ar}, record.iv,
           int64_t{record.hw}}};
}

SqlCommand SqlStore::update_command(const std::string &parent, const ObjectChange &change) const {
  SqlCommand command{"UPDATE " + object_ + " SET name = name", {int64_t{change.id}, parent}};
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
  command.sql += " WHERE id = $1 AND parent_id = (SELECT id FROM " + object_ +
                 " WHERE full_name = $2) RETURNING id";
  return command;
}

SqlCommand SqlStore::erase_command(const std::string &parent, int64_t id) const {
  return {"DELETE FROM " + object_ + " WHERE id = $1 AND parent_id = (SELECT id FROM " + object_ +
              " WHERE full_name = $2) AND NOT EXISTS (SELECT 1 FROM " + object_ +
              " AS child WHERE child.parent_id = $1) RETURNING id",
          {id, parent}};
}

std::vector<std::vector<ObjectRecord>> SqlStore::read_objects(
    const std::vector<SqlCommand> &queries) {
  std::vector<std::vector<ObjectRecord>> results;
  for (const SqlResult &found : run(Access::read, queries)) {
    auto &records = results.emplace_back();
    try {
      for (const SqlRow &row : found.rows) records.push_back(to_record(row));
    } catch (const std::bad_variant_access &) {
      throw Failure(kDamaged, label() + ": an object has a field of another type than its column");
    }
  }
  return results;
}

template <typename Keys>
std::vector<std::optional<ObjectRecord>> SqlStore::look_up(const Keys &keys,
                                                           const std::string &condition) {
  std::vector<SqlCommand> queries;
  for (const auto &key : keys) queries.push_back(select(condition, {SqlValue(key)}));
  std::vector<std::optional<ObjectRecord>> found;
  for (const auto &records : read_objects(queries)) {
    found.push_back(records.empty() ? std::nullopt : std::optional(records[0]));
  }
  return found;
}

std::vector<ObjectRecord> SqlStore::databases() {
  // What lies in nothing is a database; unlike the kinds, the parents have an index.
  return read_objects({select("parent_id IS NULL ORDER BY id", {})})[0];
}

std::vector<ObjectRecord> SqlStore::children(const std::string &name) {
  const std::string database = name.substr(0, name.rfind('.'));
  if (!look_up(std::span(&database, 1), "full_name = $1")[0]) {
    throw Failure(kUnknownName, "no database has the name \"" + database + "\"");
  }
  return read_objects({select(
      "parent_id = (SELECT id FROM " + object_ + " WHERE full_name = $1) ORDER BY id", {name})})[0];
}

std::vector<std::optional<ObjectRecord>> SqlStore::points(std::span<const int32_t> ids) {
  return look_up(std::vector<int64_t>(ids.begin(), ids.end()), "id = $1 AND " + kIsPoint);
}

std::vector<std::optional<ObjectRecord>> SqlStore::objects(std::span<const std::string> names) {
  return look_up(names, "full_name = $1 AND " + kIsNodeOrPoint);
}

std::vector<ResultCode> SqlStore::insert(const std::string &parent,
                                         std::span<ObjectRecord *const> records) {
  std::vector<SqlCommand> commands{
      {"SELECT kind FROM " + object_ + " WHERE full_name = $1", {parent}}};
  for (const ObjectRecord *record : records) commands.push_back(insert_command(parent, *record));
  const std::vector<SqlResult> results = run(Access::write, commands);
  const auto &container = results[0].rows;

  std::vector<ResultCode> codes(records.size(), kOk);
  for (size_t i = 0; i < records.size(); ++i) {
    const SqlResult &inserted = results[i + 1];
    if (!inserted.rows.empty()) {
      records[i]->id = integer(inserted.rows[0][0]);
      continue;
    }
    const bool fits =
        !container.empty() && container[0][0] == SqlValue(parent_kind(records[i]->kind));
    codes[i] = inserted.refused ? kInvalidArgument : kExists;
    if (!fits) codes[i] = kNoParent;
  }
  return codes;
}

std::vector<ResultCode> SqlStore::update(const std::string &parent,
                                         std::span<const ObjectChange> changes) {
  const auto order = in_order(changes.size(), [&](size_t i) { return changes[i].id; });
  std::vector<SqlCommand> commands;
  for (const size_t i : order) commands.push_back(update_command(parent, changes[i]));
  const std::vector<SqlResult> results = run(Access::write, commands);
  std::vector<ResultCode> codes(changes.size(), kOk);
  for (size_t done = 0; done < results.size(); ++done) {
    const SqlResult &updated = results[done];
    if (updated.refused)
      codes[order[done]] = kInvalidArgument;
    else if (updated.rows.empty())
      codes[order[done]] = kUnknownName;
  }
  return codes;
}

std::vector<ResultCode> SqlStore::erase(const std::string &parent, std::span<const int32_t> ids) {
  const auto order = in_order(ids.size(), [&](size_t i) { return ids[i]; });
  // For each object its deletion, why it may have been refused, and what is left to remove.
  constexpr size_t commands_each = 3;
  std::vector<SqlCommand> commands;
  for (const size_t i : order) {
    const int64_t id = ids[i];
    commands.push_back(erase_command(parent, id));
    commands.push_back({"SELECT 1 FROM " + object_ + " WHERE parent_id = $1 LIMIT 1", {id}});
    commands.push_back({note_erased(), {id}});
  }
  const std::vector<SqlResult> results = run(Access::write, commands);

  std::vector<ResultCode> codes(ids.size(), kOk);
  for (size_t i = 0; i < order.size(); ++i) {
    const SqlResult &erased = results[i * commands_each];
    const SqlResult &child = results[i * commands_each + 1];
    if (erased.rows.empty()) codes[order[i]] = child.rows.empty() ? kUnknownName : kNotEmpty;
  }
  return codes;
}

}  // namespace kelp
