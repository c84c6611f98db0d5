#include "PasswordHasher.h"

#include <sodium.h>

namespace lumo_service {

namespace {

constexpr int kMaxConcurrentHashes = 2;

} // namespace

// Holds one of the concurrent hashing places for its lifetime.
class PasswordHasher::Slot {
public:
    explicit Slot(PasswordHasher& hasher)
        : hasher(hasher)
    {
        std::unique_lock<std::mutex> lock(hasher.mutex);
        hasher.freed.wait(lock, [&] { return hasher.running < kMaxConcurrentHashes; });
        ++hasher.running;
    }
    ~Slot()
    {
        {
            std::lock_guard<std::mutex> lock(hasher.mutex);
            --hasher.running;
        }
        hasher.freed.notify_one();
    }

private:
    PasswordHasher& hasher;
};

PasswordHasher::Cost PasswordHasher::Interactive()
{
    return {crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE};
}

PasswordHasher::Cost PasswordHasher::Least()
{
    return {crypto_pwhash_OPSLIMIT_MIN, crypto_pwhash_MEMLIMIT_MIN};
}

PasswordHasher::PasswordHasher(Cost cost)
    : cost(cost)
{
}

bool PasswordHasher::Hash(const std::string& password, std::string& out)
{
    char hash[crypto_pwhash_STRBYTES];
    Slot slot(*this);
    if (crypto_pwhash_str(hash, password.data(), password.size(), cost.passes, cost.memoryBytes) != 0) {
        return false;
    }
    out = hash;
    return true;
}

bool PasswordHasher::Verify(const std::string& hash, const std::string& password)
{
    const bool decoy = hash.empty();
    if (decoy) {
        // A hash of random bytes stands in for missing accounts.
        std::call_once(decoyMade, [this] {
            unsigned char random[32];
            randombytes_buf(random, sizeof random);
            Hash(std::string(reinterpret_cast<char*>(random), sizeof random), decoyHash);
        });
    }
    Slot slot(*this);
    const int result = crypto_pwhash_str_verify(decoy ? decoyHash.c_str() : hash.c_str(), password.data(),
                                                password.size());
    return !decoy && result == 0;
}

} // namespace lumo_service
