// The frame view across changes of its GL context: Qt gives a QOpenGLWidget
// a new context whenever it moves to another window, and the analysis window
// moves views in and out of layouts.

#include "views/YUVShowView.h"
#include "views/YUVWidget.h"

#include "lumo/YUVReader.h"

#include "TempDir.h"
#include "ViewTestSupport.h"

#include <gtest/gtest.h>

#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <QOpenGLWidget>
#include <QProcess>
#include <QVBoxLayout>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 32;
constexpr int kHeight = 18;
constexpr long kFrameLength = kWidth * kHeight * 3 / 2;

// The GL names alive in one share group, seen through a context in it.
// Names of textures, buffers, programs and shaders are shared by every
// context of the group; Mesa hands them out in increasing order, so a fresh
// name bounds all the live ones.
struct LiveNames {
    int textures = 0;
    int buffers = 0;
    int programsAndShaders = 0;

    bool operator==(const LiveNames& other) const
    {
        return textures == other.textures && buffers == other.buffers &&
               programsAndShaders == other.programsAndShaders;
    }
};

void PrintTo(const LiveNames& names, std::ostream* out)
{
    *out << names.textures << " textures, " << names.buffers << " buffers, " << names.programsAndShaders
         << " programs and shaders";
}

LiveNames CountLiveNames(QOpenGLWidget& anchor)
{
    anchor.makeCurrent();
    auto* gl = anchor.context()->versionFunctions<QOpenGLFunctions_3_3_Core>();
    LiveNames live;
    if (gl == nullptr) {
        ADD_FAILURE() << "no OpenGL 3.3 core functions in the probe's context";
        return live;
    }
    GLuint texture = 0;
    GLuint buffer = 0;
    gl->glGenTextures(1, &texture);
    gl->glGenBuffers(1, &buffer);
    const GLuint program = gl->glCreateProgram();
    for (GLuint name = 1; name < texture; name++) {
        live.textures += gl->glIsTexture(name) ? 1 : 0;
    }
    for (GLuint name = 1; name < buffer; name++) {
        live.buffers += gl->glIsBuffer(name) ? 1 : 0;
    }
    for (GLuint name = 1; name < program; name++) {
        live.programsAndShaders += gl->glIsProgram(name) || gl->glIsShader(name) ? 1 : 0;
    }
    gl->glDeleteTextures(1, &texture);
    gl->glDeleteBuffers(1, &buffer);
    gl->glDeleteProgram(program);
    EXPECT_EQ(static_cast<GLenum>(GL_NO_ERROR), gl->glGetError());
    anchor.doneCurrent();
    return live;
}

// A top-level window with a vertical layout for the views to move into.
std::unique_ptr<QWidget> MakeWindow()
{
    auto window = std::make_unique<QWidget>();
    new QVBoxLayout(window.get());
    window->resize(360, 300);
    return window;
}

class YUVShowViewContextTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        path = dir.File("two-frames.yuv");
        // Frame 0 dark, frame 1 light: the picture tells which one is shown.
        view_test::WriteFile(path, view_test::Frame420(kWidth, kHeight, [](int, int) { return 40; }, 128, 128));
        view_test::WriteFile(path, view_test::Frame420(kWidth, kHeight, [](int, int) { return 200; }, 128, 128));
    }

    // A view on the file, counting its paints and keeping the last edges.
    YUVShowView* NewView()
    {
        auto* view = new YUVShowView(QString::fromStdString(path), kWidth, kHeight, view_test::Layout("I420"));
        QObject::connect(view, &YUVShowView::updataRuler, [this](int l, int r, int, int) {
            paints++;
            left = l;
            right = r;
        });
        return view;
    }

    // A window shown and exposed, with the anchor widget that probes its
    // share group.
    std::unique_ptr<QWidget> HostWindow(QOpenGLWidget*& anchor)
    {
        std::unique_ptr<QWidget> window = MakeWindow();
        anchor = new QOpenGLWidget();
        anchor->setFixedHeight(20);
        window->layout()->addWidget(anchor);
        EXPECT_TRUE(view_test::ShowAndExpose(*window));
        EXPECT_TRUE(view_test::WaitUntil([&] { return anchor->isValid(); }));
        return window;
    }

    // Moves the view into the window's layout and waits for it to paint
    // there.
    ::testing::AssertionResult MoveAndPaint(YUVShowView* view, QWidget& window)
    {
        const int before = paints;
        window.layout()->addWidget(view);
        view->show();
        if (!view_test::WaitUntil([&] { return paints > before; })) {
            return ::testing::AssertionFailure() << "no paint after the move";
        }
        return ::testing::AssertionSuccess();
    }

    // The luma the view shows in its centre (colour matrix identity: red is
    // the luma).
    static int ShownLuma(YUVShowView* view)
    {
        const QImage image = view->grabFramebuffer();
        return image.pixelColor(image.width() / 2, image.height() / 2).red();
    }

    // The frame fills the view's width (it is wider than tall) in the last
    // paint, whatever window the view came from.
    ::testing::AssertionResult FillsTheWidth(YUVShowView* view)
    {
        view->grabFramebuffer();
        if (left != 0 || right != view->size().width()) {
            return ::testing::AssertionFailure() << "edges " << left << ".." << right << " in a view "
                                                 << view->size().width() << " wide";
        }
        return ::testing::AssertionSuccess();
    }

    lumo_test::TempDir dir;
    std::string path;
    int paints = 0;
    int left = -1;
    int right = -1;
};

} // namespace

