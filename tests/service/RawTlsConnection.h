#ifndef LUMO_TESTS_RAWTLSCONNECTION_H
#define LUMO_TESTS_RAWTLSCONNECTION_H

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <string>

namespace lumo_test {

// How a hand-made connection presents itself.
struct TlsClientOptions {
    // The loopback address the connection comes from (any 127.x.y.z works
    // on Linux), so a test can act as many clients.
    std::string source = "127.0.0.1";
    int maxVersion = 0; // 0: the newest OpenSSL knows
    std::string ciphers; // TLS 1.2 cipher list; empty: OpenSSL's default
    bool handshake = true; // false: TCP only, for Fd()
};

// One TLS connection written by hand, so a test can stop half-way through a
// request, trickle it, or leave it idle. Verifies the service's certificate
// for 127.0.0.1.
class RawTlsConnection {
public:
    RawTlsConnection(int port, const std::string& caPath, const TlsClientOptions& options = TlsClientOptions())
    {
        fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in local {};
        local.sin_family = AF_INET;
        inet_pton(AF_INET, options.source.c_str(), &local.sin_addr);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0
            || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            return;
        }
        tcpConnected = true;
        if (!options.handshake) {
            return;
        }
        context = SSL_CTX_new(TLS_client_method());
        SSL_CTX_load_verify_locations(context, caPath.c_str(), nullptr);
        SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
        if (options.maxVersion != 0) {
            SSL_CTX_set_max_proto_version(context, options.maxVersion);
        }
        if (!options.ciphers.empty()) {
            SSL_CTX_set_cipher_list(context, options.ciphers.c_str());
        }
        ssl = SSL_new(context);
        X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), "127.0.0.1");
        SSL_set_fd(ssl, fd);
        connected = SSL_connect(ssl) == 1 && SSL_get_verify_result(ssl) == X509_V_OK;
    }
    ~RawTlsConnection()
    {
        if (ssl != nullptr) {
            SSL_free(ssl);
        }
        close(fd);
        SSL_CTX_free(context);
    }
    RawTlsConnection(const RawTlsConnection&) = delete;
    RawTlsConnection& operator=(const RawTlsConnection&) = delete;

    bool Connected() const { return connected; }
    bool TcpConnected() const { return tcpConnected; }
    int Fd() const { return fd; }
    bool Write(const std::string& text) { return SSL_write(ssl, text.data(), static_cast<int>(text.size())) > 0; }
    // Reads until text has come (or the connection ends); returns what came.
    std::string ReadUntil(const std::string& text)
    {
        std::string got;
        char c;
        while (got.find(text) == std::string::npos && SSL_read(ssl, &c, 1) == 1) {
            got.push_back(c);
        }
        return got;
    }
    // Everything until the server closes the connection.
    std::string ReadAll()
    {
        std::string text;
        char buffer[4096];
        int got;
        while ((got = SSL_read(ssl, buffer, sizeof buffer)) > 0) {
            text.append(buffer, static_cast<size_t>(got));
        }
        return text;
    }
    // Reads give up after this long with nothing coming.
    void SetReadTimeout(int milliseconds)
    {
        timeval timeout {milliseconds / 1000, (milliseconds % 1000) * 1000};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }

private:
    SSL_CTX* context = nullptr;
    SSL* ssl = nullptr;
    int fd = -1;
    bool tcpConnected = false;
    bool connected = false;
};

} // namespace lumo_test

#endif
