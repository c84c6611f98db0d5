#ifndef LUMO_APP_SERVICEREPLY_H
#define LUMO_APP_SERVICEREPLY_H

#include <QJsonObject>

class QNetworkReply;

// The first steps every answer of the web service goes through: the HTTP
// status and reason phrase are written to the debug log ("status code=",
// "reason="); a network error (or a request that timed out) is logged as
// "Failed: " and its text and gives false. Otherwise the body is read and
// its JSON object returned in json (empty when the body is not a JSON
// object); the raw body is logged when logBody is set. The reply is
// scheduled for deletion either way.
bool ReadServiceReply(QNetworkReply* reply, QJsonObject& json, bool logBody = false);

// The integer "code" of an answer, -1 when it has none.
int ServiceCode(const QJsonObject& json);

#endif
