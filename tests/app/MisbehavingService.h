#ifndef LUMO_TESTS_MISBEHAVINGSERVICE_H
#define LUMO_TESTS_MISBEHAVINGSERVICE_H

#include <QByteArray>
#include <QFile>
#include <QPointer>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTimer>

#include <string>

namespace lumo_test {

// A TLS service on loopback, with a real lumo-service's certificate and key
// (so the application trusts it as it trusts that service), that answers
// every request the way a broken or hostile service would:
// - Trickle: a 200 answer announcing 1000 bytes, then one byte a period;
// - Endless: a chunked 200 answer whose chunks never end (16 KiB a
//   millisecond, bounded to 256 MiB so the test stops by itself);
// - Huge: headers announcing a body of a gigabyte, then nothing.
// Runs on the test's thread, served by the event loop the test waits in.
class MisbehavingService : public QTcpServer {
public:
    enum class Kind { Trickle, Endless, Huge };

    MisbehavingService(Kind kind, const std::string& tlsFolder, int periodMs = 1000) : kind(kind), periodMs(periodMs)
    {
        QFile certFile(QString::fromStdString(tlsFolder + "/cert.pem"));
        QFile keyFile(QString::fromStdString(tlsFolder + "/key.pem"));
        if (certFile.open(QIODevice::ReadOnly) && keyFile.open(QIODevice::ReadOnly)) {
            certificate = QSslCertificate(certFile.readAll(), QSsl::Pem);
            key = QSslKey(keyFile.readAll(), QSsl::Ec, QSsl::Pem);
        }
        listen(QHostAddress::LocalHost);
    }

    bool Ready() const { return isListening() && !certificate.isNull() && !key.isNull(); }
    QByteArray Url() const { return "https://127.0.0.1:" + QByteArray::number(serverPort()); }
    // Body bytes handed to the connection so far.
    qint64 BodyBytesSent() const { return sent; }
    // Whether the client closed the connection.
    bool ClientLeft() const { return left; }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto* socket = new QSslSocket(this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        socket->setLocalCertificate(certificate);
        socket->setPrivateKey(key);
        socket->setProtocol(QSsl::TlsV1_2OrLater);
        connect(socket, &QSslSocket::readyRead, socket, [this, socket] {
            request += socket->readAll();
            if (!answering && request.contains("\r\n\r\n")) {
                answering = true;
                Answer(socket);
            }
        });
        // A client that goes away while the service writes may show as an
        // error (a reset connection) rather than as a disconnection.
        connect(socket, &QSslSocket::disconnected, this, [this] { left = true; });
        connect(socket, &QSslSocket::errorOccurred, this, [this] { left = true; });
        socket->startServerEncryption();
    }

private:
    void Answer(QSslSocket* socket)
    {
        QPointer<QSslSocket> alive(socket);
        auto* timer = new QTimer(socket);
        switch (kind) {
        case Kind::Trickle:
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 1000\r\n\r\n");
            connect(timer, &QTimer::timeout, socket, [this, alive] {
                if (alive && sent < 1000) {
                    alive->write(sent == 0 ? "{" : " ");
                    sent++;
                }
            });
            timer->start(periodMs);
            break;
        case Kind::Endless:
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n");
            connect(timer, &QTimer::timeout, socket, [this, alive] {
                const QByteArray chunk(16 * 1024, ' ');
                // One chunk a tick (16 MB/s): the stream never ends, and the
                // test's own thread, which also serves the client's signals,
                // is not kept busy encrypting. Only what a connected socket
                // takes counts: once the client has gone (a reset may leave
                // the state connected), nothing more is written.
                if (alive && !left && alive->state() == QAbstractSocket::ConnectedState &&
                    alive->encryptedBytesToWrite() + alive->bytesToWrite() < 1024 * 1024 &&
                    sent < 256 * 1024 * 1024 &&
                    alive->write(QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n") > 0) {
                    sent += chunk.size();
                }
            });
            timer->start(1);
            break;
        case Kind::Huge:
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 1073741824\r\n\r\n{");
            sent = 1;
            break;
        }
    }

    Kind kind;
    int periodMs;
    QSslCertificate certificate;
    QSslKey key;
    QByteArray request;
    bool answering = false;
    bool left = false;
    qint64 sent = 0;
};

} // namespace lumo_test

#endif
