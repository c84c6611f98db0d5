#include "KestGL/KestGLSurfaceFormat.h"

#include <QPair>

namespace Kest {

QSurfaceFormat KestGLSurfaceFormat::CoreFormat()
{
    QSurfaceFormat format;
    format.setVersion(3, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setDepthBufferSize(24);
    format.setStencilBufferSize(8);
    return format;
}

void KestGLSurfaceFormat::UseCoreFormat()
{
    QSurfaceFormat::setDefaultFormat(CoreFormat());
}

bool KestGLSurfaceFormat::IsCore33(const QSurfaceFormat& format)
{
    return format.profile() == QSurfaceFormat::CoreProfile && format.version() >= qMakePair(3, 3);
}

} // namespace Kest
