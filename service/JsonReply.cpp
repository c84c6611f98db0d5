#include "JsonReply.h"

namespace lumo_service {

void JsonReply::Send(httplib::Response& response, int httpStatus, const JsonObject& body)
{
    response.status = httpStatus;
    response.set_content(body.Text(), "application/json; charset=utf-8");
}

void JsonReply::Outcome(httplib::Response& response, int code, const std::string& message)
{
    Send(response, 200, JsonObject().Add("code", code).Add("message", message));
}

void JsonReply::Refusal(httplib::Response& response, int code, const std::string& message)
{
    Send(response, code, JsonObject().Add("code", code).Add("message", message));
}

} // namespace lumo_service
