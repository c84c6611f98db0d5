// The application as a new user meets it: the program's start, then the
// whole way through the real windows against a real lumo-service, from
// signing up to comparing two files, with screenshots for a person to look
// at.
#include "analysis/LumoImageView.h"
#include "analysis/VideoCtrBar.h"
#include "analysis/VideoTimeLine.h"
#include "online/LoadingWindow.h"
#include "online/LoginWindow.h"
#include "shell/AboutWindow.h"
#include "shell/MainWindow.h"
#include "shell/OpenFileDialog.h"
#include "shell/StartUp.h"
#include "shell/YUVListItem.h"

#include "AnalysisTestSupport.h"
#include "OnlineTestService.h"
#include "SettingsScope.h"
#include "ShellTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QButtonGroup>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QNetworkCookieJar>
#include <QOpenGLContext>
#include <QOpenGLWidget>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QSpinBox>
#include <QStandardPaths>
#include <QStyle>
#include <QTimer>
#include <QToolBar>
#include <QAction>
#include <QtTest/QTest>

namespace {

using shell_test::CloseAllWindows;
using shell_test::VisibleWindow;

void Screenshot(QWidget& widget, const char* name)
{
    view_test::FlushEvents();
    const QString file = QString(LUMO_BINARY_DIR) + "/" + name;
    EXPECT_TRUE(widget.grab().save(file)) << file.toStdString();
}

// Signs up through the service's own page, as a browser would: the form
// and its cookie first, then the post.
bool RegisterThroughThePage(const QString& email, const QString& password)
{
    QNetworkAccessManager manager;
    manager.setCookieJar(new QNetworkCookieJar(&manager));
    QNetworkRequest page(ServiceRequest::Url("/register"));
    page.setSslConfiguration(ServiceRequest::SslConfiguration());
    QNetworkReply* form = manager.get(page);
    view_test::WaitUntil([&] { return form->isFinished(); });
    const QString html = QString::fromUtf8(form->readAll());
    delete form;
    const QRegularExpressionMatch csrf = QRegularExpression("name=\"csrf\" value=\"([^\"]+)\"").match(html);
    if (!csrf.hasMatch()) {
        return false;
    }
    const QByteArray body = ServiceRequest::FormBody(
        {{"csrf", csrf.captured(1)}, {"email", email}, {"password", password}, {"password2", password}});
    QNetworkRequest post = ServiceRequest::FormPost("/register", body);
    QNetworkReply* answer = manager.post(post, body);
    view_test::WaitUntil([&] { return answer->isFinished(); });
    const bool done = answer->error() == QNetworkReply::NoError;
    delete answer;
    return done;
}

class NewUserJourneyTest : public lumo_test::ServiceSuite {
protected:
    void TearDown() override { CloseAllWindows(); }

    std::string Media(const std::string& name)
    {
        const std::string path = dir.File(name);
        QProcess ffmpeg;
        ffmpeg.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        ffmpeg.start(QStandardPaths::findExecutable("ffmpeg"),
                     {"-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-f", "lavfi", "-i",
                      "testsrc2=s=160x120:r=25", "-frames:v", "8", "-c:v", "libx264", "-pix_fmt", "yuv420p",
                      QString::fromStdString(path)});
        EXPECT_TRUE(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0);
        return path;
    }

    // Runs the open-file dialog that opens next: a button of the dialog
    // that picks paths in a file dialog, then layout, size and confirm.
    static void WhenTheDialogOpens(const char* button, const QStringList& paths, int typeIndex, int width,
                                   int height, const char* screenshot = nullptr)
    {
        shell_test::WhenShown<OpenFileDialog>([=](OpenFileDialog* dialog) {
            shell_test::WhenShown<QFileDialog>([paths](QFileDialog* files) { shell_test::ChooseFiles(files, paths); });
            QTest::mouseClick(dialog->findChild<QPushButton*>(button), Qt::LeftButton);
            // A conversion has to end first.
            view_test::WaitUntil([&] { return dialog->findChild<QPushButton*>("open_file_ok")->isEnabled(); },
                                 60000);
            if (typeIndex >= 0) {
                dialog->findChild<QButtonGroup*>()->button(typeIndex)->setChecked(true);
                dialog->findChild<QSpinBox*>("width_spin_box")->setValue(width);
                dialog->findChild<QSpinBox*>("height_spin_box")->setValue(height);
            }
            if (screenshot != nullptr) {
                Screenshot(*dialog, screenshot);
            }
            QTest::mouseClick(dialog->findChild<QPushButton*>("open_file_ok"), Qt::LeftButton);
        });
    }

