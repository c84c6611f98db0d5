// The main window and its file list, against a real lumo-service: restoring
// and saving the list, its entries and thumbnails, the commands of its menus
// and tool bar, the version check and signing out.
#include "analysis/LumoImageView.h"
#include "online/FeedbackWindow.h"
#include "online/LoadingWindow.h"
#include "online/LoginWindow.h"
#include "online/NewVersionDiglog.h"
#include "shell/AboutWindow.h"
#include "shell/MainWindow.h"
#include "shell/OpenFileDialog.h"
#include "shell/YUVListItem.h"
#include "settings/YuvReaderParse.h"

#include "AnalysisTestSupport.h"
#include "OnlineTestService.h"
#include "SettingsScope.h"
#include "ShellTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QButtonGroup>
#include <QElapsedTimer>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QPointer>
#include <QRadioButton>
#include <QSpinBox>
#include <QToolBar>
#include <QtTest/QTest>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

namespace {

using shell_test::CloseAllWindows;
using shell_test::VisibleWindows;
using shell_test::Windows;

class MainWindowTest : public lumo_test::ServiceSuite {
protected:
    void SetUp() override
    {
        SetVersion("3.0.0");
        StoreSession("a-token", "ann@example.com");
    }
    void TearDown() override { CloseAllWindows(); }

    static void SetVersion(const std::string& version)
    {
        ASSERT_EQ(0, service->Process().Operator({"version", "set", "YUVLumo", version}).exitCode);
    }

    // A list stored as the application stores it.
    static void Store(const std::vector<lumo::YUVReader>& readers)
    {
        YuvReaderParse list;
        for (lumo::YUVReader reader : readers) {
            list.AddReader(reader);
        }
        list.SaveToFile();
    }

    static std::vector<std::string> StoredPaths()
    {
        YuvReaderParse list;
        list.ReadFromFile();
        std::vector<std::string> paths;
        for (int i = 0; i < list.GetSize(); i++) {
            paths.push_back(list.GetReader(i)->path);
        }
        return paths;
    }

    MainWindow* Open()
    {
        auto* window = new MainWindow(nullptr);
        window->show();
        EXPECT_TRUE(view_test::WaitUntil([&] { return window->windowHandle() && window->windowHandle()->isExposed(); }));
        return window;
    }

    // The places of an entry's row of thumbnails, in order.
    static std::vector<QLabel*> Places(YUVListItem* item)
    {
        QLayout* layout = item->findChild<QLayout*>("small_image_layout");
        std::vector<QLabel*> places;
        for (int i = 0; layout != nullptr && i < layout->count(); i++) {
            if (auto* label = qobject_cast<QLabel*>(layout->itemAt(i)->widget())) {
                places.push_back(label);
            }
        }
        return places;
    }

    static bool HasPicture(QLabel* place) { return !place->pixmap(Qt::ReturnByValue).isNull(); }

    // Places still waiting for their picture (a placeholder has a text).
    static int Waiting(YUVListItem* item)
    {
        int waiting = 0;
        for (QLabel* place : Places(item)) {
            waiting += !HasPicture(place) && place->text().isEmpty() ? 1 : 0;
        }
        return waiting;
    }

    // The thumbnails once they have all been read (on a thread of their
    // own).
    static int Thumbnails(YUVListItem* item)
    {
        EXPECT_TRUE(view_test::WaitUntil([&] { return Waiting(item) == 0; }, 60000));
        int pictures = 0;
        for (QLabel* place : Places(item)) {
            if (HasPicture(place)) {
                EXPECT_EQ(100, place->height());
                EXPECT_EQ(100, place->pixmap(Qt::ReturnByValue).height());
                pictures++;
            }
        }
        return pictures;
    }

    // A sparse raw I420 file: frames of black-green zeros that take no disk.
    lumo::YUVReader Sparse(const std::string& name, int width, int height, int frames)
    {
        const lumo::YUVReader reader(dir.File(name), width, height, lumo::YUVType::YUV_TYPE_I420);
        view_test::WriteFile(reader.path, std::vector<uint8_t>());
        std::filesystem::resize_file(reader.path, static_cast<uintmax_t>(frames * reader.GetFrameLen()));
        return reader;
    }

