#include "FormRequest.h"

#include "FormBody.h"

#include <cstdlib>

namespace lumo_service {

FormRequest::FormRequest(const httplib::Request& request, const httplib::ContentReader& reader)
{
    std::string body;
    bool tooLarge = false;
    // Without a length or chunks there is no body to read.
    const bool hasBody = request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
    const bool read = !hasBody || reader([&](const char* data, size_t length) {
        if (body.size() + length > kMaxBodyBytes) {
            tooLarge = true;
            return false;
        }
        body.append(data, length);
        return true;
    });
    // The server refuses to read a body whose stated length is over its
    // limit.
    const std::string length = request.get_header_value("Content-Length");
    if (!read && !length.empty() && std::strtoull(length.c_str(), nullptr, 10) > kMaxBodyBytes) {
        tooLarge = true;
    }
    if (tooLarge) {
        status = Status::TooLarge;
        problem = "the body is larger than 64 KiB";
    } else if (!read) {
        status = Status::Unreadable;
        problem = "the body could not be read";
    } else if (!FormBody::IsFormContentType(request.get_header_value("Content-Type"))) {
        status = Status::WrongContentType;
        problem = "the content type must be application/x-www-form-urlencoded";
    } else if (!FormBody::Parse(body, fields, problem)) {
        status = Status::BadEncoding;
    }
}

const std::string& FormRequest::Field(const std::string& name) const
{
    static const std::string empty;
    const auto found = fields.find(name);
    return found == fields.end() ? empty : found->second;
}

} // namespace lumo_service
