#ifndef LUMO_SERVICE_PAGES_H
#define LUMO_SERVICE_PAGES_H

#include <string>

namespace lumo_service {

// The HTML of the service's pages, in Chinese with English beside it. They
// need no JavaScript; their only other resource is the style sheet.
class Pages {
public:
    // The sign-up form; message (already bilingual) is shown above it when
    // not empty, and email refills its field.
    static std::string Register(const std::string& csrfValue, const std::string& email, const std::string& message);
    static std::string Registered(const std::string& email);
    static std::string Forgot();
    static std::string About(const std::string& version);
    static std::string Download(const std::string& version);
    static std::string Stylesheet();

    static std::string Escape(const std::string& text);

private:
    static std::string Layout(const std::string& title, const std::string& body);
};

} // namespace lumo_service

#endif
