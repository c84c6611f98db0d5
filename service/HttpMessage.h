#ifndef LUMO_SERVICE_HTTPMESSAGE_H
#define LUMO_SERVICE_HTTPMESSAGE_H

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace lumo_service {

// A request as the handlers see it: the server has read its header and its
// body (within the body limit) before a handler runs.
struct HttpRequest {
    std::string method;
    std::string path; // without the query
    std::string remoteAddress;
    std::vector<std::pair<std::string, std::string>> headers;
    std::map<std::string, std::string> query;
    std::string body;
    // The body was over the limit: body is empty and the connection closes
    // after the answer, since the rest of it was never read.
    bool bodyTooLarge = false;

    // The first header of that name, compared without case; empty if none.
    std::string Header(const std::string& name) const;
    bool HasHeader(const std::string& name) const;
    bool HasQuery(const std::string& name) const { return query.count(name) != 0; }
    std::string Query(const std::string& name) const;
};

struct HttpResponse {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    void SetHeader(const std::string& name, const std::string& value);
    void SetContent(std::string content, const std::string& contentType);
};

} // namespace lumo_service

#endif
