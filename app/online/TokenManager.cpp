#include "online/TokenManager.h"

QString TokenManager::GetToken()
{
    return QString();
}

void TokenManager::SaveToken(QString) {}
