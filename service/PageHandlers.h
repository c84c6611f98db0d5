#ifndef LUMO_SERVICE_PAGEHANDLERS_H
#define LUMO_SERVICE_PAGEHANDLERS_H

#include "Route.h"

#include <string>
#include <vector>

namespace lumo_service {

class Accounts;
class AppVersions;
class CsrfGuard;

// The web pages: sign-up, forgotten password, about and download.
class PageHandlers {
public:
    PageHandlers(Accounts& accounts, AppVersions& versions, const CsrfGuard& csrf);

    // The pages and their style sheet.
    std::vector<Route> Routes();

private:
    void ShowRegister(const HttpRequest& request, HttpResponse& response);
    void SubmitRegister(const HttpRequest& request, HttpResponse& response);
    // The form again with a fresh CSRF pair, the message and the e-mail.
    void RegisterForm(HttpResponse& response, int status, const std::string& email, const std::string& message);
    void VersionPage(HttpResponse& response, std::string (*render)(const std::string&));

    Accounts& accounts;
    AppVersions& versions;
    const CsrfGuard& csrf;
};

} // namespace lumo_service

#endif
