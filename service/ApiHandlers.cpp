#include "ApiHandlers.h"

#include "Accounts.h"
#include "AppVersions.h"
#include "CredentialRules.h"
#include "EventQuota.h"
#include "FormRequest.h"
#include "JsonReply.h"
#include "ServiceClock.h"
#include "SessionToken.h"
#include "Sessions.h"
#include "Store.h"

namespace lumo_service {

namespace {

constexpr const char* kLoginPath = "/lumo/user/login/login";
constexpr const char* kTokenCheckPath = "/lumo/user/token/check";
constexpr const char* kFeedbackPath = "/lumo/user/feedback/send";
constexpr const char* kVersionPath = "/lumo/user/version/get_latest_version";
constexpr const char* kAnchorPath = "/lumo/user/anchor/anchor";

// A token field may be any text up to this length; only well-formed tokens
// can be known ones.
constexpr size_t kMaxTokenField = 128;
constexpr size_t kMaxShortField = 64;
constexpr size_t kMaxNameField = 128;
constexpr size_t kMaxInfoField = 16 * 1024;
// The text itself is checked in characters, so a limit in bytes only guards
// against absurd input (Chinese takes 3 bytes a character).
constexpr size_t kMaxFeedbackField = ApiHandlers::kMaxFeedbackCharacters * 4;

// Waits under a minute, the e-mail's short delay among them, are said in
// seconds.
std::string ThrottleMessage(int64_t seconds)
{
    if (seconds < 60) {
        const std::string n = std::to_string(seconds);
        return "登录尝试过于频繁，请 " + n + " 秒后再试 / Too many sign-ins; try again in " + n + " seconds";
    }
    const std::string n = std::to_string((seconds + 59) / 60);
    return "登录失败次数过多，请 " + n + " 分钟后再试 / Too many failed sign-ins; try again in " + n + " minutes";
}

// A database that cannot be reached is worth retrying; anything else failed.
void StoreFailure(HttpResponse& response, StoreStatus status)
{
    if (status == StoreStatus::Unavailable) {
        JsonReply::Refusal(response, ApiHandlers::kUnavailable, "服务暂时不可用 / The service is unavailable; try again later");
    } else {
        JsonReply::Refusal(response, ApiHandlers::kServiceError, "服务内部错误 / The service failed; try again later");
    }
}

void SessionRefusal(HttpResponse& response, SessionState state)
{
    switch (state) {
    case SessionState::Expired:
        JsonReply::Outcome(response, ApiHandlers::kSessionExpired, "登录已过期，请重新登录 / The session has expired; sign in again");
        break;
    case SessionState::Error:
        StoreFailure(response, StoreStatus::Error);
        break;
    case SessionState::Unavailable:
        StoreFailure(response, StoreStatus::Unavailable);
        break;
    default:
        JsonReply::Outcome(response, ApiHandlers::kSessionUnknown, "登录无效，请重新登录 / Unknown session; sign in again");
        break;
    }
}

void MethodNotAllowed(const HttpRequest&, HttpResponse& response)
{
    response.SetHeader("Allow", "POST");
    JsonReply::Refusal(response, ApiHandlers::kMethodNotAllowed, "use POST");
}

} // namespace

ApiHandlers::ApiHandlers(Accounts& accounts, Sessions& sessions, Store& store, AppVersions& versions,
                         EventQuota& quota, const ServiceClock& clock)
    : accounts(accounts)
    , sessions(sessions)
    , store(store)
    , versions(versions)
    , quota(quota)
    , clock(clock)
{
}

std::vector<Route> ApiHandlers::Routes()
{
    using namespace std::placeholders;
    std::vector<Route> routes = {
        Route::Post(kLoginPath, std::bind(&ApiHandlers::Login, this, _1, _2)),
        Route::Post(kTokenCheckPath, std::bind(&ApiHandlers::TokenCheck, this, _1, _2)),
        Route::Post(kFeedbackPath, std::bind(&ApiHandlers::Feedback, this, _1, _2)),
        Route::Post(kAnchorPath, std::bind(&ApiHandlers::Anchor, this, _1, _2)),
        // The client posts an empty form; a browser asks with GET.
        Route::Post(kVersionPath,
                    [this](const HttpRequest& request, HttpResponse& response) {
                        const FormRequest form(request);
                        if (Accept(form, {}, response)) {
                            LatestVersion(request, response);
                        }
                    }),
        Route::Get(kVersionPath, std::bind(&ApiHandlers::LatestVersion, this, _1, _2)),
    };
    for (const char* path : {kLoginPath, kTokenCheckPath, kFeedbackPath, kAnchorPath}) {
        routes.push_back(Route::Get(path, MethodNotAllowed));
    }
    return routes;
}

bool ApiHandlers::Accept(const FormRequest& form, const Limits& limits, HttpResponse& response)
{
    switch (form.GetStatus()) {
    case FormRequest::Status::Ok:
        break;
    case FormRequest::Status::TooLarge:
        JsonReply::Refusal(response, kTooLarge, form.Problem());
        return false;
    case FormRequest::Status::WrongContentType:
        JsonReply::Refusal(response, kWrongContentType, form.Problem());
        return false;
    case FormRequest::Status::BadEncoding:
        JsonReply::Refusal(response, kBadRequest, form.Problem());
        return false;
    }
    for (const auto& limit : limits) {
        if (!form.Has(limit.first)) {
            JsonReply::Refusal(response, kBadRequest, std::string("missing field \"") + limit.first + "\"");
            return false;
        }
        if (form.Field(limit.first).size() > limit.second) {
            JsonReply::Refusal(response, kBadRequest,
                               std::string("field \"") + limit.first + "\" is longer than "
                                   + std::to_string(limit.second) + " bytes");
            return false;
        }
    }
    return true;
}

void ApiHandlers::Login(const HttpRequest& request, HttpResponse& response)
{
    const FormRequest form(request);
    if (!Accept(form, {{"email", CredentialRules::kMaxEmailBytes}, {"password", CredentialRules::kMaxPasswordBytes}},
                response)) {
        return;
    }
    std::string token;
    int64_t retryAfter = 0;
    switch (accounts.SignIn(form.Field("email"), form.Field("password"), request.remoteAddress, token, retryAfter)) {
    case SignInResult::Ok:
        JsonReply::Send(response, 200,
                        JsonObject().Add("code", 200).Add("message", "ok").Add("model", JsonObject().Add("token", token)));
        break;
    case SignInResult::WrongCredentials:
        JsonReply::Outcome(response, kWrongCredentials, "邮箱或密码错误 / Wrong e-mail or password");
        break;
    case SignInResult::Disabled:
        JsonReply::Outcome(response, kDisabled, "该账号已停用 / This account is disabled");
        break;
    case SignInResult::Throttled:
        JsonReply::Outcome(response, kThrottled, ThrottleMessage(retryAfter));
        break;
    case SignInResult::Error:
        StoreFailure(response, StoreStatus::Error);
        break;
    case SignInResult::Unavailable:
        StoreFailure(response, StoreStatus::Unavailable);
        break;
    }
}

void ApiHandlers::TokenCheck(const HttpRequest& request, HttpResponse& response)
{
    const FormRequest form(request);
    if (!Accept(form, {{"token", kMaxTokenField}, {"platform", kMaxShortField}}, response)) {
        return;
    }
    int64_t accountId = 0;
    const SessionState state = sessions.Check(form.Field("token"), accountId);
    if (state == SessionState::Valid) {
        JsonReply::Outcome(response, 200, "ok");
    } else {
        SessionRefusal(response, state);
    }
}

void ApiHandlers::Feedback(const HttpRequest& request, HttpResponse& response)
{
    const FormRequest form(request);
    if (!Accept(form, {{"feedback", kMaxFeedbackField}, {"token", kMaxTokenField}}, response)) {
        return;
    }
    FeedbackEntry entry;
    const SessionState state = sessions.Check(form.Field("token"), entry.accountId);
    if (state != SessionState::Valid) {
        SessionRefusal(response, state);
        return;
    }
    entry.text = form.Field("feedback");
    const size_t characters = CredentialRules::CountCharacters(entry.text);
    if (characters == 0) {
        JsonReply::Outcome(response, kBadRequest, "反馈内容为空 / The feedback is empty");
        return;
    }
    if (characters > kMaxFeedbackCharacters) {
        JsonReply::Outcome(response, kTooLarge,
                           "反馈过长，最多 " + std::to_string(kMaxFeedbackCharacters) + " 字 / The feedback is longer than "
                               + std::to_string(kMaxFeedbackCharacters) + " characters");
        return;
    }
    entry.time = clock.Now();
    entry.address = request.remoteAddress;
    const StoreStatus added = store.AddFeedback(entry);
    if (added != StoreStatus::Ok) {
        StoreFailure(response, added);
        return;
    }
    JsonReply::Outcome(response, 200, "感谢反馈 / Thank you for your feedback");
}

void ApiHandlers::LatestVersion(const HttpRequest& request, HttpResponse& response)
{
    if (!request.HasQuery("app_name")) {
        JsonReply::Refusal(response, kBadRequest, "missing query parameter \"app_name\"");
        return;
    }
    const std::string app = request.Query("app_name");
    if (!AppVersions::PlausibleApp(app)) {
        JsonReply::Refusal(response, kBadRequest, "\"app_name\" must be 1 to 64 letters, digits, '.', '_' or '-'");
        return;
    }
    std::string version;
    const StoreStatus found = versions.Latest(app, version);
    switch (found) {
    case StoreStatus::Ok:
        break;
    case StoreStatus::NotFound:
        JsonReply::Outcome(response, kNotFound, "unknown app \"" + app + "\"");
        return;
    default:
        StoreFailure(response, found);
        return;
    }
    JsonReply::Send(response, 200,
                    JsonObject().Add("code", 200).Add("message", "ok").Add("model", JsonObject().Add("version", version)));
}

void ApiHandlers::Anchor(const HttpRequest& request, HttpResponse& response)
{
    const FormRequest form(request);
    if (!Accept(form,
                {{"type", kMaxShortField},
                 {"version", kMaxShortField},
                 {"platform", kMaxShortField},
                 {"app", kMaxShortField},
                 {"page", kMaxNameField},
                 {"block", kMaxNameField},
                 {"action", kMaxNameField},
                 {"info", kMaxInfoField}},
                response)) {
        return;
    }
    UsageEvent event;
    event.time = clock.Now();
    event.address = request.remoteAddress;
    event.type = form.Field("type");
    event.version = form.Field("version");
    event.platform = form.Field("platform");
    event.app = form.Field("app");
    event.page = form.Field("page");
    event.block = form.Field("block");
    event.action = form.Field("action");
    event.info = form.Field("info");
    switch (quota.Add(event)) {
    case EventOutcome::Stored:
        JsonReply::Outcome(response, 200, "ok");
        break;
    case EventOutcome::Throttled:
        JsonReply::Refusal(response, kThrottled, "too many usage events from this address; slow down");
        break;
    case EventOutcome::TooLarge:
        JsonReply::Refusal(response, kTooLarge,
                           "the event is larger than " + std::to_string(EventQuota::kMaxEventBytes) + " bytes");
        break;
    case EventOutcome::NoRoom:
        JsonReply::Refusal(response, kNoRoom, "the service has no room for usage events");
        break;
    case EventOutcome::Unavailable:
        StoreFailure(response, StoreStatus::Unavailable);
        break;
    case EventOutcome::Error:
        StoreFailure(response, StoreStatus::Error);
        break;
    }
}

} // namespace lumo_service
