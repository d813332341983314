// What a run of kelptest asks of its database, up to the first line of the continuous writer: one
// call of Database for every call of the client library, in the same order and with the same sizes.
// The banners are those of kelptest too, so that one program can time both. Statements that any
// database takes are here; `query` runs one as a transaction of its own.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace bench {

constexpr int32_t kBegin = 1346432400;
constexpr int32_t kRange = 3600;
constexpr int32_t kInterval = 10;
constexpr int32_t kSteps = kRange / kInterval;

struct Rows {
  std::vector<int32_t> ids, times;
  std::vector<double> values;  // the statuses are 0
  size_t size() const { return ids.size(); }
};

enum class Kind { history, snapshot, realtime };

struct Object {
  std::string parent;
  std::string name;
  int32_t number;
  std::string full_name() const { return parent + "." + name; }
};

struct Tree {
  std::vector<Object> nodes, points;
};

template <typename... Values>
std::string format(const char *pattern, Values... values) {
  char text[128];
  std::snprintf(text, sizeof text, pattern, values...);
  return text;
}

// The tree that kelptest builds for its options -N and -X; other arguments are passed over.
inline Tree make_tree(int argc, char **argv) {
  int64_t nodes = 1, points = 1;
  for (int i = 1; i < argc; ++i) {
    const std::string text = argv[i];
    if (text.starts_with("-N")) nodes = std::atoi(argv[i] + 2);
    if (text.starts_with("-X")) points = std::atoi(argv[i] + 2);
  }
  Tree tree;
  for (int j = 1; j <= nodes; ++j) tree.nodes.push_back({"W3", format("TESTNODE%02d", j), j});
  for (int i = 1; i <= points; ++i) {
    const Object &node = tree.nodes.at((i - 1) * nodes / (nodes + points - 1));
    tree.points.push_back({node.full_name(), format("POINT%05d", i), i});
  }
  return tree;
}

inline std::vector<std::string> full_names(const std::vector<Object> &objects) {
  std::vector<std::string> names;
  for (const Object &object : objects) names.push_back(object.full_name());
  return names;
}

// The samples that one call writes to one point.
inline Rows block(int32_t id, int32_t offset) {
  Rows rows;
  for (int32_t j = 0; j < kSteps; ++j) {
    rows.ids.push_back(id);
    rows.times.push_back(kBegin + offset + j * kInterval);
    rows.values.push_back(j + 0.123);
  }
  return rows;
}

inline int32_t snapshot_time(int32_t step) { return kBegin + 14400 + step * kInterval; }

constexpr const char *kInsertObject =
    "INSERT INTO object (parent_id, kind, name, full_name, ed, fq, ar, iv)"
    " SELECT id, $3, $4, $5, $6, $7, $8, $9 FROM object WHERE full_name = $1 AND kind = $2"
    " ON CONFLICT (full_name) DO NOTHING RETURNING id";
constexpr const char *kUpdateNode =
    "UPDATE object SET ed = $3, fq = $4, ar = $5"
    " WHERE id = $1 AND parent_id = (SELECT id FROM object WHERE full_name = $2) RETURNING id";
constexpr const char *kUpdatePoint =
    "UPDATE object SET ed = $3, hw = $4, iv = $5"
    " WHERE id = $1 AND parent_id = (SELECT id FROM object WHERE full_name = $2) RETURNING id";

inline void phase(const char *name) {
  static int number = 0;
  std::printf("\n-----------------------------%d. %s--------------------------------------\n",
              ++number, name);
  std::fflush(stdout);
}

