// YUV Lumo: the splash window decides what comes next.
#include "online/LoadingWindow.h"
#include "online/ServiceNetwork.h"
#include "shell/StartUp.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    PrepareApplication();
    LoadingWindow splash(nullptr);
    splash.show();
    const int code = app.exec();
    // Network threads end while the application object is still whole.
    ServiceNetwork::ShutDown();
    return code;
}
