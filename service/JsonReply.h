#ifndef LUMO_SERVICE_JSONREPLY_H
#define LUMO_SERVICE_JSONREPLY_H

#include "HttpMessage.h"
#include "JsonObject.h"

#include <string>

namespace lumo_service {

// JSON answers. The "code" member carries the outcome the client acts on;
// the HTTP status stays 200 for every outcome the client is meant to read
// (a wrong password, an expired session), and only a request the service
// could not take (malformed, too large, unknown path) or a failure of the
// service itself gets the same code as its HTTP status.
class JsonReply {
public:
    static void Send(HttpResponse& response, int httpStatus, const JsonObject& body);
    // {"code":code,"message":message}
    static void Outcome(HttpResponse& response, int code, const std::string& message);
    static void Refusal(HttpResponse& response, int code, const std::string& message);
};

} // namespace lumo_service

#endif
