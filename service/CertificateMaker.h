#ifndef LUMO_SERVICE_CERTIFICATEMAKER_H
#define LUMO_SERVICE_CERTIFICATEMAKER_H

#include <string>

namespace lumo_service {

// Writes a self-signed certificate and its private key (ECDSA P-256) for a
// service that has none yet. The certificate names the listen host,
// "localhost" and 127.0.0.1, so clients can verify it once they trust it;
// the key file is readable by its owner only.
class CertificateMaker {
public:
    static constexpr int kValidDays = 825;

    // Fills a buffer with random bytes; 1 on success, as OpenSSL's RAND_bytes.
    using RandomBytes = int (*)(unsigned char* buffer, int size);

    // False with the reason in error; nothing is left behind on failure.
    // random makes the serial number (tests give one that fails).
    static bool Make(const std::string& host, const std::string& certPath, const std::string& keyPath,
                     std::string& error, RandomBytes random = nullptr);
};

} // namespace lumo_service

#endif
