#include "ServiceRequest.h"

#include "online/ReplyLimits.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QSslCertificate>

QUrl ServiceRequest::BaseUrl()
{
    const QString text = qEnvironmentVariable("YUVLUMO_SERVICE_URL").trimmed();
    const QUrl fallback(QString::fromLatin1(kDefaultBaseUrl));
    if (text.isEmpty()) {
        return fallback;
    }
    const QUrl given(text, QUrl::StrictMode);
    if (!given.isValid() || given.scheme() != "https" || given.host().isEmpty()) {
        qWarning().noquote() << "YUVLUMO_SERVICE_URL is not an https address:" << text << "- using"
                             << fallback.toString();
        return fallback;
    }
    QUrl base;
    base.setScheme(given.scheme());
    base.setHost(given.host());
    base.setPort(given.port());
    return base;
}

QUrl ServiceRequest::Url(const QString& pathAndQuery)
{
    return BaseUrl().resolved(QUrl(pathAndQuery));
}

QByteArray ServiceRequest::FormBody(const QList<QPair<QString, QString>>& fields)
{
    QByteArray body;
    for (const auto& field : fields) {
        if (!body.isEmpty()) {
            body += '&';
        }
        body += field.first.toUtf8() + '=' + QUrl::toPercentEncoding(field.second);
    }
    return body;
}

QSslConfiguration ServiceRequest::SslConfiguration()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    const QString caPath = qEnvironmentVariable("YUVLUMO_SERVICE_CA");
    if (!caPath.isEmpty()) {
        const QList<QSslCertificate> certificates = QSslCertificate::fromPath(caPath, QSsl::Pem);
        if (certificates.isEmpty()) {
            qWarning().noquote() << "YUVLUMO_SERVICE_CA: no PEM certificate in" << caPath;
        }
        // Setting any certificate ends the on-demand loading of the system
        // ones, so they are listed explicitly (read once).
        static const QList<QSslCertificate> systemCertificates = QSslConfiguration::systemCaCertificates();
        configuration.setCaCertificates(systemCertificates + certificates);
    }
    return configuration;
}

QNetworkRequest ServiceRequest::FormPost(const QString& pathAndQuery, const QByteArray& body)
{
    QNetworkRequest request(Url(pathAndQuery));
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    request.setHeader(QNetworkRequest::ContentLengthHeader, body.size());
    request.setSslConfiguration(SslConfiguration());
    return request;
}

QNetworkReply* ServiceRequest::Post(QNetworkAccessManager* manager, const QString& pathAndQuery,
                                    const QByteArray& body)
{
    QNetworkReply* reply = manager->post(FormPost(pathAndQuery, body), body);
    ReplyLimits::Apply(reply, kTimeoutMs, kMaxReplyBytes);
    return reply;
}