    // The process's peak memory (KiB) since the last ResetPeakMemory.
    static long PeakMemoryKb()
    {
        std::ifstream status("/proc/self/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.rfind("VmHWM:", 0) == 0) {
                return std::stol(line.substr(6));
            }
        }
        return -1;
    }

    static void ResetPeakMemory() { std::ofstream("/proc/self/clear_refs") << "5"; }

    // Opens files through the window's open command and the dialog;
    // beforeConfirm runs just before "确认" is clicked.
    void OpenThroughTheDialog(MainWindow* window, const QStringList& paths, int typeIndex, int width, int height,
                              const std::function<void()>& beforeConfirm = [] {})
    {
        shell_test::WhenShown<OpenFileDialog>([=](OpenFileDialog* dialog) {
            shell_test::WhenShown<QFileDialog>([paths](QFileDialog* files) { shell_test::ChooseFiles(files, paths); });
            QTest::mouseClick(dialog->findChild<QPushButton*>("open_file_btn"), Qt::LeftButton);
            dialog->findChild<QButtonGroup*>()->button(typeIndex)->setChecked(true);
            dialog->findChild<QSpinBox*>("width_spin_box")->setValue(width);
            dialog->findChild<QSpinBox*>("height_spin_box")->setValue(height);
            beforeConfirm();
            QTest::mouseClick(dialog->findChild<QPushButton*>("open_file_ok"), Qt::LeftButton);
        });
        window->OpenFileClickListener();
    }

    lumo_test::TempDir dir;
};


} // namespace

TEST_F(MainWindowTest, FormMenusAndToolBar)
{
    MainWindow* window = Open();
    EXPECT_EQ("YUV Lumo", window->windowTitle());
    EXPECT_EQ(QSize(1194, 650), window->size());
    for (const char* name : {"centralWidget", "scrollArea", "scrollAreaWidgetContents"}) {
        EXPECT_NE(nullptr, window->findChild<QWidget*>(name)) << name;
    }
    for (const char* name : {"verticalLayout_2", "verticalLayout", "verticalLayout_4", "content_list"}) {
        EXPECT_NE(nullptr, window->findChild<QLayout*>(name)) << name;
    }
    const QList<QAction*> menus = window->menuBar()->actions();
    ASSERT_EQ(4, menus.size());
    const QStringList titles = {"打开文件", "帮助", "检查更新", "关于这两个工程师"};
    const QStringList actions = {"打开", "问题反馈", "检查更新", "关于这两个工程师"};
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(titles[i], menus[i]->text());
        ASSERT_EQ(1, menus[i]->menu()->actions().size());
        EXPECT_EQ(actions[i], menus[i]->menu()->actions()[0]->text());
    }
    EXPECT_EQ(QKeySequence("Ctrl+O"), menus[0]->menu()->actions()[0]->shortcut());

    QToolBar* toolBar = window->findChild<QToolBar*>();
    ASSERT_NE(nullptr, toolBar);
    EXPECT_EQ("工具栏", toolBar->windowTitle());
    const QList<QAction*> items = toolBar->actions();
    ASSERT_EQ(3, items.size());
    auto* signedIn = qobject_cast<QLabel*>(toolBar->widgetForAction(items[0]));
    ASSERT_NE(nullptr, signedIn);
    EXPECT_EQ("已登录:ann@example.com", signedIn->text());
    EXPECT_EQ(Qt::PlainText, signedIn->textFormat());
    EXPECT_EQ("黑体", signedIn->font().family());
    EXPECT_EQ(10, signedIn->font().pointSize());
    EXPECT_EQ(75, signedIn->font().weight());
    EXPECT_EQ("打开", items[1]->text());
    EXPECT_EQ("注销", items[2]->text());
}

TEST_F(MainWindowTest, TheSignedInEmailIsShownAsItIsNeverAsMarkup)
{
    StoreSession("a-token", "<h1>ann</h1>@example.com");
    MainWindow* window = Open();
    QToolBar* toolBar = window->findChild<QToolBar*>();
    auto* signedIn = qobject_cast<QLabel*>(toolBar->widgetForAction(toolBar->actions()[0]));
    ASSERT_NE(nullptr, signedIn);
    EXPECT_EQ("已登录:<h1>ann</h1>@example.com", signedIn->text());
    EXPECT_EQ(Qt::PlainText, signedIn->textFormat());
    // One line of the label's own font, not a heading.
    QLabel plain("已登录:ann@example.com");
    plain.setFont(signedIn->font());
    EXPECT_EQ(plain.sizeHint().height(), signedIn->sizeHint().height());
}

