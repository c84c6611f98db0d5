#ifndef LUMO_SERVICE_PASSWORDHASHER_H
#define LUMO_SERVICE_PASSWORDHASHER_H

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>

namespace lumo_service {

// Argon2id password hashes (libsodium's interactive limits: about 0.1 s and
// 64 MiB each). At most two hashes run at once, so a burst of sign-ins cannot
// exhaust memory.
class PasswordHasher {
public:
    // The work of one new hash. A check reads the cost from the stored hash,
    // so a hash verifies at the cost it was made with.
    struct Cost {
        unsigned long long passes;
        size_t memoryBytes;
    };
    // libsodium's interactive limits: what the service and its operator
    // commands hash with.
    static Cost Interactive();
    // Argon2id's least (one pass over 8 KiB): hashes that protect nothing,
    // for the fuzzer, which signs in and registers thousands of times a
    // second against a throwaway store.
    static Cost Least();

    explicit PasswordHasher(Cost cost);

    // False when memory runs out.
    bool Hash(const std::string& password, std::string& out);
    // Takes as long for a missing account (empty hash) as for a wrong
    // password, so the answer time does not tell which it was.
    bool Verify(const std::string& hash, const std::string& password);

private:
    class Slot;

    const Cost cost;
    std::mutex mutex;
    std::condition_variable freed;
    int running = 0;
    std::once_flag decoyMade;
    std::string decoyHash;
};

} // namespace lumo_service

#endif
