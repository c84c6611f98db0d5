#ifndef LUMO_SERVICE_FORMBODY_H
#define LUMO_SERVICE_FORMBODY_H

#include <map>
#include <string>

namespace lumo_service {

// The fields of an "application/x-www-form-urlencoded" body, read strictly:
// a malformed escape, text that is not UTF-8, a NUL or a repeated field is
// an error rather than a guess.
class FormBody {
public:
    static constexpr size_t kMaxFields = 32;

    // "application/x-www-form-urlencoded", any letter case, with or without
    // parameters such as a charset.
    static bool IsFormContentType(const std::string& contentType);
    // Fills fields; false with a short English reason in problem.
    static bool Parse(const std::string& body, std::map<std::string, std::string>& fields, std::string& problem);
    static bool IsUtf8(const std::string& text);

private:
    static bool Decode(const std::string& text, std::string& out);
};

} // namespace lumo_service

#endif
