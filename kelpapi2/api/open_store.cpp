#include "api/open_store.h"

#include "postgres/postgres_store.h"
#include "sqlite/sqlite_store.h"

namespace kelp {

std::unique_ptr<Store> open_store(const StoreAddress &address) {
  constexpr std::string_view file_prefix = "file:";
  if (address.host.starts_with(file_prefix)) {
    return std::make_unique<sqlite::SqliteStore>(address.host.substr(file_prefix.size()),
                                                 address.wait_seconds, address.lazy_commits);
  }
  return std::make_unique<postgres::PostgresStore>(address);
}

}  // namespace kelp
