// YUV Lumo: the splash window decides what comes next.
#include "online/LoadingWindow.h"
#include "shell/StartUp.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    PrepareApplication();
    LoadingWindow splash(nullptr);
    splash.show();
    return app.exec();
}
