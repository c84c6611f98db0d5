// The open-file dialog, driven as a user would: raw files with their layout
// and size, media files converted to I420 with progress, and the four
// warnings of the confirm button.
#include "shell/OpenFileDialog.h"

#include "lumo/YUVTypeInstance.h"

#include "AnalysisTestSupport.h"
#include "OnlineTestService.h"
#include "SettingsScope.h"
#include "ShellTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QButtonGroup>
#include <QCloseEvent>
#include <QLabel>
#include <QLayout>
#include <QProcess>
#include <QRadioButton>
#include <QSpinBox>
#include <QStandardPaths>
#include <QtTest/QTest>

#include <csignal>
#include <fstream>

#include <sys/resource.h>

namespace {

class OpenFileDialogTest : public lumo_test::ServiceSuite {
protected:
    void SetUp() override
    {
        StoreSession("a-token", "ann@example.com");
        dialog = std::make_unique<OpenFileDialog>();
    }
    void TearDown() override { shell_test::CancelWhenShown(); }

    template <typename T>
    T* Child(const char* name)
    {
        T* child = dialog->findChild<T*>(name);
        EXPECT_NE(nullptr, child) << name;
        return child;
    }

    QString Label() { return Child<QLabel>("open_file_path_label")->text(); }

    std::vector<QRadioButton*> Radios()
    {
        std::vector<QRadioButton*> radios;
        QLayout* layout = dialog->findChild<QLayout*>("yuv_type_list_layout");
        for (int i = 0; layout != nullptr && i < layout->count(); i++) {
            if (auto* radio = qobject_cast<QRadioButton*>(layout->itemAt(i)->widget())) {
                radios.push_back(radio);
            }
        }
        return radios;
    }

    // Clicks a button that opens a file dialog and picks paths there.
    void ChooseWith(const char* button, const QStringList& paths)
    {
        shell_test::WhenShown<QFileDialog>([paths](QFileDialog* files) { shell_test::ChooseFiles(files, paths); });
        QTest::mouseClick(Child<QPushButton>(button), Qt::LeftButton);
    }

    std::string WriteFile(const std::string& name, size_t bytes)
    {
        const std::string path = dir.File(name);
        std::ofstream(path, std::ios::binary) << std::string(bytes, '\x40');
        return path;
    }

    std::string Media(const std::string& name, const QString& pixelFormat = "yuv420p", const QString& codec = "libx264",
                      int frames = 10)
    {
        const std::string path = dir.File(name);
        QProcess ffmpeg;
        ffmpeg.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        ffmpeg.start(QStandardPaths::findExecutable("ffmpeg"),
                     {"-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-f", "lavfi", "-i",
                      "testsrc2=s=64x48:r=25", "-frames:v", QString::number(frames), "-c:v", codec, "-pix_fmt", pixelFormat,
                      QString::fromStdString(path)});
        EXPECT_TRUE(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0) << name;
        return path;
    }

    bool ButtonsEnabled()
    {
        bool all = true;
        for (const char* name : {"open_file_btn", "open_file_video", "open_file_image", "open_file_cancel",
                                 "open_file_ok"}) {
            all = all && Child<QPushButton>(name)->isEnabled();
        }
        return all;
    }

    // Converts a media file through the video button and waits until the
    // dialog takes its buttons back.
    void Convert(const QStringList& media)
    {
        ChooseWith("open_file_video", media);
        EXPECT_FALSE(ButtonsEnabled());
        EXPECT_TRUE(view_test::WaitUntil([&] { return ButtonsEnabled(); }, 60000));
    }

    lumo_test::TempDir dir;
    std::unique_ptr<OpenFileDialog> dialog;
};


} // namespace

TEST_F(OpenFileDialogTest, FormCarriesItsButtonsFieldsAndTitle)
{
    EXPECT_EQ("选择文件类型并打开", dialog->windowTitle());
    EXPECT_EQ(QSize(400, 397), dialog->size());
    EXPECT_EQ("打开YUV", Child<QPushButton>("open_file_btn")->text());
    EXPECT_EQ("视频", Child<QPushButton>("open_file_video")->text());
    EXPECT_EQ("图片", Child<QPushButton>("open_file_image")->text());
    EXPECT_EQ("取消", Child<QPushButton>("open_file_cancel")->text());
    EXPECT_EQ("确认", Child<QPushButton>("open_file_ok")->text());
    EXPECT_EQ("", Label());
    EXPECT_EQ("W:", Child<QLabel>("label")->text());
    EXPECT_EQ("H:", Child<QLabel>("label_2")->text());
    for (const char* name : {"width_spin_box", "height_spin_box"}) {
        EXPECT_EQ(0, Child<QSpinBox>(name)->minimum()) << name;
        EXPECT_EQ(100000, Child<QSpinBox>(name)->maximum()) << name;
    }
    for (const char* name : {"line", "line_2", "line_3"}) {
        EXPECT_NE(nullptr, Child<QFrame>(name));
    }
}

