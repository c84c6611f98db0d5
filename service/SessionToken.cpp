#include "SessionToken.h"

#include <sodium.h>

namespace lumo_service {

namespace {

std::string Hex(const unsigned char* data, size_t size)
{
    std::string text(size * 2 + 1, '\0');
    sodium_bin2hex(&text[0], text.size(), data, size);
    text.pop_back();
    return text;
}

} // namespace

std::string SessionToken::Generate()
{
    unsigned char random[kTextLength / 2];
    randombytes_buf(random, sizeof random);
    const std::string token = Hex(random, sizeof random);
    sodium_memzero(random, sizeof random);
    return token;
}

std::string SessionToken::Hash(const std::string& token)
{
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256(digest, reinterpret_cast<const unsigned char*>(token.data()), token.size());
    return Hex(digest, sizeof digest);
}

bool SessionToken::LooksValid(const std::string& token)
{
    if (token.size() != kTextLength) {
        return false;
    }
    for (char c : token) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) {
            return false;
        }
    }
    return true;
}

} // namespace lumo_service
