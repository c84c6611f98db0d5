#ifndef LUMO_SERVICE_APPVERSIONS_H
#define LUMO_SERVICE_APPVERSIONS_H

#include "Store.h"

#include <string>

namespace lumo_service {

// The latest version of each app, as the operator set it. YUVLumo reads as
// its first release until the operator sets one.
class AppVersions {
public:
    static constexpr const char* kDefaultApp = "YUVLumo";
    static constexpr const char* kDefaultVersion = "3.0.0";

    // 1 to 64 letters, digits, '.', '_' or '-'.
    static bool PlausibleApp(const std::string& app);
    // 1 to 4 dot-separated decimal numbers, as the application compares them.
    static bool PlausibleVersion(const std::string& version);

    explicit AppVersions(Store& store);

    // NotFound for an app without a version (other than the default one).
    StoreStatus Latest(const std::string& app, std::string& version);

private:
    Store& store;
};

} // namespace lumo_service

#endif