TEST_F(YUVShowViewContextTest, MovingBetweenWindowsFiftyTimesReleasesItsNamesAndKeepsTheFrame)
{
    QOpenGLWidget* anchor = nullptr;
    std::unique_ptr<QWidget> host = HostWindow(anchor);
    std::unique_ptr<QWidget> other = MakeWindow();
    other->resize(520, 420);
    ASSERT_TRUE(view_test::ShowAndExpose(*other));

    YUVShowView* view = NewView();
    ASSERT_TRUE(MoveAndPaint(view, *host));
    ASSERT_TRUE(view_test::IsCore33(view->context()));
    view->LoadFrame(kFrameLength);
    view->SetGamma(1.0f);
    EXPECT_NEAR(200, ShownLuma(view), 1);

    LiveNames baseline;
    for (int cycle = 0; cycle < 50; cycle++) {
        ASSERT_TRUE(MoveAndPaint(view, *other)) << "cycle " << cycle;
        EXPECT_NEAR(200, ShownLuma(view), 1) << "cycle " << cycle;
        EXPECT_TRUE(FillsTheWidth(view)) << "cycle " << cycle;
        // The host's share group holds only what it held before the view
        // came, whatever the number of visits.
        const LiveNames left = CountLiveNames(*anchor);
        if (cycle == 0) {
            baseline = left;
        } else {
            ASSERT_EQ(baseline, left) << "cycle " << cycle;
        }
        ASSERT_TRUE(MoveAndPaint(view, *host)) << "cycle " << cycle;
        EXPECT_NEAR(200, ShownLuma(view), 1) << "cycle " << cycle;
        EXPECT_TRUE(FillsTheWidth(view)) << "cycle " << cycle;
    }
    // The view's own objects are seen while it is in the host.
    const LiveNames withView = CountLiveNames(*anchor);
    EXPECT_GE(withView.textures, baseline.textures + 3);
    EXPECT_GE(withView.programsAndShaders, baseline.programsAndShaders + 3);
    delete view;
    EXPECT_EQ(baseline, CountLiveNames(*anchor));
}

TEST_F(YUVShowViewContextTest, CreateShowReparentPaintCloseFiftyTimes)
{
    QOpenGLWidget* anchor = nullptr;
    std::unique_ptr<QWidget> host = HostWindow(anchor);
    const LiveNames before = CountLiveNames(*anchor);
    for (int cycle = 0; cycle < 50; cycle++) {
        YUVShowView* view = NewView();
        ASSERT_TRUE(MoveAndPaint(view, *host)) << "cycle " << cycle;
        view->LoadFrame(cycle % 2 == 0 ? kFrameLength : 0);
        std::unique_ptr<QWidget> window = MakeWindow();
        ASSERT_TRUE(view_test::ShowAndExpose(*window));
        ASSERT_TRUE(MoveAndPaint(view, *window)) << "cycle " << cycle;
        EXPECT_NEAR(cycle % 2 == 0 ? 200 : 40, ShownLuma(view), 1) << "cycle " << cycle;
        window->close();
        window.reset();
        ASSERT_EQ(before, CountLiveNames(*anchor)) << "cycle " << cycle;
    }
}

