#include "shell/AboutWindow.h"

#include "online/LogManager.h"
#include "online/ServiceRequest.h"

#include "resources/LogoResource.h"

#include "ui_AboutWindow.h"

#include <QDebug>
#include <QDesktopServices>

AboutWindow::AboutWindow(QWidget* parent) : QWidget(parent), ui(new Ui_AboutWindow())
{
    ui->setupUi(this);
    setWindowIcon(LogoIcon());
    setWindowTitle("关于这两个工程师");
    const QString site = ServiceRequest::Url("/about").toString();
    // Tight paragraphs: the whole text fits the window without scrolling.
    ui->introTextBrowser->document()->setDefaultStyleSheet("p { margin-top: 3px; margin-bottom: 3px; }");
    ui->introTextBrowser->setHtml(QString("<div align=\"center\">"
                                          "<p><br></p>"
                                          "<p><b>YUV Lumo</b></p>"
                                          "<p>更好用、更全面、更强大的YUV图像视频分析工具</p>"
                                          "<p><br></p>"
                                          "<p><b>作者（排名不分先后）Nioplib:</b></p>"
                                          "<p><b>Lin Qiao</b> (lin.qiao@yuvlumo.org) &nbsp; "
                                          "<b>Mara Kestner</b> (mara@yuvlumo.org)</p>"
                                          "<p><br></p>"
                                          "<p><b>官网</b></p>"
                                          "<p><a href=\"%1\">%1</a></p>"
                                          "</div>")
                                      .arg(site));
    ui->versionLabel->setText(QString::asprintf("YuvLumo %s", "3.0.0"));
    ui->introTextBrowser->setOpenLinks(false);
    connect(ui->introTextBrowser, SIGNAL(anchorClicked(const QUrl&)), this, SLOT(openUrl(const QUrl&)));
    logManager = std::make_unique<LogManager>();
    logManager->RecordOpenAboutDev();
}

AboutWindow::~AboutWindow()
{
    delete ui;
}

void AboutWindow::openUrl(const QUrl& url)
{
    qDebug() << url.toString();
    logManager->RecordClickAboutArdeno();
    QDesktopServices::openUrl(url);
}
