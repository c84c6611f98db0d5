// A closed analysis window stays in memory until the application ends, as
// every window opened from the file list does: what it held has to go when it
// closes, or windows opened one after another pile up threads and memory.
#include "analysis/LumoImageView.h"
#include "analysis/SnapshotThread.h"
#include "analysis/VideoCtrBar.h"
#include "analysis/VideoTimeLine.h"

#include "AnalysisTestSupport.h"
#include "SettingsScope.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QLabel>
#include <QOpenGLWidget>
#include <QPushButton>
#include <QThread>
#include <QtTest/QTest>

#include <fstream>
#include <malloc.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

const QString kPlaceholder = "【SSIM -】【MSE Y: -, U: -, V: -】【PSNR Y: -, U: -, V: -】";

// Resident memory once the allocator has handed back what it keeps free
// for reuse: that is not the process's growth.
long ResidentKb()
{
    malloc_trim(0);
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

int Threads()
{
    return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

class LumoImageViewLifetimeTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        files = new lumo_test::TempDir();
        first = analysis_test::WriteI420(files->File("first.yuv"), 1920, 1080, 6, [](int f, int x, int y) {
            return (x + 2 * y + 9 * f) % 256;
        });
        second = analysis_test::WriteI420(files->File("second.yuv"), 1920, 1080, 6, [](int f, int x, int y) {
            return (x + 2 * y + 9 * f + (x * 7 + y) % 5) % 256;
        });
    }
    static void TearDownTestSuite()
    {
        delete files;
        files = nullptr;
    }

    void TearDown() override
    {
        windows.clear();
        view_test::FlushEvents();
    }

    // A 1080p window with the second file beside it, both drawn, one frame
    // pair compared, then closed. The window is kept, as the application
    // keeps it.
    LumoImageView* OpenCompareAndClose()
    {
        windows.push_back(std::make_unique<LumoImageView>(first));
        LumoImageView* window = windows.back().get();
        window->SetSecondFileChooser([](QWidget*, SecondFileChoice& choice) {
            choice.paths = QStringList{QString::fromStdString(second.path)};
            choice.width = second.width;
            choice.height = second.height;
            return true;
        });
        window->resize(1400, 900);
        EXPECT_TRUE(view_test::ShowAndExpose(*window));
        QTest::mouseClick(window->findChild<QPushButton*>("open2"), Qt::LeftButton);
        view_test::FlushEvents();
        VideoCtrBar* bar = window->GetCtrBar();
        EXPECT_TRUE(view_test::WaitUntil([&] {
            return bar->Get2ndTimeLine() != nullptr && bar->GetTimeLine()->GetSnapshotThread()->isRunning() &&
                   bar->Get2ndTimeLine()->GetSnapshotThread()->isRunning();
        }));
        QTest::mouseDClick(bar->GetTimeLine(), Qt::LeftButton, Qt::NoModifier, QPoint(2 * 50 + 25, 40));
        QLabel* result = window->findChild<QLabel*>("psnr_label");
        EXPECT_TRUE(view_test::WaitUntil(
            [&] { return result->text() != kPlaceholder && !window->IsComparing(); }, 60000));
        window->close();
        Settle(*window);
        return window;
    }

    // Lets the comparison end and the close be handled.
    static void Settle(LumoImageView& window)
    {
        EXPECT_TRUE(view_test::WaitUntil([&] { return !window.IsComparing(); }, 60000));
        view_test::FlushEvents();
    }

    static lumo_test::TempDir* files;
    static lumo::YUVReader first;
    static lumo::YUVReader second;
    lumo_test::SettingsScope settingsScope;
    std::vector<std::unique_ptr<LumoImageView>> windows;
};

lumo_test::TempDir* LumoImageViewLifetimeTest::files = nullptr;
lumo::YUVReader LumoImageViewLifetimeTest::first;
lumo::YUVReader LumoImageViewLifetimeTest::second;

} // namespace

TEST_F(LumoImageViewLifetimeTest, TwentyClosedWindowsLeaveNoThreadAndLessThanTenMegabytes)
{
    // The first window brings the display's and the driver's own lasting
    // allocations; they are not the windows'.
    OpenCompareAndClose();
    const int threads = Threads();
    const long resident = ResidentKb();
    for (int cycle = 0; cycle < 20; cycle++) {
        OpenCompareAndClose();
    }
    EXPECT_TRUE(view_test::WaitUntil([&] { return Threads() <= threads; })) << Threads() << " threads, " << threads
                                                                              << " before";
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // The sanitizers keep freed memory aside on purpose.
    (void)resident;
#else
    EXPECT_LT(ResidentKb() - resident, 10 * 1024) << ResidentKb() << " KiB resident, " << resident << " before";
#endif
}

TEST_F(LumoImageViewLifetimeTest, AClosedWindowLetsGoOfItsContentsWorkersAndNativeWindow)
{
    LumoImageView* window = OpenCompareAndClose();
    EXPECT_EQ(nullptr, window->centralWidget());
    EXPECT_EQ(nullptr, window->GetCtrBar());
    EXPECT_EQ(nullptr, window->GetView());
    EXPECT_EQ(nullptr, window->Get2ndView());
    EXPECT_EQ(nullptr, window->GetChart());
    EXPECT_TRUE(window->findChildren<QThread*>().isEmpty());
    EXPECT_TRUE(window->findChildren<QOpenGLWidget*>().isEmpty());
    EXPECT_EQ(nullptr, window->windowHandle());
    EXPECT_EQ(QString::fromStdString(first.path), window->windowTitle());
}

TEST_F(LumoImageViewLifetimeTest, AClosedWindowShownAgainIsEmptyAndClosesAgain)
{
    LumoImageView* window = OpenCompareAndClose();
    const int threads = Threads();
    EXPECT_EQ(nullptr, window->GetCtrBar());
    EXPECT_EQ(nullptr, window->GetView());
    EXPECT_EQ(nullptr, window->centralWidget());
    ASSERT_TRUE(view_test::ShowAndExpose(*window));
    view_test::FlushEvents();
    window->close();
    Settle(*window);
    EXPECT_TRUE(window->isHidden());
    EXPECT_TRUE(view_test::WaitUntil([&] { return Threads() <= threads; }));
}