    static int Thumbnails(YUVListItem* item)
    {
        QLayout* layout = item->findChild<QLayout*>("small_image_layout");
        int labels = 0;
        for (int i = 0; layout != nullptr && i < layout->count(); i++) {
            labels += qobject_cast<QLabel*>(layout->itemAt(i)->widget()) != nullptr ? 1 : 0;
        }
        return labels;
    }

    lumo_test::TempDir dir;
};


} // namespace

TEST_F(NewUserJourneyTest, StartUpSetsTheOpenGLFormatTheStyleAndListsTheStylesOnce)
{
    analysis_test::DebugCapture debug;
    PrepareApplication();
    const QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    EXPECT_EQ(qMakePair(3, 3), format.version());
    EXPECT_EQ(QSurfaceFormat::CoreProfile, format.profile());
    EXPECT_EQ(24, format.depthBufferSize());
    EXPECT_EQ(8, format.stencilBufferSize());
    EXPECT_EQ("fusion", QApplication::style()->objectName());
    ASSERT_EQ(1, debug.Lines().size());
    EXPECT_TRUE(debug.Lines()[0].contains("\"Fusion\"")) << debug.Lines()[0].toStdString();
    EXPECT_TRUE(debug.Lines()[0].startsWith("(")) << debug.Lines()[0].toStdString();
}

TEST_F(NewUserJourneyTest, TheProgramListsTheStylesFirstAndOnlyOnceThenShowsTheSplash)
{
    lumo_test::TempDir home;
    QProcess app;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", QString::fromStdString(home.Path()));
    environment.insert("XDG_CONFIG_HOME", QString::fromStdString(home.File("config")));
    app.setProcessEnvironment(environment);
    app.setProcessChannelMode(QProcess::MergedChannels);
    app.start(YUVLUMO_PATH, QStringList());
    ASSERT_TRUE(app.waitForStarted());
    // The empty settings store leads to the login window after 2 seconds.
    QString output;
    ASSERT_TRUE(view_test::WaitUntil(
        [&] {
            output += QString::fromUtf8(app.readAll());
            return output.contains("page=loginWindow");
        },
        30000))
        << output.toStdString();
    app.kill();
    app.waitForFinished();
    const QStringList lines = output.split('\n');
    int styleLines = 0;
    int firstStyle = -1;
    int session = -1;
    for (int i = 0; i < lines.size(); i++) {
        if (lines[i].startsWith("(") && lines[i].contains("\"Fusion\"")) {
            styleLines++;
            firstStyle = firstStyle < 0 ? i : firstStyle;
        }
        if (lines[i].startsWith("TOKEN") && session < 0) {
            session = i;
        }
    }
    EXPECT_EQ(1, styleLines) << output.toStdString();
    EXPECT_GE(session, 0);
    EXPECT_LT(firstStyle, session);
}

