#ifndef LUMO_SERVICE_STOREFACTORY_H
#define LUMO_SERVICE_STOREFACTORY_H

#include "Store.h"

#include <memory>
#include <string>

namespace lumo_service {

class DataDirectory;
struct ServiceOptions;

// PostgreSQL when the options name a database, else SQLite in the data
// folder; null with the reason in error when it cannot be opened.
std::unique_ptr<Store> OpenStore(const ServiceOptions& options, const DataDirectory& data, std::string& error);

} // namespace lumo_service

#endif
