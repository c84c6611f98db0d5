#include "JsonObject.h"

#include <cstdio>

namespace lumo_service {

JsonObject& JsonObject::Add(const std::string& name, const std::string& value)
{
    Name(name);
    members += Quote(value);
    return *this;
}

JsonObject& JsonObject::Add(const std::string& name, const char* value)
{
    return Add(name, std::string(value));
}

JsonObject& JsonObject::Add(const std::string& name, int64_t value)
{
    Name(name);
    members += std::to_string(value);
    return *this;
}

JsonObject& JsonObject::Add(const std::string& name, const JsonObject& value)
{
    Name(name);
    members += value.Text();
    return *this;
}

std::string JsonObject::Text() const
{
    return "{" + members + "}";
}

void JsonObject::Name(const std::string& name)
{
    if (!members.empty()) {
        members += ',';
    }
    members += Quote(name);
    members += ':';
}

std::string JsonObject::Quote(const std::string& text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (c < 0x20 || c == 0x7f) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    out += '"';
    return out;
}

} // namespace lumo_service