TEST_F(OpenFileDialogTest, EveryLayoutHasARadioButtonInRegistryOrderNoneChecked)
{
    const std::vector<QRadioButton*> radios = Radios();
    lumo::YUVTypeInstance* registry = lumo::YUVTypeInstance::GetInstance();
    ASSERT_EQ(static_cast<size_t>(registry->GetSize()), radios.size());
    QButtonGroup* group = radios.front()->group();
    ASSERT_NE(nullptr, group);
    for (int i = 0; i < registry->GetSize(); i++) {
        lumo::YUVType type;
        ASSERT_EQ(0, registry->GetType(type, i));
        EXPECT_EQ(QString::fromStdString(type.name), radios[static_cast<size_t>(i)]->text());
        EXPECT_EQ(i, group->id(radios[static_cast<size_t>(i)]));
        EXPECT_FALSE(radios[static_cast<size_t>(i)]->isChecked());
    }
    EXPECT_EQ(-1, group->checkedId());
}

TEST_F(OpenFileDialogTest, ChoosingRawFilesTwiceAppendsToThePathsAndTheLabel)
{
    const std::string a = WriteFile("a.yuv", 96);
    const std::string b = WriteFile("b.yuv", 96);
    ChooseWith("open_file_btn", {QString::fromStdString(a)});
    EXPECT_EQ("a.yuv;", Label());
    ChooseWith("open_file_btn", {QString::fromStdString(b)});
    EXPECT_EQ("a.yuv;b.yuv;", Label());
    EXPECT_EQ((QStringList{QString::fromStdString(a), QString::fromStdString(b)}), dialog->GetPaths());
    // The folder of the last choice is where the next file dialog starts.
    EXPECT_EQ(QString::fromStdString(dir.Path()), dialog->OpenPath());
}

TEST_F(OpenFileDialogTest, SeveralFilesInOneChoiceKeepTheirOrder)
{
    const std::string a = WriteFile("first.yuv", 96);
    const std::string b = WriteFile("second.yuv", 96);
    ChooseWith("open_file_btn", {QString::fromStdString(a), QString::fromStdString(b)});
    EXPECT_EQ(2, dialog->GetPaths().size());
    EXPECT_TRUE(Label().contains("first.yuv;"));
    EXPECT_TRUE(Label().contains("second.yuv;"));
}

TEST_F(OpenFileDialogTest, ACancelledFileDialogChangesNothing)
{
    ChooseWith("open_file_btn", {});
    EXPECT_TRUE(dialog->GetPaths().isEmpty());
    EXPECT_EQ("", Label());
    EXPECT_EQ("/", dialog->OpenPath());
}

TEST_F(OpenFileDialogTest, ConfirmWarnsInOrderAndKeepsTheDialogOpen)
{
    shell_test::MessageBoxWatcher boxes;
    ASSERT_TRUE(view_test::ShowAndExpose(*dialog));
    QPushButton* ok = Child<QPushButton>("open_file_ok");
    QTest::mouseClick(ok, Qt::LeftButton);
    ChooseWith("open_file_btn", {QString::fromStdString(WriteFile("a.yuv", 96))});
    QTest::mouseClick(ok, Qt::LeftButton);
    Radios()[0]->setChecked(true);
    QTest::mouseClick(ok, Qt::LeftButton);
    Child<QSpinBox>("width_spin_box")->setValue(8);
    QTest::mouseClick(ok, Qt::LeftButton);
    EXPECT_EQ((QStringList{"未选择任何文件", "未选择任何 YUV 类型", "请输入图像宽度", "请输入图像高度"}), boxes.texts);
    EXPECT_EQ((QStringList{"警告", "警告", "警告", "警告"}), boxes.titles);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(QDialog::Rejected, dialog->result());
    EXPECT_EQ(1, dialog->GetPaths().size());
    // The values read are kept even when a check fails.
    EXPECT_EQ(8, dialog->GetWidth());
    EXPECT_EQ(0, dialog->GetHeight());
}

