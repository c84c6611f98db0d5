#ifndef LUMO_SERVICE_FORMREQUEST_H
#define LUMO_SERVICE_FORMREQUEST_H

#include "HttpMessage.h"

#include <map>
#include <string>

namespace lumo_service {

// Parses the body of a form post, which the server has read (up to its
// limit) before the handler runs.
class FormRequest {
public:
    enum class Status {
        Ok,
        TooLarge,
        WrongContentType,
        BadEncoding,
    };

    static constexpr size_t kMaxBodyBytes = HttpRequest::kMaxBodyBytes;

    explicit FormRequest(const HttpRequest& request);

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