TEST_F(MainWindowTest, RestoresTheStoredListInOrderWithItsEntries)
{
    const lumo::YUVReader a = analysis_test::WriteFlat(dir.File("a.yuv"), 32, 16, 3);
    const lumo::YUVReader b = analysis_test::WriteFlat(dir.File("b.yuv"), 16, 8, 500);
    Store({a, b});
    MainWindow* window = Open();
    const QList<YUVListItem*> items = window->GetItems();
    ASSERT_EQ(2, items.size());
    EXPECT_EQ(QString("I420 (YUV 4:2:0 planar)        3帧        %1").arg(QString::fromStdString(a.path)),
              items[0]->GetPath());
    EXPECT_EQ(items[0]->GetPath(), items[0]->findChild<QLabel*>("image_path_label")->text());
    EXPECT_EQ(QString("I420 (YUV 4:2:0 planar)        500帧        %1").arg(QString::fromStdString(b.path)),
              items[1]->GetPath());
    // Three frames, three thumbnails; five hundred, ten.
    EXPECT_EQ(3, Thumbnails(items[0]));
    EXPECT_EQ(10, Thumbnails(items[1]));
    EXPECT_EQ("播放分析", items[0]->findChild<QPushButton*>("show_detail_btn")->text());
    EXPECT_EQ("关闭", items[0]->findChild<QPushButton*>("close_yuv_btn")->text());
}

TEST_F(MainWindowTest, ThumbnailsAreReadAfterTheWindowIsBuiltEachInItsPlace)
{
    Store({Sparse("4k.yuv", 3840, 2160, 10)});
    auto* window = new MainWindow(nullptr);
    // Built without reading a frame: ten places, none with its picture yet.
    ASSERT_EQ(1, window->GetItems().size());
    YUVListItem* item = window->GetItems()[0];
    ASSERT_EQ(10u, Places(item).size());
    EXPECT_EQ(10, Waiting(item));
    const int placeWidth = Places(item)[0]->width();
    window->show();
    EXPECT_EQ(10, Thumbnails(item));
    // The pictures fill the places they were given.
    EXPECT_NEAR(placeWidth, Places(item)[0]->width(), 1);
}

// One 20000x20000 frame is 1.2 GB as RGB and took seconds to read and
// scale, with the window waiting: frames above 64 Mpixel get a placeholder.
TEST_F(MainWindowTest, FramesTooLargeForThumbnailsGetPlaceholdersAndTheWindowOpensAtOnce)
{
    const lumo::YUVReader huge = Sparse("huge.yuv", 20000, 20000, 2);
    const lumo::YUVReader small = analysis_test::WriteFlat(dir.File("small.yuv"), 32, 16, 3);
    Store({huge, small});
    ResetPeakMemory();
    const long before = PeakMemoryKb();
    QElapsedTimer opening;
    opening.start();
    MainWindow* window = Open();
    EXPECT_LT(opening.elapsed(), 3000);
    const QList<YUVListItem*> items = window->GetItems();
    ASSERT_EQ(2, items.size());
    EXPECT_EQ(3, Thumbnails(items[1]));
    EXPECT_LT(PeakMemoryKb() - before, 256 * 1024);
    EXPECT_EQ(0, Thumbnails(items[0]));
    const std::vector<QLabel*> places = Places(items[0]);
    ASSERT_EQ(2u, places.size());
    for (QLabel* place : places) {
        EXPECT_EQ("画面过大\n20000x20000", place->text());
        EXPECT_EQ(100, place->height());
    }
}

TEST_F(MainWindowTest, A64MpixelFrameStillGetsItsThumbnail)
{
    Store({Sparse("8k.yuv", 8192, 8192, 1)});
    MainWindow* window = Open();
    EXPECT_EQ(1, Thumbnails(window->GetItems()[0]));
}

