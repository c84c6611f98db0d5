// main() of the application's test programs: a QApplication on the X
// display with the OpenGL 3.3 core default the application uses (the suite
// runs under Xvfb; without a display it fails rather than skips), and a
// settings store in a temporary folder so no test can touch the user's own
// settings.
#include "KestGL/KestGLSurfaceFormat.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QSettings>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    QTemporaryDir settingsDir;
    if (!settingsDir.isValid()) {
        fprintf(stderr, "cannot create a temporary settings folder\n");
        return 1;
    }
    qputenv("XDG_CONFIG_HOME", settingsDir.path().toUtf8());
    for (QSettings::Format format : {QSettings::NativeFormat, QSettings::IniFormat}) {
        QSettings::setPath(format, QSettings::UserScope, settingsDir.path());
        QSettings::setPath(format, QSettings::SystemScope, settingsDir.path());
    }

    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        fprintf(stderr, "no X display: run the tests on a display (scripts/test provides one)\n");
        return 1;
    }
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