template <typename Database>
void run(Database &db, const Tree &tree) {
  const std::vector<std::string> node_names = full_names(tree.nodes);
  const std::vector<std::string> names = full_names(tree.points);

  phase("connect_demo");
  db.connect();
  phase("get_system_time_demo");
  db.read_clock();
  phase("get_database_demo");
  db.query("SELECT id, kind, name, ed, fq, ar, iv, hw FROM object WHERE kind = $1", 8);
  phase("decode_encode_time_demo");
  phase("insert_node_point_demo");
  const auto insert = [&](const Object &object, int32_t kind, const std::string &ed,
                          int32_t field) {
    db.query(kInsertObject, object.parent, kind == 16 ? 8 : 16, kind, object.name,
             object.full_name(), ed, field, field, double(field));
  };
  for (const Object &node : tree.nodes) {
    insert(node, 16, format("init:test node static info %05d", node.number), node.number);
  }
  for (const Object &point : tree.points) insert(point, 32, "", 0);
  phase("get_id_byname_demo");
  const std::vector<int32_t> ids = db.point_ids(names);

  const auto now = static_cast<int32_t>(std::time(nullptr));
  Rows snapshot{ids, std::vector<int32_t>(ids.size(), now), {}};
  for (size_t i = 0; i < ids.size(); ++i) snapshot.values.push_back(double(i) + 0.123);
  phase("write_realvalue_byid_demo");
  db.write(Kind::realtime, snapshot);
  phase("read_realvalue_byid_demo");
  db.read_current(ids);
  phase("read_realvalue_byname_demo");
  db.read_current(db.point_ids(names));

  phase("write_hisvalue_byid_demo");
  for (const int32_t id : ids) db.write(Kind::history, block(id, 0));
  phase("get_hisvalue_byid_demo");
  db.read_range(ids, kBegin, kBegin + kRange);
  phase("write_hisvalue_byname_demo");
  for (const std::string &name : names) {
    db.write(Kind::history, block(db.point_ids({name})[0], 3600));
  }
  phase("get_hisvalue_byname_demo");
  db.read_range(db.point_ids(names), kBegin + 3600, kBegin + 3600 + kRange);
  phase("get_statvalue_byid_demo");
  db.read_range(ids, kBegin, kBegin + kRange);
  phase("get_statvalue_byname_demo");
  db.read_range(db.point_ids(names), kBegin + 3600, kBegin + 3600 + kRange);

  const auto update_points = [&](const std::vector<int32_t> &found) {
    for (size_t i = 0; i < found.size(); ++i) {
      const Object &point = tree.points[i];
      db.query(kUpdatePoint, found[i], point.parent, format("test static info %05d", point.number),
               point.number, double(point.number));
    }
  };
  phase("set_static_info_byid_demo");
  update_points(db.read_objects(ids));
  phase("set_node_static_info_byname_demo");
  const std::vector<int32_t> node_ids = db.read_objects(node_names);
  for (size_t j = 0; j < node_ids.size(); ++j) {
    const Object &node = tree.nodes[j];
    db.query(kUpdateNode, node_ids[j], node.parent,
             format("modify:test new node static info %05d", node.number), node.number,
             node.number);
  }
  phase("get_node_static_info_byname_demo");
  db.read_objects(node_names);
  phase("set_static_info_byname_demo");
  update_points(db.read_objects(names));
  phase("get_static_info_byid_demo");
  db.read_objects(ids);
  phase("get_static_info_byname_demo");
  db.read_objects(names);

  phase("write_cache_byid_demo");
  for (const int32_t id : ids) db.write(Kind::history, block(id, 7200));
  phase("write_cache_one_byid_demo");
  for (const int32_t id : ids) db.write(Kind::history, block(id, 10800));
  phase("write_snap_byid_demo");
  for (int32_t k = 0; k < kSteps; ++k) {
    snapshot.times.assign(ids.size(), snapshot_time(k));
    snapshot.values.assign(ids.size(), k + 0.123);
    db.write(Kind::snapshot, snapshot);
  }
  phase("get_snap_byid_demo");
  for (int32_t k = 0; k < 10; ++k) db.read_as_of(ids, snapshot_time(k));
  phase("get_snap_byname_demo");
  for (int32_t k = 0; k < 10; ++k) db.read_as_of(db.point_ids(names), snapshot_time(k));
  phase("write_realvalue_every_second");
  std::puts("I'm writing realvalue, once every second ! ");
  std::fflush(stdout);
}

}  // namespace bench
