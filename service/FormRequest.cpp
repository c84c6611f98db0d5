#include "FormRequest.h"

#include "FormBody.h"

namespace lumo_service {

FormRequest::FormRequest(const HttpRequest& request)
{
    if (request.body.size() > kMaxBodyBytes) {
        status = Status::TooLarge;
        problem = "the body is larger than 64 KiB";
    } else if (!FormBody::IsFormContentType(request.Header("Content-Type"))) {
        status = Status::WrongContentType;
        problem = "the content type must be application/x-www-form-urlencoded";
    } else if (!FormBody::Parse(request.body, fields, problem)) {
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
