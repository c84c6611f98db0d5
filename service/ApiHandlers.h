#ifndef LUMO_SERVICE_APIHANDLERS_H
#define LUMO_SERVICE_APIHANDLERS_H

#include "Route.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace lumo_service {

class Accounts;
class AppVersions;
class EventQuota;
class FormRequest;
class ServiceClock;
class Sessions;
class Store;

// The endpoints the application calls: form posts answered with JSON.
class ApiHandlers {
public:
    // Outcome codes besides 200.
    static constexpr int kBadRequest = 400;
    static constexpr int kWrongCredentials = 401;
    static constexpr int kDisabled = 403;
    static constexpr int kNotFound = 404;
    static constexpr int kMethodNotAllowed = 405;
    static constexpr int kTooLarge = 413;
    static constexpr int kWrongContentType = 415;
    static constexpr int kThrottled = 429;
    static constexpr int kServiceError = 500;
    static constexpr int kSessionExpired = 501;
    static constexpr int kSessionUnknown = 502;
    static constexpr int kUnavailable = 503;
    static constexpr int kNoRoom = 507;

    static constexpr size_t kMaxFeedbackCharacters = 4000;

    ApiHandlers(Accounts& accounts, Sessions& sessions, Store& store, AppVersions& versions, EventQuota& quota,
                const ServiceClock& clock);

    // Every path of the API, the GETs that only say "use POST" included.
    std::vector<Route> Routes();

private:
    using Limits = std::vector<std::pair<const char*, size_t>>;

    // Answers a refusal and returns false unless the body is a form holding
    // every named field within its byte limit.
    static bool Accept(const FormRequest& form, const Limits& limits, HttpResponse& response);

    void Login(const HttpRequest& request, HttpResponse& response);
    void TokenCheck(const HttpRequest& request, HttpResponse& response);
    void Feedback(const HttpRequest& request, HttpResponse& response);
    void LatestVersion(const HttpRequest& request, HttpResponse& response);
    void Anchor(const HttpRequest& request, HttpResponse& response);

    Accounts& accounts;
    Sessions& sessions;
    Store& store;
    AppVersions& versions;
    EventQuota& quota;
    const ServiceClock& clock;
};

} // namespace lumo_service

#endif