TEST_F(YUVShowViewContextTest, HiddenAndShownAgainDrawsTheSameFrame)
{
    std::unique_ptr<QWidget> window = MakeWindow();
    YUVShowView* view = NewView();
    window->layout()->addWidget(view);
    ASSERT_TRUE(view_test::ShowAndExpose(*window));
    ASSERT_TRUE(view_test::WaitUntil([&] { return paints > 0; }));
    view->LoadFrame(kFrameLength);
    int shown = 200;
    EXPECT_NEAR(shown, ShownLuma(view), 1);
    for (int round = 0; round < 5; round++) {
        window->hide();
        view_test::FlushEvents();
        ASSERT_TRUE(view_test::ShowAndExpose(*window));
        EXPECT_NEAR(shown, ShownLuma(view), 1) << "round " << round;
        // And it still paints when asked to.
        const int before = paints;
        view->LoadFrame(round % 2 == 0 ? 0 : kFrameLength);
        shown = round % 2 == 0 ? 40 : 200;
        ASSERT_TRUE(view_test::WaitUntil([&] { return paints > before; })) << "round " << round;
        EXPECT_NEAR(shown, ShownLuma(view), 1) << "round " << round;
    }
}

TEST_F(YUVShowViewContextTest, YUVWidgetMovedIntoAnotherWindowKeepsItsFrameAndRulers)
{
    QOpenGLWidget* anchor = nullptr;
    std::unique_ptr<QWidget> host = HostWindow(anchor);
    const LiveNames before = CountLiveNames(*anchor);
    lumo::YUVReader reader(path, kWidth, kHeight, view_test::Layout("I420"));
    auto* widget = new YUVWidget(reader);
    auto* view = widget->findChild<YUVShowView*>();
    ASSERT_NE(nullptr, view);
    QObject::connect(view, &YUVShowView::updataRuler, [this](int, int, int, int) { paints++; });
    host->layout()->addWidget(widget);
    ASSERT_TRUE(view_test::WaitUntil([&] { return paints > 0; }));
    widget->DrawFrame(1);
    EXPECT_NEAR(200, ShownLuma(view), 1);

    std::unique_ptr<QWidget> other = MakeWindow();
    other->resize(500, 400);
    ASSERT_TRUE(view_test::ShowAndExpose(*other));
    QObject::connect(view, &YUVShowView::updataRuler, [&](int l, int r, int, int) {
        left = l;
        right = r;
    });
    const int moved = paints;
    other->layout()->addWidget(widget);
    ASSERT_TRUE(view_test::WaitUntil([&] { return paints > moved && right == view->size().width(); }));
    EXPECT_EQ(0, left);
    EXPECT_NEAR(200, ShownLuma(view), 1);
    EXPECT_EQ(before, CountLiveNames(*anchor));
}

// A driver limited to OpenGL 3.0 (Mesa told so by MESA_GL_VERSION_OVERRIDE):
// the view cannot have its functions, says why and draws nothing, and the
// program goes on.
TEST_F(YUVShowViewContextTest, WithoutOpenGL33TheViewDrawsNothingAndSaysWhy)
{
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("MESA_GL_VERSION_OVERRIDE", "3.0");
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(OLD_CONTEXT_VIEW, {QString::fromStdString(path), QString::number(kWidth), QString::number(kHeight)});
    ASSERT_TRUE(child.waitForFinished(60000));
    const QString output = QString::fromUtf8(child.readAll());
    EXPECT_EQ(QProcess::NormalExit, child.exitStatus()) << output.toStdString();
    EXPECT_EQ(0, child.exitCode()) << output.toStdString();
    EXPECT_TRUE(output.contains("YUVShowView: OpenGL 3.0 compatibility has no OpenGL 3.3 core functions; "
                                "the frame view draws nothing"))
        << output.toStdString();
    EXPECT_TRUE(output.contains("paints 0")) << output.toStdString();
}
