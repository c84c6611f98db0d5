#include "StoreFactory.h"

#include "DataDirectory.h"
#include "PostgresStore.h"
#include "ServiceOptions.h"
#include "SqliteStore.h"

namespace lumo_service {

std::unique_ptr<Store> OpenStore(const ServiceOptions& options, const DataDirectory& data, std::string& error)
{
    if (!options.database.empty()) {
        return PostgresStore::Open(options.database, error);
    }
    return SqliteStore::Open(data.DatabasePath(), error);
}

} // namespace lumo_service
