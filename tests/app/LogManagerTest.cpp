// LogManager against a real lumo-service: what each Record... operation
// makes the service store.
#include "online/LogManager.h"

#include "OnlineTestService.h"
#include "SettingsScope.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <QSettings>
#include <QStringList>

#include <functional>
#include <limits>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

QStringList debugLines;

void CaptureDebug(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtDebugMsg) {
        debugLines.append(message);
    }
}

// The six fields an event is stored with (version and platform are fixed).
struct Row {
    QString type, page, block, action, info;
};

class LogManagerTest : public lumo_test::ServiceSuite {
protected:
    void SetUp() override
    {
        debugLines.clear();
        previous = qInstallMessageHandler(CaptureDebug);
        answeredBefore = service->AnsweredEvents();
        storedBefore = service->Events().size();
    }
    void TearDown() override { qInstallMessageHandler(previous); }

    // Waits for count more events and returns the newest count stored ones.
    std::vector<QJsonObject> NextEvents(int count)
    {
        EXPECT_TRUE(service->WaitForAnsweredEvents(answeredBefore + count));
        answeredBefore += count;
        std::vector<QJsonObject> events = service->Events();
        std::vector<QJsonObject> fresh(events.begin() + static_cast<long>(storedBefore), events.end());
        storedBefore = events.size();
        return fresh;
    }

    static void ExpectRow(const QJsonObject& event, const Row& row)
    {
        EXPECT_EQ(row.type, event.value("type").toString());
        EXPECT_EQ("3.0.0", event.value("version").toString());
        EXPECT_EQ("Linux", event.value("platform").toString());
        EXPECT_EQ("YUVLumo", event.value("app").toString());
        EXPECT_EQ(row.page, event.value("page").toString());
        EXPECT_EQ(row.block, event.value("block").toString());
        EXPECT_EQ(row.action, event.value("action").toString());
        EXPECT_EQ(row.info, event.value("info").toString());
    }

    static QStringList PostLines()
    {
        QStringList lines;
        for (const QString& line : debugLines) {
            if (line.startsWith("record log post_data=")) {
                lines.append(line);
            }
        }
        return lines;
    }

    QtMessageHandler previous = nullptr;
    int answeredBefore = 0;
    size_t storedBefore = 0;
};


const QString kUser = "[user_email]ann@example.com; [info] ";

} // namespace

TEST_F(LogManagerTest, ConstructionLogsTheHostAddress)
{
    LogManager log;
    ASSERT_EQ(2, debugLines.size());
    EXPECT_TRUE(debugLines[0].startsWith("strIpAddress1 "));
    EXPECT_EQ("[record log ipAddress] = " + debugLines[0].mid(14), debugLines[1]);
}

