#include "resources/LogoResource.h"

#include <QtGlobal>

// Q_INIT_RESOURCE declares the bundle's initialiser in the enclosing
// namespace, so this stays at global scope.
static bool RegisterLogo()
{
    Q_INIT_RESOURCE(logo);
    return true;
}

QIcon LogoIcon()
{
    static const bool registered = RegisterLogo();
    (void)registered;
    return QIcon(":/img/logo/yuv_logo.png");
}
