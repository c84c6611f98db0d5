// Shows one frame view and reports how often it painted; run by the context
// tests under a driver that offers less than OpenGL 3.3. Usage:
//   old_context_view FILE WIDTH HEIGHT
// Prints the view's debug lines and "paints N", and exits 0 unless the
// window cannot be shown.
#include "views/YUVShowView.h"

#include "KestGL/KestGLSurfaceFormat.h"
#include "lumo/YUVTypeInstance.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QWindow>

#include <cstdio>

namespace {

void PrintMessage(QtMsgType, const QMessageLogContext&, const QString& message)
{
    printf("%s\n", message.toUtf8().constData());
    fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: old_context_view FILE WIDTH HEIGHT\n");
        return 2;
    }
    qInstallMessageHandler(PrintMessage);
    Kest::KestGLSurfaceFormat::UseCoreFormat();
    QApplication app(argc, argv);
    const lumo::YUVType layout = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName("I420");
    YUVShowView view(QString::fromLocal8Bit(argv[1]), atoi(argv[2]), atoi(argv[3]), layout);
    int paints = 0;
    QObject::connect(&view, &YUVShowView::updataRuler, [&paints](int, int, int, int) { paints++; });
    view.resize(200, 200);
    view.show();
    QElapsedTimer timer;
    timer.start();
    while (view.windowHandle() == nullptr || !view.windowHandle()->isExposed()) {
        if (timer.elapsed() > 10000) {
            fprintf(stderr, "the window was never shown\n");
            return 1;
        }
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    // Paints now, whatever the event loop has done so far; then a few more
    // requests through the loop.
    view.grabFramebuffer();
    for (int i = 0; i < 3; i++) {
        view.LoadFrame(0);
        QCoreApplication::sendPostedEvents();
        QApplication::processEvents(QEventLoop::AllEvents);
    }
    printf("paints %d\n", paints);
    return 0;
}