TEST_F(MainWindowTest, ClosingAnEntryWhileItsThumbnailsAreReadStopsThem)
{
    Store({Sparse("4k.yuv", 3840, 2160, 10)});
    MainWindow* window = Open();
    YUVListItem* item = window->GetItems()[0];
    QPointer<YUVListItem> closed(item);
    QTest::mouseClick(item->findChild<QPushButton*>("close_yuv_btn"), Qt::LeftButton);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(closed.isNull());
    EXPECT_EQ(0, window->GetItems().size());
}

TEST_F(MainWindowTest, AnEntryOfAnUnknownLayoutStaysEmpty)
{
    YUVListItem item(0);
    lumo::YUVReader unknown(dir.File("x.yuv"), 8, 8, lumo::YUVType::YUV_TYPE_UNKNOW);
    EXPECT_EQ(-1, item.SetYuvReader(unknown));
    EXPECT_EQ("", item.GetPath());
    EXPECT_EQ(0, Thumbnails(&item));
}

TEST_F(MainWindowTest, TwoFilesOpenedInOneDialogAreListedSavedAndRestoredInOrder)
{
    analysis_test::DebugCapture debug;
    const lumo::YUVReader a = analysis_test::WriteFlat(dir.File("one.yuv"), 16, 8, 4);
    const lumo::YUVReader b = analysis_test::WriteFlat(dir.File("two.yuv"), 16, 8, 2);
    MainWindow* window = Open();
    std::unique_ptr<shell_test::SettingsWrites> writes;
    OpenThroughTheDialog(window, {QString::fromStdString(a.path), QString::fromStdString(b.path)}, 0, 16, 8,
                         [&] { writes = std::make_unique<shell_test::SettingsWrites>(); });
    // Saved once per file.
    ASSERT_NE(nullptr, writes);
    EXPECT_EQ(2, writes->Count());
    ASSERT_EQ(2, window->GetItems().size());
    EXPECT_EQ(4, Thumbnails(window->GetItems()[0]));
    EXPECT_EQ(2, Thumbnails(window->GetItems()[1]));
    EXPECT_EQ(2, debug.Count(QString("yuvReader Path: \"%1\"").arg(QString::fromStdString(a.path))) +
                     debug.Count(QString("yuvReader Path: \"%1\"").arg(QString::fromStdString(b.path))));
    EXPECT_EQ((std::vector<std::string>{a.path, b.path}), StoredPaths());
    window->close();
    MainWindow* again = Open();
    ASSERT_EQ(2, again->GetItems().size());
    EXPECT_TRUE(again->GetItems()[0]->GetPath().endsWith("one.yuv"));
    EXPECT_TRUE(again->GetItems()[1]->GetPath().endsWith("two.yuv"));
}

TEST_F(MainWindowTest, CtrlOOpensTheOpenFileDialog)
{
    MainWindow* window = Open();
    bool shown = false;
    shell_test::WhenShown<OpenFileDialog>([&](OpenFileDialog* dialog) {
        shown = true;
        EXPECT_EQ(window, dialog->parentWidget());
        EXPECT_TRUE(dialog->isModal());
        QTest::mouseClick(dialog->findChild<QPushButton*>("open_file_cancel"), Qt::LeftButton);
    });
    // Window shortcuts work in the active window.
    QApplication::setActiveWindow(window);
    QTest::keyClick(window, Qt::Key_O, Qt::ControlModifier);
    EXPECT_TRUE(view_test::WaitUntil([&] { return shown; }));
}

TEST_F(MainWindowTest, CancellingTheDialogLeavesListAndStoreUnchanged)
{
    const lumo::YUVReader a = analysis_test::WriteFlat(dir.File("a.yuv"), 16, 8, 2);
    Store({a});
    MainWindow* window = Open();
    shell_test::WhenShown<OpenFileDialog>([](OpenFileDialog* dialog) {
        QTest::mouseClick(dialog->findChild<QPushButton*>("open_file_cancel"), Qt::LeftButton);
    });
    window->OpenFileClickListener();
    EXPECT_EQ(1, window->GetItems().size());
    EXPECT_EQ((std::vector<std::string>{a.path}), StoredPaths());
}

