#ifndef LUMO_SERVICE_SESSIONTOKEN_H
#define LUMO_SERVICE_SESSIONTOKEN_H

#include <string>

namespace lumo_service {

// Session tokens: 256 random bits written as 64 lower-case hex digits. Only
// their SHA-256 is stored. A fast hash is enough because the tokens are
// random, not chosen by people, and it keeps the token check cheap.
class SessionToken {
public:
    static constexpr size_t kTextLength = 64;

    static std::string Generate();
    static std::string Hash(const std::string& token);
    // 64 hex digits; anything else cannot be a token.
    static bool LooksValid(const std::string& token);
};

} // namespace lumo_service

#endif
