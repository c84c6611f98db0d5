#ifndef LUMO_SERVICE_DATADIRECTORY_H
#define LUMO_SERVICE_DATADIRECTORY_H

#include <string>

namespace lumo_service {

// The service's folder: the database (lumo.db) and, unless given elsewhere,
// the TLS certificate and key under tls/.
class DataDirectory {
public:
    explicit DataDirectory(std::string path);

    // Creates the folder (owner only) when missing.
    bool Prepare(std::string& error) const;
    std::string DatabasePath() const;
    std::string CertPath() const;
    std::string KeyPath() const;
    // Writes a self-signed pair for host unless both files exist; a lone
    // certificate or key is an error rather than something to overwrite.
    bool EnsureCertificate(const std::string& host, bool& made, std::string& error) const;

private:
    std::string path;
};

} // namespace lumo_service

#endif