TEST_F(NewUserJourneyTest, FromSigningUpToComparingTwoFiles)
{
    analysis_test::DebugCapture debug;
    shell_test::MessageBoxWatcher boxes;
    PrepareApplication();
    const lumo::YUVReader first = analysis_test::WriteI420(dir.File("first.yuv"), 320, 240, 6, [](int f, int x, int y) {
        return (x + 2 * y + 12 * f) % 220 + 16;
    });
    const lumo::YUVReader second = analysis_test::WriteI420(dir.File("second.yuv"), 320, 240, 6, [](int f, int x, int y) {
        return std::min(235, (x + 2 * y + 12 * f) % 220 + 16 + (x * 5 + y * 3) % 7);
    });
    const std::string media = Media("clip.mp4");

    // Signing up on the service's page.
    ASSERT_TRUE(RegisterThroughThePage("new.user@example.com", "a long secret"));

    // Starting: no session yet, so the login window.
    auto* splash = new LoadingWindow(nullptr);
    splash->show();
    Screenshot(*splash, "splash-window.png");
    // The splash's 2 s are a test of their own.
    splash->findChild<QTimer*>()->start(0);
    ASSERT_TRUE(view_test::WaitUntil([] { return VisibleWindow<LoginWindow>() != nullptr; }, 10000));
    LoginWindow* login = VisibleWindow<LoginWindow>();
    login->findChild<QLineEdit*>("email_line_edit")->setText("new.user@example.com");
    login->findChild<QLineEdit*>("password_line_edit")->setText("a long secret");
    Screenshot(*login, "login-window.png");
    QTest::mouseClick(login->findChild<QPushButton*>("login_btn"), Qt::LeftButton);
    ASSERT_TRUE(boxes.WaitFor("登录成功"));
    ASSERT_TRUE(view_test::WaitUntil([] { return VisibleWindow<MainWindow>() != nullptr; }));
    MainWindow* window = VisibleWindow<MainWindow>();
    EXPECT_TRUE(window->findChild<QToolBar*>()->findChild<QLabel*>()->text().endsWith("new.user@example.com"));

    // Two raw files in one go, then a media file, converted.
    WhenTheDialogOpens("open_file_btn", {QString::fromStdString(first.path), QString::fromStdString(second.path)},
                       0, 320, 240, "open-file-dialog.png");
    window->OpenFileClickListener();
    WhenTheDialogOpens("open_file_video", {QString::fromStdString(media)}, -1, 0, 0);
    window->OpenFileClickListener();
    EXPECT_TRUE(debug.Contains("ReadThread_OnProgress:"));
    QList<YUVListItem*> items = window->GetItems();
    ASSERT_EQ(3, items.size());
    EXPECT_EQ(6, Thumbnails(items[0]));
    EXPECT_EQ(6, Thumbnails(items[1]));
    EXPECT_EQ(8, Thumbnails(items[2]));
    EXPECT_TRUE(items[2]->GetPath().startsWith("I420 (YUV 4:2:0 planar)        8帧        "));
    EXPECT_TRUE(items[2]->GetPath().contains(QString::fromStdString(media) + "."));
    window->resize(1194, 650);
    Screenshot(*window, "main-window.png");

    // Restarted, the list is back, the converted file as I420.
    window->close();
    auto* again = new MainWindow(nullptr);
    again->show();
    items = again->GetItems();
    ASSERT_EQ(3, items.size());
    EXPECT_TRUE(items[0]->GetPath().endsWith("first.yuv"));
    EXPECT_TRUE(items[1]->GetPath().endsWith("second.yuv"));
    EXPECT_TRUE(items[2]->GetPath().startsWith("I420 (YUV 4:2:0 planar)        8帧        "));

    // The first file analysed and compared with the second.
    QTest::mouseClick(items[0]->findChild<QPushButton*>("show_detail_btn"), Qt::LeftButton);
    LumoImageView* analysis = VisibleWindow<LumoImageView>();
    ASSERT_NE(nullptr, analysis);
    WhenTheDialogOpens("open_file_btn", {QString::fromStdString(second.path)}, 0, 320, 240);
    QTest::mouseClick(analysis->findChild<QPushButton*>("open2"), Qt::LeftButton);
    ASSERT_NE(nullptr, analysis->Get2ndView());
    VideoTimeLine* timeline = analysis->GetCtrBar()->GetTimeLine();
    QTest::mouseDClick(timeline, Qt::LeftButton, Qt::NoModifier, QPoint(2 * 50 + 25, 40));
    QLabel* result = analysis->findChild<QLabel*>("psnr_label");
    ASSERT_TRUE(view_test::WaitUntil([&] { return result->text().startsWith("【SSIM 0."); }, 60000))
        << result->text().toStdString();

    // Every OpenGL widget got the application's format.
    for (QOpenGLWidget* gl : analysis->findChildren<QOpenGLWidget*>()) {
        ASSERT_TRUE(view_test::WaitUntil([&] { return gl->context() != nullptr; }));
        const QSurfaceFormat got = gl->context()->format();
        EXPECT_EQ(QSurfaceFormat::CoreProfile, got.profile());
        EXPECT_GE(got.version(), qMakePair(3, 3));
        EXPECT_EQ(24, got.depthBufferSize());
        EXPECT_EQ(8, got.stencilBufferSize());
    }

    // And the About window, for the record.
    again->findChild<QAction*>("action_about")->trigger();
    AboutWindow* about = VisibleWindow<AboutWindow>();
    ASSERT_NE(nullptr, about);
    Screenshot(*about, "about-window.png");
}
