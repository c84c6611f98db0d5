#include "shell/StartUp.h"

#include "KestGL/KestGLSurfaceFormat.h"

#include <QApplication>
#include <QDebug>
#include <QStyleFactory>

void PrepareApplication()
{
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    qDebug() << QStyleFactory::keys();
    QApplication::setStyle(QStyleFactory::create("Fusion"));
}