TEST_F(LogManagerTest, EveryRecordOperationStoresItsRow)
{
    StoreSession("a-token", "ann@example.com");
    LogManager log;
    const std::vector<std::pair<std::function<int()>, Row>> cases {
        {[&] { return log.RecordOpenFile(1920, 1080, "I420", "/v/clip.yuv"); },
         {"INFO", "OpenFileDialog", "OpenFile", "OpenFileBtnClick",
          kUser + "width:1920;height:1080;yuvtype:I420;yuvpath:/v/clip.yuv"}},
        {[&] { return log.RecordOpenAboutDev(); }, {"INFO", "AboutWindow", "AboutDevelopers", "NULL", kUser + "NULL"}},
        {[&] { return log.RecordOpenAboutFeedback(); }, {"INFO", "AboutWindow", "AboutFeedback", "NULL", kUser + "NULL"}},
        {[&] { return log.RecordClickAboutArdeno(); },
         {"INFO", "AboutWindow", "AboutDevelopers", "AboutArdenoClick", kUser + "NULL"}},
        {[&] { return log.RecordOpenMainWindow(); }, {"INFO", "MainWindow", "NULL", "NULL", kUser + "NULL"}},
        {[&] { return log.RecordOpenLoginWindow(); }, {"INFO", "loginWindow", "NULL", "NULL", kUser + "NULL"}},
        {[&] { return log.RecordError("OpenFileDialog", "OpenFile", "OpenFileBtnClick", "ERROR:[function]x"); },
         {"ERROR", "OpenFileDialog", "OpenFile", "OpenFileBtnClick", kUser + "ERROR:[function]x"}},
        {[&] { return log.RecordIQAInfo("a.yuv|b.yuv", 0.987654321, 41.5, 45.0, 44.25); },
         {"INFO", "LumoImageView", "LumoImageViewBlock", "LumoImageViewIQAClick",
          kUser + "a.yuv|b.yuv + [ssim=0.987654;psnrYUV=41.5,45,44.25]"}},
        {[&] { return log.RecordStartPlay("clip.yuv", 25); },
         {"INFO", "LumoImageView", "LumoImageViewBlock", "LumoImageViewPlayStartClick", kUser + "clip.yuv + [fps:25]"}},
        {[&] { return log.RecordStopPlay("clip.yuv"); },
         {"INFO", "LumoImageView", "LumoImageViewBlock", "LumoImageViewPlayStopClick", kUser + "file:clip.yuv"}},
        {[&] { return log.RecordOpen2ndFile("second.yuv"); },
         {"INFO", "LumoImageView", "LumoImageViewBlock", "LumoImageViewOpen2ndClick", kUser + "second.yuv"}},
        {[&] { return log.RecordCheckUpdateClick(false); },
         {"INFO", "TopTabPage", "TopTabUpdateBlock", "TopTabUpdateBlockClick", kUser + "NULL"}},
        {[&] { return log.RecordCheckUpdateClick(true); },
         {"INFO", "TopTabPage", "TopTabUpdateBlock", "TopTabUpdateBlockDownload", kUser + "NULL"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(0, c.first()) << c.second.action.toStdString();
        const auto events = NextEvents(1);
        ASSERT_EQ(1u, events.size()) << c.second.action.toStdString();
        ExpectRow(events[0], c.second);
        EXPECT_EQ("127.0.0.1", events[0].value("address").toString());
    }
}

TEST_F(LogManagerTest, OpenFileDialogFailureIsReportedAsAnError)
{
    StoreSession("a-token", "ann@example.com");
    const QString failure = "ERROR:[function]OpenFileDialog::OpenFileClickListener;[child function]fileDialog->exec() "
                            "[child function] fileDialog->selectedFiles()";
    LogManager().RecordError("OpenFileDialog", "OpenFile", "OpenFileBtnClick", failure);
    ExpectRow(NextEvents(1).at(0), {"ERROR", "OpenFileDialog", "OpenFile", "OpenFileBtnClick", kUser + failure});
}

TEST_F(LogManagerTest, BodyFieldsComeInOrderEachPercentEncoded)
{
    StoreSession("a-token", "ann@example.com");
    LogManager log;
    log.RecordOpen2ndFile("a&b=c d");
    NextEvents(1);
    EXPECT_EQ(QStringList {"record log post_data=type=INFO&version=3.0.0&platform=Linux&app=YUVLumo"
                           "&page=LumoImageView&block=LumoImageViewBlock&action=LumoImageViewOpen2ndClick"
                           "&info=%5Buser_email%5Dann%40example.com%3B%20%5Binfo%5D%20a%26b%3Dc%20d"},
              PostLines());
}

TEST_F(LogManagerTest, AmpersandAndEqualsInInfoArriveIntact)
{
    StoreSession("a-token", "ann@example.com");
    LogManager log;
    log.RecordOpenFile(64, 48, "NV12", "/tmp/a&b=c/x&y=z.yuv");
    ExpectRow(NextEvents(1).at(0), {"INFO", "OpenFileDialog", "OpenFile", "OpenFileBtnClick",
                                    kUser + "width:64;height:48;yuvtype:NV12;yuvpath:/tmp/a&b=c/x&y=z.yuv"});
}

TEST_F(LogManagerTest, NonAsciiAndPlaceHolderLikeTextArriveIntact)
{
    StoreSession("a-token", "用户@例子.中国");
    LogManager log;
    log.RecordStartPlay("视频 %2 + 100%.yuv", 30);
    ExpectRow(NextEvents(1).at(0), {"INFO", "LumoImageView", "LumoImageViewBlock", "LumoImageViewPlayStartClick",
                                    "[user_email]用户@例子.中国; [info] 视频 %2 + 100%.yuv + [fps:30]"});
}

TEST_F(LogManagerTest, DoublesAreWrittenLikeQStringArg)
{
    StoreSession("a-token", "ann@example.com");
    LogManager log;
    log.RecordIQAInfo("f", 1.0, std::numeric_limits<double>::infinity(), 1e-7, 123456789.0);
    EXPECT_EQ(kUser + "f + [ssim=1;psnrYUV=inf,1e-07,1.23457e+08]", NextEvents(1).at(0).value("info").toString());
}

TEST_F(LogManagerTest, SignedOutUserSendsNothingButTheLoginWindowsEvent)
{
    StoreSession("", "");
    LogManager log;
    EXPECT_EQ(1, log.RecordOpenMainWindow());
    EXPECT_EQ(1, log.RecordOpenFile(1, 1, "I420", "x"));
    EXPECT_EQ(1, log.RecordError("p", "b", "a", "i"));
    EXPECT_EQ(1, log.RecordCheckUpdateClick(true));
    EXPECT_TRUE(PostLines().isEmpty());
    EXPECT_EQ(0, log.RecordOpenLoginWindow());
    EXPECT_EQ(1, PostLines().size());
    const auto events = NextEvents(1);
    ASSERT_EQ(1u, events.size());
    ExpectRow(events[0], {"INFO", "loginWindow", "NULL", "NULL", "[user_email]; [info] NULL"});
}

TEST_F(LogManagerTest, MissingSettingsReadAsSignedOut)
{
    LogManager log;
    EXPECT_EQ(1, log.RecordOpenMainWindow());
    EXPECT_EQ(0, log.RecordOpenLoginWindow());
    ExpectRow(NextEvents(1).at(0), {"INFO", "loginWindow", "NULL", "NULL", "[user_email]; [info] NULL"});
}

TEST_F(LogManagerTest, ReporterGoneRightAfterRecordingStillDelivers)
{
    StoreSession("a-token", "ann@example.com");
    {
        LogManager log;
        log.RecordOpenAboutDev();
        log.RecordOpenAboutFeedback();
    }
    const auto events = NextEvents(2);
    ASSERT_EQ(2u, events.size());
    QStringList blocks {events[0].value("block").toString(), events[1].value("block").toString()};
    blocks.sort();
    EXPECT_EQ((QStringList {"AboutDevelopers", "AboutFeedback"}), blocks);
}

// A program that ends while its posts still wait for an answer ends
// cleanly: a network manager's thread left running while the application
// object was destroyed, or into the process's exit handlers, crashed now
// and then (more often on a busy machine). Every run must end normally,
// with no network thread left after the shutdown.
TEST(LogManagerExitTest, EndingWithAPostOnItsWayIsClean)
{
    // A listener that never accepts: the kernel completes the connection
    // and the TLS handshake then waits for ever.
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(listener, 0);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, listen(listener, 128));
    socklen_t length = sizeof address;
    ASSERT_EQ(0, getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length));
    lumo_test::TempDir settings;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("YUVLUMO_SERVICE_URL", QString("https://127.0.0.1:%1").arg(ntohs(address.sin_port)));
    // The thread is at risk while it starts the connection, in the first
    // milliseconds after the post.
    for (int run = 0; run < 200; run++) {
        const int wait = run % 10;
        QProcess child;
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::MergedChannels);
        child.start(PENDING_USAGE_POST, {QString::fromStdString(settings.Path()), QString::number(wait)});
        ASSERT_TRUE(child.waitForFinished(30000)) << wait;
        const std::string output = child.readAll().toStdString();
        EXPECT_EQ(QProcess::NormalExit, child.exitStatus()) << "after " << wait << " ms\n" << output;
        EXPECT_EQ(0, child.exitCode()) << "after " << wait << " ms\n" << output;
        EXPECT_NE(std::string::npos, output.find("posted")) << output;
    }
    close(listener);
}
