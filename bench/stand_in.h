// What the floors have in common. A floor is the least that a run of kelptest can cost over one
// database: a libkelpapi2 of straight lines, which kelptest itself drives. stand_in.cpp has the
// operations of the library; a floor has, for each thing that a database is asked for, the one
// statement or few that it takes. Tables and settings are the bundled library's own. A failure ends
// the program, and what a run over an empty store does not need is missing.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "store/sql_store.h"
#include "store/store.h"

namespace bench {

using Ids = std::span<const int32_t>;
using Names = std::span<const std::string>;
using Samples = std::vector<kelp::Sample>;
using Objects = std::vector<kelp::ObjectRecord>;

class Floor {
 public:
  virtual ~Floor() = default;
  virtual int32_t now() = 0;

  virtual Objects databases() = 0;
  // Everything that is asked for by id or by name is there.
  virtual Objects objects(Ids ids) = 0;
  virtual Objects objects(Names names) = 0;
  virtual std::vector<int32_t> point_ids(Names names) = 0;
  virtual void insert(const std::string &parent, const kelp::ObjectRecord &object) = 0;
  virtual void update(const std::string &parent, const kelp::ObjectRecord &object) = 0;

  virtual void write(kelp::WriteKind kind, const kelp::SampleRows &rows) = 0;
  virtual Samples current(Ids ids) = 0;
  virtual Samples as_of(Ids ids, int32_t time) = 0;
  // The samples of each point with begin <= time < end.
  virtual std::vector<Samples> ranges(Ids ids, int32_t begin, int32_t end) = 0;
};

// Defined once in each floor. `options` is the text that kelptest was given with -L.
std::unique_ptr<Floor> open_floor(const kelp::StoreAddress &address, const std::string &options);

// Statements on the tree, for either database.
#define SELECT_OBJECTS "SELECT id, kind, name, ed, fq, ar, iv, hw FROM object "
constexpr const char *kSelectDatabases = SELECT_OBJECTS "WHERE kind = $1";
constexpr const char *kInsertObject =
    "INSERT INTO object (parent_id, kind, name, full_name, ed, fq, ar, iv, hw)"
    " SELECT id, $2, $3, $4, $5, $6, $7, $8, $9 FROM object WHERE full_name = $1";
constexpr const char *kUpdateObject =
    "UPDATE object SET ed = $3, fq = $4, ar = $5, iv = $6, hw = $7"
    " WHERE id = $1 AND parent_id = (SELECT id FROM object WHERE full_name = $2)";

}  // namespace bench
