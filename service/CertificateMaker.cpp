#include "CertificateMaker.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace lumo_service {

namespace {

struct KeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertFree {
    void operator()(X509* cert) const { X509_free(cert); }
};
struct ExtensionFree {
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
};

bool IsIpAddress(const std::string& host)
{
    unsigned char buffer[16];
    return inet_pton(AF_INET, host.c_str(), buffer) == 1 || inet_pton(AF_INET6, host.c_str(), buffer) == 1;
}

std::string AltNames(const std::string& host)
{
    std::string names = "DNS:localhost,IP:127.0.0.1";
    if (host.empty() || host == "localhost" || host == "127.0.0.1" || host == "0.0.0.0" || host == "::") {
        return names;
    }
    return names + (IsIpAddress(host) ? ",IP:" : ",DNS:") + host;
}

bool AddExtension(X509* cert, int nid, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, cert, cert, nullptr, nullptr, 0);
    std::unique_ptr<X509_EXTENSION, ExtensionFree> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
    return extension && X509_add_ext(cert, extension.get(), -1) == 1;
}

// Opens path for writing with the given mode; the file must not exist.
FILE* CreateFile(const std::string& path, mode_t mode)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0) {
        return nullptr;
    }
    FILE* file = fdopen(fd, "w");
    if (file == nullptr) {
        close(fd);
    }
    return file;
}

// Syncs and closes a file this program created; removes it when anything
// failed.
bool Finish(FILE* file, bool written, const std::string& path)
{
    const bool synced = fflush(file) == 0 && fsync(fileno(file)) == 0;
    const bool closed = fclose(file) == 0;
    if (written && synced && closed) {
        return true;
    }
    unlink(path.c_str());
    return false;
}

bool WriteKey(EVP_PKEY* key, const std::string& path)
{
    FILE* file = CreateFile(path, 0600);
    if (file == nullptr) {
        return false;
    }
    const bool written = PEM_write_PrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr) == 1;
    return Finish(file, written, path);
}

bool WriteCert(X509* cert, const std::string& path)
{
    FILE* file = CreateFile(path, 0644);
    if (file == nullptr) {
        return false;
    }
    return Finish(file, PEM_write_X509(file, cert) == 1, path);
}

} // namespace

bool CertificateMaker::Make(const std::string& host, const std::string& certPath, const std::string& keyPath,
                            std::string& error, RandomBytes random)
{
    std::unique_ptr<EVP_PKEY, KeyFree> key(EVP_EC_gen("P-256"));
    std::unique_ptr<X509, CertFree> cert(X509_new());
    if (!key || !cert) {
        error = "cannot generate a key";
        return false;
    }
    unsigned char serial[16];
    if ((random != nullptr ? random : &RAND_bytes)(serial, sizeof serial) != 1) {
        error = "cannot draw a random serial number";
        return false;
    }
    serial[0] &= 0x7f; // a positive serial number
    BIGNUM* serialNumber = BN_bin2bn(serial, sizeof serial, nullptr);
    const std::string commonName = host.empty() || host == "0.0.0.0" || host == "::" ? "localhost" : host;
    X509_NAME* name = X509_get_subject_name(cert.get());
    const bool built = X509_set_version(cert.get(), 2) == 1 && serialNumber != nullptr
        && BN_to_ASN1_INTEGER(serialNumber, X509_get_serialNumber(cert.get())) != nullptr
        && X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600) != nullptr
        && X509_gmtime_adj(X509_getm_notAfter(cert.get()), 60L * 60 * 24 * kValidDays) != nullptr
        && X509_set_pubkey(cert.get(), key.get()) == 1
        && X509_NAME_add_entry_by_txt(name, "O", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>("YUV Lumo"),
                                      -1, -1, 0)
            == 1
        && X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                      reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0)
            == 1
        && X509_set_issuer_name(cert.get(), name) == 1
        && AddExtension(cert.get(), NID_basic_constraints, "critical,CA:FALSE")
        && AddExtension(cert.get(), NID_key_usage, "critical,digitalSignature")
        && AddExtension(cert.get(), NID_ext_key_usage, "serverAuth")
        && AddExtension(cert.get(), NID_subject_key_identifier, "hash")
        && AddExtension(cert.get(), NID_subject_alt_name, AltNames(host))
        && X509_sign(cert.get(), key.get(), EVP_sha256()) > 0;
    BN_free(serialNumber);
    if (!built) {
        error = "cannot build the certificate";
        return false;
    }
    if (!WriteKey(key.get(), keyPath)) {
        error = "cannot write " + keyPath;
        return false;
    }
    if (!WriteCert(cert.get(), certPath)) {
        unlink(keyPath.c_str());
        error = "cannot write " + certPath;
        return false;
    }
    return true;
}

} // namespace lumo_service
