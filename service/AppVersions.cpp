#include "AppVersions.h"

namespace lumo_service {

bool AppVersions::PlausibleApp(const std::string& app)
{
    if (app.empty() || app.size() > 64) {
        return false;
    }
    for (char c : app) {
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.'
            || c == '_' || c == '-';
        if (!allowed) {
            return false;
        }
    }
    return true;
}

bool AppVersions::PlausibleVersion(const std::string& version)
{
    if (version.empty() || version.size() > 32) {
        return false;
    }
    int parts = 1;
    bool digitSeen = false;
    for (char c : version) {
        if (c == '.') {
            if (!digitSeen) {
                return false;
            }
            ++parts;
            digitSeen = false;
        } else if (c >= '0' && c <= '9') {
            digitSeen = true;
        } else {
            return false;
        }
    }
    return digitSeen && parts <= 4;
}

AppVersions::AppVersions(Store& store)
    : store(store)
{
}

StoreStatus AppVersions::Latest(const std::string& app, std::string& version)
{
    const StoreStatus found = store.GetVersion(app, version);
    if (found == StoreStatus::NotFound && app == kDefaultApp) {
        version = kDefaultVersion;
        return StoreStatus::Ok;
    }
    return found;
}

} // namespace lumo_service
