#ifndef LUMO_APP_TOKENMANAGER_H
#define LUMO_APP_TOKENMANAGER_H

#include <QString>

// A place kept for a token store of its own; the session token lives in the
// settings store ("TOKEN") and nothing is kept here.
class TokenManager {
public:
    // Always the empty string.
    QString GetToken();
    // Does nothing.
    void SaveToken(QString token);
};

#endif
