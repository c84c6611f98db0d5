#ifndef LUMO_SERVICE_FORMREQUEST_H
#define LUMO_SERVICE_FORMREQUEST_H

#include <httplib.h>

#include <map>
#include <string>

namespace lumo_service {

// Reads the body of a form post and parses it. The body is always read in
// full (up to the server's limit), so a refused request leaves the
// connection usable for the next one.
class FormRequest {
public:
    enum class Status {
        Ok,
        TooLarge,
        WrongContentType,
        BadEncoding,
        Unreadable,
    };

    static constexpr size_t kMaxBodyBytes = 64 * 1024;

    FormRequest(const httplib::Request& request, const httplib::ContentReader& reader);

    Status GetStatus() const { return status; }
    // Why the body was refused, in English.
    const std::string& Problem() const { return problem; }
    bool Has(const std::string& name) const { return fields.count(name) != 0; }
    const std::string& Field(const std::string& name) const;

private:
    Status status = Status::Ok;
    std::string problem;
    std::map<std::string, std::string> fields;
};

} // namespace lumo_service

#endif