TEST_F(MainWindowTest, PlayAndAnalyseTwiceOpensTwoAnalysisWindows)
{
    Store({analysis_test::WriteFlat(dir.File("a.yuv"), 32, 16, 3)});
    MainWindow* window = Open();
    QPushButton* detail = window->GetItems()[0]->findChild<QPushButton*>("show_detail_btn");
    QTest::mouseClick(detail, Qt::LeftButton);
    QTest::mouseClick(detail, Qt::LeftButton);
    const std::vector<LumoImageView*> views = VisibleWindows<LumoImageView>();
    ASSERT_EQ(2u, views.size());
    EXPECT_NE(views[0], views[1]);
    EXPECT_EQ(nullptr, views[0]->parentWidget());
}

TEST_F(MainWindowTest, ClosingKeepsTheIndexesEntriesWereMadeWith)
{
    const lumo::YUVReader a = analysis_test::WriteFlat(dir.File("a.yuv"), 16, 8, 1);
    const lumo::YUVReader b = analysis_test::WriteFlat(dir.File("b.yuv"), 16, 8, 1);
    const lumo::YUVReader c = analysis_test::WriteFlat(dir.File("c.yuv"), 16, 8, 1);
    Store({a, b, c});
    MainWindow* window = Open();
    QList<YUVListItem*> items = window->GetItems();
    ASSERT_EQ(3, items.size());
    QTest::mouseClick(items[0]->findChild<QPushButton*>("close_yuv_btn"), Qt::LeftButton);
    EXPECT_EQ((std::vector<std::string>{b.path, c.path}), StoredPaths());
    // The entry of b still holds index 1, where c now is.
    QTest::mouseClick(items[1]->findChild<QPushButton*>("close_yuv_btn"), Qt::LeftButton);
    view_test::FlushEvents();
    ASSERT_EQ(1, window->GetItems().size());
    EXPECT_TRUE(window->GetItems()[0]->GetPath().endsWith("c.yuv"));
    EXPECT_EQ((std::vector<std::string>{b.path}), StoredPaths());
    // The next start shows what was stored.
    window->close();
    MainWindow* again = Open();
    ASSERT_EQ(1, again->GetItems().size());
    EXPECT_TRUE(again->GetItems()[0]->GetPath().endsWith("b.yuv"));
}

TEST_F(MainWindowTest, AListedFileDeletedWhileTheAppRunsOpensAnEmptyAnalysis)
{
    const lumo::YUVReader a = analysis_test::WriteFlat(dir.File("gone.yuv"), 32, 16, 3);
    Store({a});
    MainWindow* window = Open();
    std::filesystem::remove(a.path);
    QTest::mouseClick(window->GetItems()[0]->findChild<QPushButton*>("show_detail_btn"), Qt::LeftButton);
    ASSERT_EQ(1u, VisibleWindows<LumoImageView>().size());
    view_test::FlushEvents();
    // The next start leaves it out.
    MainWindow* again = Open();
    EXPECT_EQ(0, again->GetItems().size());
}

TEST_F(MainWindowTest, AStoredListThatIsNotJsonGivesAnEmptyWindow)
{
    QSettings("MediaLumo", "YUVLumo").setValue("KEY_YUV_PARSE_1", "{not json at all");
    MainWindow* window = Open();
    EXPECT_EQ(0, window->GetItems().size());
}

TEST_F(MainWindowTest, AHugeWidthGivesAnEntryWithoutFrames)
{
    const std::string path = dir.File("small.yuv");
    view_test::WriteFile(path, std::vector<uint8_t>(4096, 90));
    MainWindow* window = Open();
    OpenThroughTheDialog(window, {QString::fromStdString(path)}, 0, 100000, 2);
    ASSERT_EQ(1, window->GetItems().size());
    EXPECT_TRUE(window->GetItems()[0]->GetPath().contains("        0帧        "));
    EXPECT_EQ(0, Thumbnails(window->GetItems()[0]));
}

TEST_F(MainWindowTest, OpeningIsReported)
{
    // An address of this test's own: the suite's other tests report too.
    StoreSession("a-token", "opening.reported@example.com");
    Open();
    const std::vector<QJsonObject> events =
        service->WaitForEventsMentioning("[user_email]opening.reported@example.com", 1);
    bool opened = false;
    for (const QJsonObject& event : events) {
        opened = opened || event.value("page").toString() == "MainWindow";
    }
    EXPECT_TRUE(opened);
}

