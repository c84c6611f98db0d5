#include "PageHandlers.h"

#include "Accounts.h"
#include "AppVersions.h"
#include "CredentialRules.h"
#include "CsrfGuard.h"
#include "FormRequest.h"
#include "JsonReply.h"
#include "Pages.h"

namespace lumo_service {

namespace {

constexpr const char* kHtml = "text/html; charset=utf-8";
constexpr const char* kUnavailableMessage = "服务暂时不可用，请稍后再试。\nThe service is unavailable; try again later.";

void SendPage(HttpResponse& response, int status, const std::string& html)
{
    response.status = status;
    response.SetContent(html, kHtml);
}

} // namespace

PageHandlers::PageHandlers(Accounts& accounts, AppVersions& versions, const CsrfGuard& csrf)
    : accounts(accounts)
    , versions(versions)
    , csrf(csrf)
{
}

std::vector<Route> PageHandlers::Routes()
{
    using namespace std::placeholders;
    return {
        Route::Get("/register", std::bind(&PageHandlers::ShowRegister, this, _1, _2)),
        Route::Post("/register", std::bind(&PageHandlers::SubmitRegister, this, _1, _2)),
        Route::Get("/forgot",
                   [](const HttpRequest&, HttpResponse& response) {
                       SendPage(response, 200, Pages::Forgot());
                   }),
        Route::Get("/about",
                   [this](const HttpRequest&, HttpResponse& response) {
                       VersionPage(response, &Pages::About);
                   }),
        Route::Get("/download",
                   [this](const HttpRequest&, HttpResponse& response) {
                       VersionPage(response, &Pages::Download);
                   }),
        Route::Get("/style.css",
                   [](const HttpRequest&, HttpResponse& response) {
                       response.SetContent(Pages::Stylesheet(), "text/css; charset=utf-8");
                   }),
    };
}

void PageHandlers::ShowRegister(const HttpRequest&, HttpResponse& response)
{
    RegisterForm(response, 200, std::string(), std::string());
}

void PageHandlers::RegisterForm(HttpResponse& response, int status, const std::string& email,
                                const std::string& message)
{
    std::string cookieValue;
    std::string formValue;
    csrf.Issue(cookieValue, formValue);
    response.SetHeader("Set-Cookie", CsrfGuard::CookieHeader(cookieValue));
    // Only what could be an address goes back into the field: a post of tens
    // of KiB would otherwise come back several times larger, escaped.
    const bool refill = email.size() <= CredentialRules::kMaxEmailBytes;
    SendPage(response, status, Pages::Register(formValue, refill ? email : std::string(), message));
}

void PageHandlers::SubmitRegister(const HttpRequest& request, HttpResponse& response)
{
    const FormRequest form(request);
    if (form.GetStatus() != FormRequest::Status::Ok) {
        const int status = form.GetStatus() == FormRequest::Status::TooLarge ? 413
            : form.GetStatus() == FormRequest::Status::WrongContentType      ? 415
                                                                             : 400;
        JsonReply::Refusal(response, status, form.Problem());
        return;
    }
    const std::string& email = form.Field("email");
    switch (csrf.Verify(CsrfGuard::CookieFrom(request.Header("Cookie")), form.Field("csrf"))) {
    case CsrfCheck::Valid:
        break;
    case CsrfCheck::Invalid:
    case CsrfCheck::Expired:
    case CsrfCheck::Used:
        RegisterForm(response, 403, email,
                     "表单已过期或无效，请重新提交。\nThe form has expired or is not valid; please send it again.");
        return;
    case CsrfCheck::Unavailable:
        RegisterForm(response, 503, email, kUnavailableMessage);
        return;
    case CsrfCheck::Error:
        RegisterForm(response, 500, email, "服务内部错误，请稍后再试。\nThe service failed; try again later.");
        return;
    }
    if (form.Field("password") != form.Field("password2")) {
        RegisterForm(response, 400, email, "两次输入的密码不一致。\nThe two passwords differ.");
        return;
    }
    int64_t retryAfter = 0;
    switch (accounts.Register(email, form.Field("password"), request.remoteAddress, retryAfter)) {
    case AccountResult::Ok:
        SendPage(response, 200, Pages::Registered(email));
        return;
    case AccountResult::BadEmail:
        RegisterForm(response, 400, email, "邮箱地址无效。\nThis is not a valid e-mail address.");
        return;
    case AccountResult::PasswordTooShort:
        RegisterForm(response, 400, email, "密码至少需要 8 个字符。\nThe password needs at least 8 characters.");
        return;
    case AccountResult::PasswordTooLong:
        RegisterForm(response, 400, email, "密码过长（最多 1024 字节）。\nThe password is too long (at most 1024 bytes).");
        return;
    case AccountResult::PasswordIsEmail:
        RegisterForm(response, 400, email, "密码不能与邮箱相同。\nThe password must not be your e-mail address.");
        return;
    case AccountResult::Duplicate:
        RegisterForm(response, 409, email, "该邮箱已注册。\nThis address is already registered.");
        return;
    case AccountResult::Throttled:
        RegisterForm(response, 429, email,
                     "此地址注册过于频繁，请稍后再试。\nToo many new accounts from your address; try again later.");
        return;
    case AccountResult::Unavailable:
        RegisterForm(response, 503, email, kUnavailableMessage);
        return;
    case AccountResult::NotFound:
    case AccountResult::Error:
        break;
    }
    RegisterForm(response, 500, email, "服务内部错误，请稍后再试。\nThe service failed; try again later.");
}

void PageHandlers::VersionPage(HttpResponse& response, std::string (*render)(const std::string&))
{
    std::string version;
    const StoreStatus found = versions.Latest(AppVersions::kDefaultApp, version);
    if (found != StoreStatus::Ok) {
        SendPage(response, found == StoreStatus::Unavailable ? 503 : 500, render("?"));
        return;
    }
    SendPage(response, 200, render(version));
}

} // namespace lumo_service
