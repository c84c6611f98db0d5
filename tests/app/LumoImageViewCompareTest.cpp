// The analysis window against lumo-iqa on real video: a 1080p clip and an
// x264 copy of it at a high CRF, made with the ffmpeg command.
#include "analysis/LumoImageView.h"
#include "analysis/VideoCtrBar.h"
#include "analysis/VideoTimeLine.h"

#include "AnalysisTestSupport.h"
#include "SettingsScope.h"
#include "TempDir.h"
#include "TextLines.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QtTest/QTest>

#include <sstream>

namespace {

class LumoImageViewCompareTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        clips = new lumo_test::TempDir();
        reference = clips->File("reference.yuv");
        distorted = clips->File("distorted.yuv");
        const QString ffmpeg = QStandardPaths::findExecutable("ffmpeg");
        ASSERT_FALSE(ffmpeg.isEmpty()) << "the tests need the ffmpeg command";
        ASSERT_TRUE(Run(ffmpeg, {"-f", "lavfi", "-i", "testsrc2=s=1920x1080:r=25", "-frames:v", "6", "-pix_fmt",
                                 "yuv420p", "-f", "rawvideo", QString::fromStdString(reference)}));
        const QString encoded = QString::fromStdString(clips->File("distorted.mp4"));
        ASSERT_TRUE(Run(ffmpeg, {"-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", "1920x1080", "-r", "25", "-i",
                                 QString::fromStdString(reference), "-c:v", "libx264", "-preset", "ultrafast",
                                 "-crf", "45", encoded}));
        ASSERT_TRUE(Run(ffmpeg, {"-i", encoded, "-pix_fmt", "yuv420p", "-f", "rawvideo",
                                 QString::fromStdString(distorted)}));
    }
    static void TearDownTestSuite()
    {
        delete clips;
        clips = nullptr;
    }

    static bool Run(const QString& program, const QStringList& args)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(program, QStringList{"-hide_banner", "-loglevel", "error", "-nostdin", "-y"} + args);
        return process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit &&
               process.exitCode() == 0;
    }

    void TearDown() override
    {
        if (window) {
            window->close();
            view_test::WaitUntil([&] { return !window->IsComparing(); }, 60000);
            window.reset();
        }
        view_test::FlushEvents();
    }

    static lumo_test::TempDir* clips;
    static std::string reference;
    static std::string distorted;
    lumo_test::SettingsScope settingsScope;
    std::unique_ptr<LumoImageView> window;
};

lumo_test::TempDir* LumoImageViewCompareTest::clips = nullptr;
std::string LumoImageViewCompareTest::reference;
std::string LumoImageViewCompareTest::distorted;

} // namespace

TEST_F(LumoImageViewCompareTest, FrameThreeShowsWhatLumoIqaPrintsForIt)
{
    QProcess iqa;
    iqa.start(LUMO_IQA_PATH, {"--size", "1920x1080", "--layout", "I420", "--range", "video", "--format", "csv",
                              QString::fromStdString(reference), QString::fromStdString(distorted)});
    ASSERT_TRUE(iqa.waitForFinished(120000));
    ASSERT_EQ(0, iqa.exitCode()) << iqa.readAllStandardError().toStdString();
    // frame,mse_y,mse_u,mse_v,psnr_y,psnr_u,psnr_v,ssim
    QStringList row;
    for (const std::string& line : lumo_test::SplitLines(iqa.readAllStandardOutput().toStdString())) {
        if (line.rfind("3,", 0) == 0) {
            row = QString::fromStdString(line).split(',');
        }
    }
    ASSERT_EQ(8, row.size());
    auto g = [&](int column) { return QString("%1").arg(row[column].toDouble()); };
    const QString expected =
        QString("【SSIM %1】【MSE Y: %2, U: %3, V: %4】【PSNR Y: %5, U: %6, V: %7】")
            .arg(g(7), g(1), g(2), g(3), g(4), g(5), g(6));

    lumo::YUVReader first(reference, 1920, 1080, view_test::Layout("I420"));
    window = std::make_unique<LumoImageView>(first);
    window->resize(1400, 900);
    window->SetSecondFileChooser([](QWidget*, SecondFileChoice& choice) {
        choice.paths = QStringList{QString::fromStdString(distorted)};
        choice.typeIndex = 0;
        choice.width = 1920;
        choice.height = 1080;
        return true;
    });
    ASSERT_TRUE(view_test::ShowAndExpose(*window));
    QTest::mouseClick(window->findChild<QPushButton*>("open2"), Qt::LeftButton);
    ASSERT_NE(nullptr, window->Get2ndView());

    VideoTimeLine* timeline = window->GetCtrBar()->GetTimeLine();
    QTest::mouseDClick(timeline, Qt::LeftButton, Qt::NoModifier, QPoint(3 * 50 + 25, 40));
    QLabel* result = window->findChild<QLabel*>("psnr_label");
    EXPECT_TRUE(view_test::WaitUntil([&] { return result->text() == expected; }, 60000))
        << result->text().toStdString() << "\n" << expected.toStdString();

    // How the window looks with both files open, for a person to check.
    view_test::FlushEvents();
    const std::string shot = std::string(LUMO_BINARY_DIR) + "/analysis-window.png";
    EXPECT_TRUE(window->grab().save(QString::fromStdString(shot))) << shot;
}