TEST_F(OpenFileDialogTest, ConfirmWithEverythingAcceptsAndReportsTheOpen)
{
    const std::string a = WriteFile("a.yuv", 96);
    const std::string b = WriteFile("b.yuv", 96);
    ChooseWith("open_file_btn", {QString::fromStdString(a), QString::fromStdString(b)});
    Radios()[2]->setChecked(true);
    Child<QSpinBox>("width_spin_box")->setValue(8);
    Child<QSpinBox>("height_spin_box")->setValue(8);
    ASSERT_TRUE(view_test::ShowAndExpose(*dialog));
    QTest::mouseClick(Child<QPushButton>("open_file_ok"), Qt::LeftButton);
    EXPECT_EQ(QDialog::Accepted, dialog->result());
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(2, dialog->GetTypeIndex());
    EXPECT_EQ(8, dialog->GetWidth());
    EXPECT_EQ(8, dialog->GetHeight());
    const std::vector<QJsonObject> events = service->WaitForEventsMentioning(QString::fromStdString(a), 1);
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ("OpenFileBtnClick", events[0].value("action").toString());
    EXPECT_EQ(QString("[user_email]ann@example.com; [info] width:8;height:8;yuvtype:%1;yuvpath:|%2|%3")
                  .arg(Radios()[2]->text(), QString::fromStdString(a), QString::fromStdString(b)),
              events[0].value("info").toString());
}

TEST_F(OpenFileDialogTest, CancelRejects)
{
    ASSERT_TRUE(view_test::ShowAndExpose(*dialog));
    QTest::mouseClick(Child<QPushButton>("open_file_cancel"), Qt::LeftButton);
    EXPECT_EQ(QDialog::Rejected, dialog->result());
    EXPECT_FALSE(dialog->isVisible());
}

TEST_F(OpenFileDialogTest, AConvertedMediaFileFillsTheChoiceWithI420AndItsSize)
{
    analysis_test::DebugCapture debug;
    const std::string input = Media("clip.mp4");
    Convert({QString::fromStdString(input)});
    ASSERT_EQ(1, dialog->GetPaths().size());
    const QString output = dialog->GetPaths().first();
    EXPECT_TRUE(output.startsWith(QString::fromStdString(input) + "."));
    EXPECT_TRUE(output.endsWith(".yuv"));
    EXPECT_EQ(10u * 4608u, QFileInfo(output).size());
    EXPECT_EQ(output, Label());
    EXPECT_EQ(64, Child<QSpinBox>("width_spin_box")->value());
    EXPECT_EQ(48, Child<QSpinBox>("height_spin_box")->value());
    EXPECT_TRUE(Radios()[0]->isChecked());
    EXPECT_EQ("I420", lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName("I420").idName);
    EXPECT_TRUE(debug.Contains("OpenMediaClickListener!"));
    EXPECT_TRUE(debug.Contains("ReadThread_OnProgress:"));
    EXPECT_TRUE(debug.Contains("ReadThread_OnFinish:  64 -- 48"));
    // Confirmed as it stands, it opens the converted file as I420.
    ASSERT_TRUE(view_test::ShowAndExpose(*dialog));
    QTest::mouseClick(Child<QPushButton>("open_file_ok"), Qt::LeftButton);
    EXPECT_EQ(QDialog::Accepted, dialog->result());
    EXPECT_EQ(0, dialog->GetTypeIndex());
}

TEST_F(OpenFileDialogTest, EscapeAndCloseLeaveTheDialogOpenUntilTheConversionEnds)
{
    // A thousand pictures take a second at least: the conversion pauses
    // 1 ms before each one's progress.
    const std::string input = Media("long.mp4", "yuv420p", "libx264", 1000);
    ASSERT_TRUE(view_test::ShowAndExpose(*dialog));
    ChooseWith("open_file_video", {QString::fromStdString(input)});
    ASSERT_TRUE(view_test::WaitUntil([&] { return Label().endsWith("%"); }, 60000));
    ASSERT_FALSE(ButtonsEnabled()) << "the conversion ended before it could be interrupted";
    QTest::keyClick(dialog.get(), Qt::Key_Escape);
    QCloseEvent close;
    QApplication::sendEvent(dialog.get(), &close);
    EXPECT_FALSE(close.isAccepted());
    EXPECT_TRUE(dialog->isVisible());

    ASSERT_TRUE(view_test::WaitUntil([&] { return ButtonsEnabled(); }, 60000));
    EXPECT_TRUE(dialog->isVisible());
    ASSERT_EQ(1, dialog->GetPaths().size());
    EXPECT_EQ(1000u * 4608u, QFileInfo(dialog->GetPaths().first()).size());
    EXPECT_EQ(dialog->GetPaths().first(), Label());
    // Once it has ended, Escape cancels as ever.
    QTest::keyClick(dialog.get(), Qt::Key_Escape);
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(QDialog::Rejected, dialog->result());
}

