#ifndef LUMO_APP_LOGORESOURCE_H
#define LUMO_APP_LOGORESOURCE_H

#include <QIcon>

// The logo, ":/img/logo/yuv_logo.png". The resource bundle is compiled into
// the application library, whose unreferenced objects the linker would
// leave out: the windows that show the logo register it through here.
QIcon LogoIcon();

#endif
