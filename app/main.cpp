// YUV Lumo: every OpenGL widget gets a 3.3 core context with a 24-bit depth
// and an 8-bit stencil buffer, the style is Fusion on every desktop, and the
// splash window decides what comes next.
#include "KestGL/KestGLSurfaceFormat.h"
#include "online/LoadingWindow.h"

#include <QApplication>
#include <QDebug>
#include <QStyleFactory>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    qDebug() << QStyleFactory::keys();
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    LoadingWindow splash(nullptr);
    splash.show();
    return app.exec();
}