TEST_F(MainWindowTest, ANewerVersionAtStartOpensTheDialog)
{
    SetVersion("3.1.0");
    Open();
    ASSERT_TRUE(view_test::WaitUntil([] { return !VisibleWindows<NewVersionDiglog>().empty(); }));
    NewVersionDiglog* dialog = VisibleWindows<NewVersionDiglog>().front();
    EXPECT_EQ("检查到新版本", dialog->windowTitle());
    EXPECT_EQ("发现新版本：3.1.0", dialog->findChild<QLabel*>("version_label")->text());
}

TEST_F(MainWindowTest, A301AtStartOffersNothing)
{
    analysis_test::DebugCapture debug;
    shell_test::MessageBoxWatcher boxes;
    SetVersion("3.0.1");
    Open();
    ASSERT_TRUE(view_test::WaitUntil([&] { return debug.Contains("Version: "); }));
    view_test::FlushEvents();
    EXPECT_TRUE(VisibleWindows<NewVersionDiglog>().empty());
    EXPECT_TRUE(boxes.texts.isEmpty());
}

TEST_F(MainWindowTest, CheckingOnDemandSaysSoWhenUpToDate)
{
    shell_test::MessageBoxWatcher boxes;
    MainWindow* window = Open();
    window->findChild<QAction*>("action_check_update")->trigger();
    EXPECT_TRUE(boxes.WaitFor("您已经是最新版本了"));
    EXPECT_TRUE(VisibleWindows<NewVersionDiglog>().empty());
    // The suite's earlier tests have stored events of this user too: the
    // click's own is waited for.
    auto clicked = [] {
        for (const QJsonObject& event : service->Events()) {
            if (event.value("info").toString().contains("[user_email]ann@example.com") &&
                event.value("action").toString() == "TopTabUpdateBlockClick") {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(view_test::WaitUntil(clicked, 20000));
}

TEST_F(MainWindowTest, CheckingOnDemandOpensTheDialogForANewerVersion)
{
    shell_test::MessageBoxWatcher boxes;
    MainWindow* window = Open();
    // The start-up check found nothing new.
    view_test::FlushEvents();
    SetVersion("3.2.0");
    window->CheckVersionClickListener();
    ASSERT_TRUE(view_test::WaitUntil([] { return !VisibleWindows<NewVersionDiglog>().empty(); }));
    EXPECT_EQ("发现新版本：3.2.0", VisibleWindows<NewVersionDiglog>().front()->findChild<QLabel*>("version_label")->text());
    EXPECT_TRUE(boxes.texts.isEmpty());
}

TEST_F(MainWindowTest, SigningOutClearsTheSessionAndOpensTheLoginWindow)
{
    shell_test::MessageBoxWatcher boxes;
    MainWindow* window = Open();
    window->findChild<QAction*>("action_logout")->trigger();
    EXPECT_EQ(QStringList{"注销成功"}, boxes.texts);
    QSettings settings("MediaLumo", "YUVLumo");
    EXPECT_EQ("", settings.value("TOKEN").toString());
    EXPECT_EQ("", settings.value("EMAIL").toString());
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(1u, VisibleWindows<LoginWindow>().size());
}

TEST_F(MainWindowTest, AfterSigningOutTheNextStartShowsTheLoginWindowWithoutARequest)
{
    shell_test::MessageBoxWatcher boxes;
    Open()->LogoutClickListener();
    CloseAllWindows();
    analysis_test::DebugCapture debug;
    auto* splash = new LoadingWindow(nullptr);
    splash->show();
    // The splash's 2 s are a test of their own.
    splash->findChild<QTimer*>()->start(0);
    ASSERT_TRUE(view_test::WaitUntil([] { return !VisibleWindows<LoginWindow>().empty(); }));
    EXPECT_TRUE(VisibleWindows<MainWindow>().empty());
    EXPECT_FALSE(debug.Contains("status code="));
}

TEST_F(MainWindowTest, AboutAndFeedbackOpenTheirWindows)
{
    MainWindow* window = Open();
    window->findChild<QAction*>("action_about")->trigger();
    window->findChild<QAction*>("action_feedback")->trigger();
    EXPECT_EQ(1u, VisibleWindows<AboutWindow>().size());
    EXPECT_EQ(1u, VisibleWindows<FeedbackWindow>().size());
    EXPECT_EQ(nullptr, VisibleWindows<AboutWindow>().front()->parentWidget());
}
