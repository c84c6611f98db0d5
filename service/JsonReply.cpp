#include "JsonReply.h"

namespace lumo_service {

void JsonReply::Send(HttpResponse& response, int httpStatus, const JsonObject& body)
{
    response.status = httpStatus;
    response.SetContent(body.Text(), "application/json; charset=utf-8");
}

void JsonReply::Outcome(HttpResponse& response, int code, const std::string& message)
{
    Send(response, 200, JsonObject().Add("code", code).Add("message", message));
}

void JsonReply::Refusal(HttpResponse& response, int code, const std::string& message)
{
    Send(response, code, JsonObject().Add("code", code).Add("message", message));
}

} // namespace lumo_service
