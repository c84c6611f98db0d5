#ifndef LUMO_APP_SERVICEREQUEST_H
#define LUMO_APP_SERVICEREQUEST_H

#include <QByteArray>
#include <QList>
#include <QNetworkRequest>
#include <QPair>
#include <QSslConfiguration>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

// The one place that builds requests to the maker's web service, for every
// window that talks to it.
//
// The address is YUVLUMO_SERVICE_URL's scheme, host and port (an https URL),
// or the local service's default https://127.0.0.1:8443. Certificates are
// always verified: YUVLUMO_SERVICE_CA may name a PEM file whose certificates
// are trusted besides the system's, so a self-signed service can be used.
class ServiceRequest {
public:
    static constexpr const char* kDefaultBaseUrl = "https://127.0.0.1:8443";
    // A request that has not finished after this many milliseconds (a
    // service that does not answer, or answers a byte at a time) ends with
    // a network error.
    static constexpr int kTimeoutMs = 10000;
    // So does one whose answer grows past this many bytes; the service's
    // answers are JSON objects of a few hundred bytes.
    static constexpr qint64 kMaxReplyBytes = 64 * 1024;

    // The service's address; an unset, unparsable or non-https variable
    // gives the default (with a warning for the last two).
    static QUrl BaseUrl();
    // The address of a path on the service, which may carry a query
    // ("/lumo/user/version/get_latest_version?app_name=YUVLumo"); also for
    // links to the service's pages ("/register").
    static QUrl Url(const QString& pathAndQuery);
    // "name=value&..." in the given order, each value through
    // QUrl::toPercentEncoding.
    static QByteArray FormBody(const QList<QPair<QString, QString>>& fields);
    // A form post of body to pathAndQuery: address, content type
    // "application/x-www-form-urlencoded", content length and the trusted
    // certificates.
    static QNetworkRequest FormPost(const QString& pathAndQuery, const QByteArray& body);
    // Posts body with manager, bounded by kTimeoutMs and kMaxReplyBytes;
    // the reply belongs to the caller.
    static QNetworkReply* Post(QNetworkAccessManager* manager, const QString& pathAndQuery, const QByteArray& body);
    // Peer verification on, TLS 1.2 or later, system certificates plus the
    // YUVLUMO_SERVICE_CA ones.
    static QSslConfiguration SslConfiguration();
};

#endif