TEST_F(OpenFileDialogTest, ProgressShowsWholePercent)
{
    dialog->ReadThread_OnProgress(0.37f);
    EXPECT_EQ("37%", Label());
    dialog->ReadThread_OnProgress(1.0f);
    EXPECT_EQ("100%", Label());
    dialog->ReadThread_OnProgress(std::nanf(""));
    EXPECT_EQ("0%", Label());
}

TEST_F(OpenFileDialogTest, AMediaFileThatIsNot420ShowsTheYuv420POnlyText)
{
    const std::string input = Media("422.mkv", "yuv422p", "ffv1");
    Child<QSpinBox>("width_spin_box")->setValue(33);
    Convert({QString::fromStdString(input)});
    EXPECT_EQ("仅支持 YUV420P 的文件或图片", Label());
    EXPECT_EQ(0, Child<QSpinBox>("width_spin_box")->value());
    EXPECT_EQ(0, Child<QSpinBox>("height_spin_box")->value());
    EXPECT_TRUE(dialog->GetPaths().isEmpty());
}

TEST_F(OpenFileDialogTest, AFileThatIsNotMediaShowsOpeningFailed)
{
    const std::string notes = dir.File("notes.txt");
    std::ofstream(notes) << "plain words, not media at all\n";
    Convert({QString::fromStdString(notes)});
    EXPECT_EQ("打开失败", Label());
    EXPECT_TRUE(dialog->GetPaths().isEmpty());
}

TEST_F(OpenFileDialogTest, AnOutputThatCannotBeWrittenShowsOpeningFailed)
{
    const std::string input = Media("clip.mp4");
    signal(SIGXFSZ, SIG_IGN);
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit lowered = saved;
    lowered.rlim_cur = 5000;
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &lowered));
    Convert({QString::fromStdString(input)});
    setrlimit(RLIMIT_FSIZE, &saved);
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ("打开失败", Label());
    EXPECT_TRUE(dialog->GetPaths().isEmpty());
    // Nothing half-written is left beside the input.
    EXPECT_EQ(QStringList{"clip.mp4"}, QDir(QString::fromStdString(dir.Path())).entryList(QDir::Files));
}

TEST_F(OpenFileDialogTest, EveryConversionFailureButTheFormatOneShowsOpeningFailed)
{
    for (int code : {-1, -2, -3, -4, -6, -7}) {
        dialog->ReadThread_OnError(code);
        EXPECT_EQ("打开失败", Label()) << code;
    }
    dialog->ReadThread_OnError(-5);
    EXPECT_EQ("仅支持 YUV420P 的文件或图片", Label());
}

TEST_F(OpenFileDialogTest, OfThreeMediaFilesOnlyTheLastIsConverted)
{
    const std::string first = Media("one.mp4");
    const std::string second = Media("two.mp4");
    const std::string third = Media("three.mp4");
    Convert({QString::fromStdString(first), QString::fromStdString(second), QString::fromStdString(third)});
    ASSERT_EQ(1, dialog->GetPaths().size());
    EXPECT_TRUE(dialog->GetPaths().first().startsWith(QString::fromStdString(third) + "."));
    const QStringList files = QDir(QString::fromStdString(dir.Path())).entryList(QDir::Files);
    EXPECT_EQ(4, files.size()) << files.join(", ").toStdString();
}

TEST_F(OpenFileDialogTest, AFinishWithAnUnknownLayoutNameChecksNothing)
{
    dialog->ReadThread_OnFinish("/x/out.yuv", "NOT-A-LAYOUT", 8, 6);
    for (QRadioButton* radio : Radios()) {
        EXPECT_FALSE(radio->isChecked());
    }
    EXPECT_EQ(8, Child<QSpinBox>("width_spin_box")->value());
    EXPECT_EQ(QStringList{"/x/out.yuv"}, dialog->GetPaths());
}

TEST_F(OpenFileDialogTest, TheUnconnectedWorkSlotsSetTheTitleAndTheChoice)
{
    analysis_test::DebugCapture debug;
    dialog->workStart();
    EXPECT_EQ("媒体转换中,请稍等...(打开时长与媒体时长呈正相关", dialog->windowTitle());
    dialog->workFinished(32, 16, 4);
    EXPECT_EQ("选择文件类型并打开", dialog->windowTitle());
    EXPECT_EQ(32, Child<QSpinBox>("width_spin_box")->value());
    EXPECT_EQ(16, Child<QSpinBox>("height_spin_box")->value());
    EXPECT_TRUE(Radios()[4]->isChecked());
    EXPECT_TRUE(debug.Contains("OpenFileDialog::workStart"));
    EXPECT_TRUE(debug.Contains("OpenFileDialog::workFinished"));
}
