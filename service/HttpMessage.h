#ifndef LUMO_SERVICE_HTTPMESSAGE_H
#define LUMO_SERVICE_HTTPMESSAGE_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace lumo_service {

// A request as the handlers see it: the server has read its header and its
// body (within the body limit) before a handler runs.
struct HttpRequest {
    // The largest body the server reads; one announced or sent beyond it is
    // refused with 413 before a handler runs.
    static constexpr size_t kMaxBodyBytes = 64 * 1024;

    std::string method;
    std::string path; // without the query
    std::string remoteAddress;
    std::vector<std::pair<std::string, std::string>> headers;
    std::map<std::string, std::string> query;
    std::string body;

    // The first header of that name, compared without case; empty if none.
    std::string Header(const std::string& name) const;
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
