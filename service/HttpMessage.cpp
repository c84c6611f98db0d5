#include "HttpMessage.h"

#include <strings.h>

namespace lumo_service {

namespace {

const std::pair<std::string, std::string>* Find(const std::vector<std::pair<std::string, std::string>>& headers,
                                                const std::string& name)
{
    for (const auto& header : headers) {
        if (strcasecmp(header.first.c_str(), name.c_str()) == 0) {
            return &header;
        }
    }
    return nullptr;
}

} // namespace

std::string HttpRequest::Header(const std::string& name) const
{
    const auto* found = Find(headers, name);
    return found ? found->second : std::string();
}

std::string HttpRequest::Query(const std::string& name) const
{
    const auto found = query.find(name);
    return found == query.end() ? std::string() : found->second;
}

void HttpResponse::SetHeader(const std::string& name, const std::string& value)
{
    for (auto& header : headers) {
        if (strcasecmp(header.first.c_str(), name.c_str()) == 0) {
            header.second = value;
            return;
        }
    }
    headers.emplace_back(name, value);
}

void HttpResponse::SetContent(std::string content, const std::string& contentType)
{
    body = std::move(content);
    SetHeader("Content-Type", contentType);
}

} // namespace lumo_service
