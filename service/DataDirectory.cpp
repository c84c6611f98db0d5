#include "DataDirectory.h"

#include "CertificateMaker.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace lumo_service {

namespace {

bool MakeFolder(const std::string& path, std::string& error)
{
    if (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) {
        struct stat info;
        if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
            return true;
        }
        error = path + " is not a folder";
        return false;
    }
    error = "cannot create " + path + ": " + std::strerror(errno);
    return false;
}

bool Exists(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0;
}

} // namespace

DataDirectory::DataDirectory(std::string path)
    : path(std::move(path))
{
}

bool DataDirectory::Prepare(std::string& error) const
{
    return MakeFolder(path, error);
}

std::string DataDirectory::DatabasePath() const
{
    return path + "/lumo.db";
}

std::string DataDirectory::CertPath() const
{
    return path + "/tls/cert.pem";
}

std::string DataDirectory::KeyPath() const
{
    return path + "/tls/key.pem";
}

bool DataDirectory::EnsureCertificate(const std::string& host, bool& made, std::string& error) const
{
    made = false;
    const bool haveCert = Exists(CertPath());
    const bool haveKey = Exists(KeyPath());
    if (haveCert && haveKey) {
        return true;
    }
    if (haveCert || haveKey) {
        error = (haveCert ? CertPath() + " exists without " + KeyPath() : KeyPath() + " exists without " + CertPath())
            + "; remove it to have a new pair made";
        return false;
    }
    if (!MakeFolder(path + "/tls", error) || !CertificateMaker::Make(host, CertPath(), KeyPath(), error)) {
        return false;
    }
    made = true;
    return true;
}

} // namespace lumo_service
