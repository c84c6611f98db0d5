#ifndef LUMO_SERVICE_JSONOBJECT_H
#define LUMO_SERVICE_JSONOBJECT_H

#include <cstdint>
#include <string>

namespace lumo_service {

// Writes one compact JSON object, members in the order they are added.
class JsonObject {
public:
    JsonObject& Add(const std::string& name, const std::string& value);
    JsonObject& Add(const std::string& name, const char* value);
    JsonObject& Add(const std::string& name, int64_t value);
    JsonObject& Add(const std::string& name, const JsonObject& value);
    std::string Text() const;

    // A JSON string literal for UTF-8 text.
    static std::string Quote(const std::string& text);

private:
    void Name(const std::string& name);

    std::string members;
};

} // namespace lumo_service

#endif
