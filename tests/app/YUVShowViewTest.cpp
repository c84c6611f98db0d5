#include "views/YUVShader.h"
#include "views/YUVShowView.h"

#include "KestColorSpace/KestColorSpace.h"
#include "core/KestLog.h"

#include "AnalysisTestSupport.h"
#include "TempDir.h"
#include "ViewTestSupport.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QWheelEvent>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>

using view_test::Yuv;

namespace {

constexpr int kView = 800;

// Six vertical bands of 16 samples each in a 96 x 54 frame: video black,
// video white, and four in-gamut colours.
const std::vector<Yuv> kBands = {{16, 128, 128}, {235, 128, 128}, {150, 110, 140},
                                 {100, 140, 120}, {180, 120, 130}, {90, 100, 150}};
constexpr int kBandWidth = 16;
constexpr int kBandsWidth = 96;
constexpr int kBandsHeight = 54;

// A blue that no red line and no white background can be taken for.
const Yuv kBlue = {60, 200, 110};

struct Edges {
    int left, right, top, bottom;
};

struct Rect {
    float x0, y0, x1, y1;
};

// The colour matrices of the four input/output pairs, rounded to four places.
struct MatrixPair {
    const char* name;
    int input;  // 0 BT709, 1 BT2020
    int output; // 0 BT709, 1 BT2020
    float m[9];
};

const MatrixPair kPairs[] = {
    {"BT709_BT709", 0, 0, {1, 0, 1.4017f, 1, -0.3437f, -0.7142f, 1, 1.7722f, 0}},
    {"BT709_BT2020", 0, 1, {1, -0.0364f, 0.6442f, 1, -0.2959f, -0.5600f, 0.9999f, 1.5569f, -0.0399f}},
    {"BT2020_BT709", 1, 0, {1, -0.0404f, 2.7842f, 1, -0.2021f, -0.8307f, 1.0001f, 2.1214f, 0.0306f}},
    {"BT2020_BT2020", 1, 1, {1, 0, 1.4746f, 1, -0.1645f, -0.5713f, 1, 1.8814f, -0.0001f}},
};

// Names the pair in test output.
void PrintTo(const MatrixPair& pair, std::ostream* out)
{
    *out << pair.name;
}

const float kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// What the full-colour fragment shader makes of one sample, before the
// 8-bit frame buffer clamps it.
std::array<float, 3> ShaderRgb(Yuv s, int range, const float (&m)[9], float gamma)
{
    float y = s.y / 255.0f;
    float u = s.u / 255.0f;
    float v = s.v / 255.0f;
    if (range == 2) {
        y = (y * 255 - 16) / (235 - 16);
        u = (u * 255 - 16) / (240 - 16);
        v = (v * 255 - 16) / (240 - 16);
    }
    u -= 0.5f;
    v -= 0.5f;
    std::array<float, 3> rgb{};
    for (int i = 0; i < 3; i++) {
        rgb[i] = std::pow(m[3 * i] * y + m[3 * i + 1] * u + m[3 * i + 2] * v, gamma);
    }
    return rgb;
}

std::array<int, 3> To8Bit(const std::array<float, 3>& rgb)
{
    std::array<int, 3> out{};
    for (int i = 0; i < 3; i++) {
        out[i] = static_cast<int>(std::lround(std::clamp(rgb[i], 0.0f, 1.0f) * 255));
    }
    return out;
}

bool IsWhite(const QColor& c)
{
    return c.red() == 255 && c.green() == 255 && c.blue() == 255;
}

bool IsRed(const QColor& c)
{
    return c.red() > 200 && c.green() < 60 && c.blue() < 60;
}

class YUVShowViewTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // Mesa's shader cache skips compiling sources it has seen before, and
        // their warnings with it.
        qputenv("MESA_SHADER_CACHE_DISABLE", "true");
    }

    // Writes the frames to a file and shows a view of it, painted once.
    void Open(const std::vector<uint8_t>& frames, int w, int h, const char* layout, int viewWidth = kView,
              int viewHeight = kView)
    {
        path = dir.File("frames.yuv");
        view_test::WriteFile(path, frames);
        view = std::make_unique<YUVShowView>(QString::fromStdString(path), w, h, view_test::Layout(layout));
        QObject::connect(view.get(), &YUVShowView::updataRuler, [this](int l, int r, int t, int b) {
            edges = {l, r, t, b};
            paints++;
        });
        QObject::connect(view.get(), &YUVShowView::updateRect,
                         [this](float x0, float y0, float x1, float y1) { rects.push_back({x0, y0, x1, y1}); });
        view->resize(viewWidth, viewHeight);
        ASSERT_TRUE(view_test::ShowAndExpose(*view));
        ASSERT_TRUE(view_test::WaitUntil([this] { return paints > 0; }));
        ASSERT_TRUE(view_test::IsCore33(view->context())) << "the view needs OpenGL 3.3 core";
    }

    void OpenBands() { Open(view_test::Frame444(kBandsWidth, kBandsHeight, Band), kBandsWidth, kBandsHeight, "I444"); }

    // Paints now and returns the picture, in widget pixels (the frame buffer
    // holds device pixels).
    QImage Grab()
    {
        QImage image = view->grabFramebuffer();
        if (view->devicePixelRatioF() != 1.0) {
            image = image.scaled(view->size(), Qt::IgnoreAspectRatio, Qt::FastTransformation);
        }
        return image;
    }

    static Yuv Band(int x, int) { return kBands[x / kBandWidth]; }

    // Screen x of the middle of band b, for the 96-wide frame fitted to 800.
    static int BandX(int b) { return static_cast<int>((b + 0.5) * kView / kBands.size()); }

    void Mouse(QEvent::Type type, int x, int y)
    {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, QPointF(x, y), view->mapToGlobal(QPoint(x, y)), button, held, Qt::NoModifier);
        QApplication::sendEvent(view.get(), &event);
    }

    void Wheel(int delta)
    {
        QWheelEvent event(QPointF(400, 400), view->mapToGlobal(QPoint(400, 400)), QPoint(), QPoint(0, delta),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view.get(), &event);
    }

    Edges Painted()
    {
        Grab();
        return edges;
    }

    // Rows of column x that are not the white background.
    static int FrameRows(const QImage& image, int x)
    {
        int rows = 0;
        for (int y = 0; y < image.height(); y++) {
            rows += IsWhite(image.pixelColor(x, y)) ? 0 : 1;
        }
        return rows;
    }

    static int FrameColumns(const QImage& image, int y)
    {
        int columns = 0;
        for (int x = 0; x < image.width(); x++) {
            columns += IsWhite(image.pixelColor(x, y)) ? 0 : 1;
        }
        return columns;
    }

    // Whether a red pixel lies within one pixel of (x, y).
    static bool RedNear(const QImage& image, int x, int y)
    {
        for (int dy = -1; dy <= 1; dy++) {
            for (int dx = -1; dx <= 1; dx++) {
                const int px = x + dx;
                const int py = y + dy;
                if (px >= 0 && py >= 0 && px < image.width() && py < image.height() &&
                    IsRed(image.pixelColor(px, py))) {
                    return true;
                }
            }
        }
        return false;
    }

    static int RedPixels(const QImage& image)
    {
        int count = 0;
        for (int y = 0; y < image.height(); y++) {
            for (int x = 0; x < image.width(); x++) {
                count += IsRed(image.pixelColor(x, y)) ? 1 : 0;
            }
        }
        return count;
    }

    void ExpectBands(const QImage& image, int range, const float (&m)[9], float gamma, bool skipEdges)
    {
        for (size_t b = 0; b < kBands.size(); b++) {
            const std::array<float, 3> rgb = ShaderRgb(kBands[b], range, m, gamma);
            // pow() of a value at or below zero is undefined in GLSL.
            if (skipEdges && *std::min_element(rgb.begin(), rgb.end()) < 0.02f) {
                continue;
            }
            const std::array<int, 3> expected = To8Bit(rgb);
            const QColor got = image.pixelColor(BandX(static_cast<int>(b)), kView / 2);
            EXPECT_NEAR(expected[0], got.red(), 2) << "band " << b;
            EXPECT_NEAR(expected[1], got.green(), 2) << "band " << b;
            EXPECT_NEAR(expected[2], got.blue(), 2) << "band " << b;
        }
    }

    lumo_test::TempDir dir;
    std::string path;
    std::unique_ptr<YUVShowView> view;
    Edges edges{0, 0, 0, 0};
    int paints = 0;
    std::vector<Rect> rects;
};

std::vector<uint8_t> Blue420(int w, int h)
{
    return view_test::Frame420(w, h, [](int, int) { return kBlue.y; }, kBlue.u, kBlue.v);
}

} // namespace

TEST(YUVShader, TextsAreExact)
{
    EXPECT_STREQ("#version 330\n"
                 "layout (location = 0) in vec3 position; layout (location = 1) in vec3 texCoord; out vec3 TexCoord; "
                 "uniform mat4 yuvMatrix; void main() { gl_Position = yuvMatrix * vec4(position, 1.0f); "
                 "TexCoord = texCoord; }",
                 YUVShader::YUV_RENDER_VERTEX_SHADER);
    EXPECT_EQ(YUVShader::YUV_RENDER_VERTEX_SHADER, YUVShader::YUV_SINGLE_CHANNEL_RENDER_VERTEX_SHADER);
    EXPECT_STREQ(
        "#version 330\n"
        "in vec3 TexCoord; out vec4 color; uniform float iTime; uniform float width; uniform float height; "
        "uniform sampler2D y; uniform sampler2D u; uniform sampler2D v; uniform mat3 colorMat; uniform int colorRange; "
        "uniform float gamma = 1.0; void main() { float t_x = TexCoord.x; float t_y = TexCoord.y; "
        "vec2 t = vec2(t_x,1.0 - t_y); vec3 yuv; vec3 rgb; yuv.x = texture(y, t).r; yuv.y = texture(u, t).r; "
        "yuv.z = texture(v, t).r; if(colorRange == 1){ } if(colorRange == 2){ yuv.x = (yuv.x * 255 - 16) / (235 - 16); "
        "yuv.y = (yuv.y * 255 - 16) / (240 - 16); yuv.z = (yuv.z * 255 - 16) / (240 - 16); } yuv.y = yuv.y - 0.5; "
        "yuv.z = yuv.z - 0.5; rgb = colorMat * yuv; vec3 rgb_out = pow(rgb, vec3(gamma)); "
        "color = vec4(rgb_out, 1.0); }",
        YUVShader::YUV_RENDER_FRAGMENT_SHADER);
    EXPECT_STREQ(
        "#version 330\n"
        "in vec3 TexCoord; out vec4 color; uniform float iTime; uniform float width; uniform float height; "
        "uniform int type = 1; uniform sampler2D y; uniform sampler2D u; uniform sampler2D v; uniform int colorRange; "
        "void main() { float t_x = TexCoord.x; float t_y = TexCoord.y; vec2 t = vec2(t_x, 1.0 - t_y); vec3 yuv; "
        "yuv.x = texture(y, t).r; yuv.y = texture(u, t).r; yuv.z = texture(v, t).r; if(type == 1){ "
        "float v = texture(y, t).r; color = vec4(v, v, v, 1.0); } if(type == 2){ float v = texture(u, t).r; "
        "color = vec4(v, v, v, 1.0); } if(type == 3){ float v = texture(v, t).r; color = vec4(v, v, v, 1.0); } }",
        YUVShader::YUV_SINGLE_CHANNEL_RENDER_FRAGMENT_SHADER);
    EXPECT_STREQ("#version 330\n"
                 "layout (location = 0) in vec3 position; uniform mat4 mvp; void main() { "
                 "gl_Position = mvp * vec4(position, 1.0f); }",
                 YUVShader::LINE_RENDER_VERTEX_SHADER);
    EXPECT_STREQ("#version 330\n"
                 "out vec4 color; void main() { vec3 rgb_out = vec3(1.0, 0.0, 0.0); color = vec4(rgb_out, 1.0); }",
                 YUVShader::LINE_RENDER_FRAGMENT_SHADER);
}

TEST_F(YUVShowViewTest, ShadersBuildWithoutADriverMessage)
{
    lumo_test::TempDir logDir;
    kest_log_path(logDir.File("log.txt").c_str());
    kest_log_param(0, 0, 0, 0, 0);
    OpenBands();
    view->SetVisible(1, 1, 1);
    Grab();
    kest_log_clear();
    kest_log_path("");
    kest_log_param(1, 1, 1, 1, 1);
    EXPECT_EQ("", lumo_test::ReadWholeFile(logDir.File("log.txt")));
}

TEST_F(YUVShowViewTest, StartsInFullRangeWithTheIdentityMatrixAndGammaOne)
{
    OpenBands();
    EXPECT_EQ(YUV_SHOW_MODE_MOVE, view->GetMode());
    ExpectBands(Grab(), 1, kIdentity, 1.0f, false);
}

class YUVShowViewColourTest : public YUVShowViewTest,
                              public ::testing::WithParamInterface<std::tuple<MatrixPair, int>> {};

TEST_P(YUVShowViewColourTest, ConvertsWithTheChosenMatrixAndRange)
{
    const MatrixPair& pair = std::get<0>(GetParam());
    const int range = std::get<1>(GetParam());
    OpenBands();
    Kest::KestColorSpace cs = Kest::KestColorSpace::ForSpaces(pair.input, pair.output);
    EXPECT_EQ(0, view->SetColorSpace(cs));
    EXPECT_EQ(0, view->SetColorRange(range));
    ExpectBands(Grab(), range, pair.m, 1.0f, false);
}

INSTANTIATE_TEST_SUITE_P(Pairs, YUVShowViewColourTest,
                         ::testing::Combine(::testing::ValuesIn(kPairs), ::testing::Values(1, 2)),
                         [](const ::testing::TestParamInfo<std::tuple<MatrixPair, int>>& info) {
                             return std::string(std::get<0>(info.param).name) +
                                    (std::get<1>(info.param) == 1 ? "_Full" : "_Video");
                         });

TEST_F(YUVShowViewTest, VideoRangeMaps16ToBlackAnd235ToWhite)
{
    OpenBands();
    Kest::KestColorSpace cs = Kest::KestColorSpace::ForSpaces(0, 0);
    view->SetColorSpace(cs);
    view->SetColorRange(2);
    const QImage image = Grab();
    const QColor black = image.pixelColor(BandX(0), kView / 2);
    const QColor white = image.pixelColor(BandX(1), kView / 2);
    EXPECT_EQ(0, black.red());
    EXPECT_EQ(0, black.green());
    EXPECT_EQ(0, black.blue());
    EXPECT_EQ(255, white.red());
    EXPECT_EQ(255, white.green());
    EXPECT_EQ(255, white.blue());
}

TEST_F(YUVShowViewTest, GammaRaisesEveryComponent)
{
    OpenBands();
    Kest::KestColorSpace cs = Kest::KestColorSpace::ForSpaces(1, 0);
    view->SetColorSpace(cs);
    EXPECT_EQ(0, view->SetGamma(2.2f));
    for (int range : {1, 2}) {
        view->SetColorRange(range);
        ExpectBands(Grab(), range, kPairs[2].m, 2.2f, true);
    }
    // Darker than at gamma 1 where the result lies strictly between 0 and 1.
    const int dimmed = Grab().pixelColor(BandX(2), kView / 2).green();
    view->SetGamma(1.0f);
    EXPECT_LT(dimmed + 50, Grab().pixelColor(BandX(2), kView / 2).green());
}

TEST_F(YUVShowViewTest, PreviewsAreOffUntilSwitchedOn)
{
    OpenBands();
    EXPECT_TRUE(IsWhite(Grab().pixelColor(40, 40)));
}

TEST_F(YUVShowViewTest, EachChannelPreviewShowsItsPlaneRaw)
{
    OpenBands();
    view->SetColorRange(2);
    // Preview width = (96 / 54) x 20 % of 800 = 284.4 pixels; rows: Y 0..160,
    // U 168..328, V 336..496.
    const double previewWidth = (96.0 / 54.0) * 0.2 * kView;
    const int rows[3] = {80, 248, 416};
    for (int channel = 0; channel < 3; channel++) {
        EXPECT_EQ(0, view->SetVisible(channel == 0, channel == 1, channel == 2));
        const QImage image = Grab();
        for (size_t b = 0; b < kBands.size(); b++) {
            const Yuv s = kBands[b];
            const int expected = channel == 0 ? s.y : (channel == 1 ? s.u : s.v);
            const int x = static_cast<int>((b + 0.5) * previewWidth / kBands.size());
            const QColor got = image.pixelColor(x, rows[channel]);
            EXPECT_NEAR(expected, got.red(), 1) << "channel " << channel << " band " << b;
            EXPECT_EQ(got.red(), got.green());
            EXPECT_EQ(got.red(), got.blue());
        }
        // The other two previews are not drawn: the frame or the background shows.
        for (int other = 0; other < 3; other++) {
            if (other != channel) {
                const QColor there = image.pixelColor(BandX(0) / 2, rows[other]);
                EXPECT_NE(there.red(), kBands[0].y) << "channel " << channel << " row " << rows[other];
            }
        }
    }
}

TEST_F(YUVShowViewTest, PreviewsAreOneFifthOfTheViewHighFromTheLeftEdge)
{
    OpenBands();
    view->SetVisible(1, 1, 1);
    const QImage image = Grab();
    // Y preview over the white background above the frame: 160 rows, 284 columns.
    int rows = 0;
    for (int y = 0; y < 165; y++) {
        rows += IsWhite(image.pixelColor(10, y)) ? 0 : 1;
    }
    EXPECT_EQ(160, rows);
    int columns = 0;
    for (int x = 0; x < kView; x++) {
        columns += IsWhite(image.pixelColor(x, 40)) ? 0 : 1;
    }
    EXPECT_NEAR(284, columns, 1);
    EXPECT_FALSE(IsWhite(image.pixelColor(0, 40)));
    // U spans rows 168..328 and V 336..496: grey from the planes, 128 in band 0.
    EXPECT_NEAR(128, image.pixelColor(10, 170).red(), 1);
    EXPECT_NEAR(128, image.pixelColor(10, 326).red(), 1);
    EXPECT_NEAR(128, image.pixelColor(10, 338).red(), 1);
    EXPECT_NEAR(128, image.pixelColor(10, 494).red(), 1);
}

TEST_F(YUVShowViewTest, WideFrameFillsTheWidthAtItsOwnAspect)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    // 800 / (16 / 9) is exactly 450 rows: the frame spans rows 175 .. 625.
    const QImage image = Grab();
    EXPECT_EQ(0, edges.left);
    EXPECT_EQ(800, edges.right);
    EXPECT_EQ(175, edges.top);
    EXPECT_EQ(625, edges.bottom);
    EXPECT_EQ(450, FrameRows(image, 400));
    EXPECT_EQ(800, FrameColumns(image, 400));
}

TEST_F(YUVShowViewTest, TallFrameFillsTheHeight)
{
    Open(Blue420(1080, 1920), 1080, 1920, "I420");
    const QImage image = Grab();
    EXPECT_EQ(175, edges.left);
    EXPECT_EQ(625, edges.right);
    EXPECT_EQ(0, edges.top);
    EXPECT_EQ(800, edges.bottom);
    EXPECT_EQ(450, FrameColumns(image, 400));
}

TEST_F(YUVShowViewTest, FitIgnoresTheViewsShape)
{
    // A wide frame in a wide, low view comes out taller than the view.
    Open(Blue420(1920, 1080), 1920, 1080, "I420", 800, 300);
    Painted();
    EXPECT_EQ(0, edges.left);
    EXPECT_EQ(800, edges.right);
    EXPECT_EQ(-75, edges.top);
    EXPECT_EQ(375, edges.bottom);
}

TEST_F(YUVShowViewTest, OneWheelNotchZoomsByOnePointTwoPercentAboutTheCentre)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    Wheel(120);
    const QImage image = Grab();
    // 800 x 1.012 = 809.6 wide, 450 x 1.012 = 455.4 high.
    const float halfWidth = 800 * 0.5f * 1.012f;
    const float halfHeight = 450 * 0.5f * 1.012f;
    EXPECT_EQ(static_cast<int>(400 - halfWidth), edges.left);
    EXPECT_EQ(static_cast<int>(400 + halfWidth), edges.right);
    EXPECT_EQ(static_cast<int>(400 - halfHeight), edges.top);
    EXPECT_EQ(static_cast<int>(400 + halfHeight), edges.bottom);
    EXPECT_EQ(-4, edges.left);
    EXPECT_EQ(804, edges.right);
    EXPECT_EQ(172, edges.top);
    EXPECT_EQ(627, edges.bottom);
    // 455.4 rows from 172.3 to 627.7 cover 456 pixel centres.
    EXPECT_EQ(456, FrameRows(image, 400));
    EXPECT_EQ(800, FrameColumns(image, 400));
}

TEST_F(YUVShowViewTest, ScaleStopsAtZeroAndGrowsBackFromThere)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    Wheel(-120 * 100);
    const QImage gone = Grab();
    EXPECT_EQ(400, edges.left);
    EXPECT_EQ(400, edges.right);
    EXPECT_EQ(400, edges.top);
    EXPECT_EQ(400, edges.bottom);
    EXPECT_EQ(0, FrameRows(gone, 400));
    // One notch from exactly 0: 0.012 x 800 = 9.6 pixels wide.
    Wheel(120);
    const QImage small = Grab();
    EXPECT_EQ(395, edges.left);
    EXPECT_EQ(404, edges.right);
    EXPECT_NEAR(10, FrameColumns(small, 400), 1);
}

TEST_F(YUVShowViewTest, DragPansFromTheSecondPointerPosition)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    view_test::FlushEvents();
    const int before = paints;
    Mouse(QEvent::MouseButtonPress, 100, 100);
    view_test::FlushEvents();
    // A press in move mode does nothing, not even a repaint.
    EXPECT_EQ(before, paints);
    Mouse(QEvent::MouseMove, 110, 100);
    Mouse(QEvent::MouseMove, 160, 130);
    Mouse(QEvent::MouseButtonRelease, 160, 130);
    Painted();
    EXPECT_EQ(50, edges.left);
    EXPECT_EQ(850, edges.right);
    EXPECT_EQ(205, edges.top);
    EXPECT_EQ(655, edges.bottom);
    // After the release the next drag starts afresh.
    Mouse(QEvent::MouseMove, 300, 300);
    Mouse(QEvent::MouseMove, 290, 300);
    Painted();
    EXPECT_EQ(40, edges.left);
}

TEST_F(YUVShowViewTest, PointerAtXZeroRestartsTheDrag)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    Mouse(QEvent::MouseButtonPress, 10, 100);
    Mouse(QEvent::MouseMove, 10, 100);
    Mouse(QEvent::MouseMove, 0, 120);
    Mouse(QEvent::MouseMove, 20, 200);
    Mouse(QEvent::MouseMove, 30, 200);
    Painted();
    // Only 10 -> 0 and 20 -> 30 moved the frame; 0 -> 20 did not.
    EXPECT_EQ(0, edges.left);
    EXPECT_EQ(175 + 20, edges.top);
}

TEST_F(YUVShowViewTest, RectangleDragIsUnorderedAndClampedToTheFrame)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    EXPECT_EQ(0, view->SetMode(YUV_SHOW_MODE_RECT));
    EXPECT_EQ(YUV_SHOW_MODE_RECT, view->GetMode());
    // The frame of the last paint: x -400 .. 400, y 225 .. -225.
    Mouse(QEvent::MouseButtonPress, 600, 300);
    Mouse(QEvent::MouseMove, 300, 500);
    Mouse(QEvent::MouseMove, -50, 700);
    Mouse(QEvent::MouseButtonRelease, -50, 700);
    ASSERT_EQ(4u, rects.size());
    const float top = (100 - 225.0f) / 450;
    EXPECT_FLOAT_EQ(0.75f, rects[0].x0);
    EXPECT_FLOAT_EQ(top, rects[0].y0);
    EXPECT_FLOAT_EQ(0.75f, rects[0].x1);
    EXPECT_FLOAT_EQ(top, rects[0].y1);
    EXPECT_FLOAT_EQ(0.375f, rects[1].x1);
    EXPECT_FLOAT_EQ((-100 - 225.0f) / 450, rects[1].y1);
    for (size_t i = 2; i < 4; i++) {
        EXPECT_FLOAT_EQ(0.75f, rects[i].x0);
        EXPECT_FLOAT_EQ(top, rects[i].y0);
        EXPECT_FLOAT_EQ(0.0f, rects[i].x1);
        EXPECT_FLOAT_EQ(-1.0f, rects[i].y1);
    }
    // Drawn in red from x 0 to 600 and from row 300 to the frame's bottom.
    const QImage image = Grab();
    for (int x = 20; x < 580; x += 40) {
        EXPECT_TRUE(RedNear(image, x, 300)) << "top side at x " << x;
        EXPECT_TRUE(RedNear(image, x, 625)) << "bottom side at x " << x;
    }
    // The left side lies on the view's edge, outside every pixel centre.
    for (int y = 320; y < 600; y += 40) {
        EXPECT_TRUE(RedNear(image, 600, y)) << "right side at y " << y;
    }
    EXPECT_FALSE(RedNear(image, 300, 450));
    EXPECT_FALSE(RedNear(image, 700, 300));
}

TEST_F(YUVShowViewTest, SetRectIsNotClampedUntilSetLimitRect)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    // Zoomed out a notch the frame's edges lie inside the view: x 4.8 ..
    // 795.2, y 178.2 .. 621.8.
    Wheel(-120);
    EXPECT_EQ(0, view->SetRect(0.25f, -0.25f, 0.75f, -0.75f));
    QImage image = Grab();
    EXPECT_TRUE(RedNear(image, 400, 289));
    EXPECT_TRUE(RedNear(image, 400, 511));
    EXPECT_TRUE(RedNear(image, 202, 400));
    EXPECT_TRUE(RedNear(image, 598, 400));

    // Every side off screen.
    view->SetRect(-0.5f, 0.5f, 1.5f, -1.5f);
    EXPECT_EQ(0, RedPixels(Grab()));
    view_test::FlushEvents();
    const int before = paints;
    EXPECT_EQ(0, view->SetLimitRect());
    view_test::FlushEvents();
    EXPECT_EQ(before, paints);
    // Now on the frame's edges.
    image = Grab();
    EXPECT_TRUE(RedNear(image, 400, 178));
    EXPECT_TRUE(RedNear(image, 400, 622));
    EXPECT_TRUE(RedNear(image, 5, 400));
    EXPECT_TRUE(RedNear(image, 795, 400));
}

TEST_F(YUVShowViewTest, AllZeroRectangleCollapsesToTheTopLeftCorner)
{
    Open(Blue420(1920, 1080), 1920, 1080, "I420");
    EXPECT_EQ(0, RedPixels(Grab()));
}

TEST_F(YUVShowViewTest, SettersRepaintButModeAndLimitDoNot)
{
    OpenBands();
    Kest::KestColorSpace cs = Kest::KestColorSpace::ForSpaces(0, 0);
    const std::vector<std::function<void()>> repainting = {
        [&] { view->LoadFrame(0); },
        [&] { view->SetVisible(1, 0, 0); },
        [&] { view->SetColorRange(2); },
        [&] { view->SetColorSpace(cs); },
        [&] { view->SetGamma(1.0f); },
        [&] { view->SetRect(0.1f, -0.1f, 0.2f, -0.2f); },
    };
    // Each repainting setter is seen to paint exactly once by the same flush
    // that then shows the other two not painting at all.
    view_test::FlushEvents();
    for (size_t i = 0; i < repainting.size(); i++) {
        const int before = paints;
        repainting[i]();
        view_test::FlushEvents();
        EXPECT_EQ(before + 1, paints) << "setter " << i;
    }
    const int before = paints;
    view->SetMode(YUV_SHOW_MODE_RECT);
    view->SetLimitRect();
    view_test::FlushEvents();
    EXPECT_EQ(before, paints);
}

TEST_F(YUVShowViewTest, LoadFrameTakesByteOffsetsAndKeepsThePictureOnFailure)
{
    const int w = 32;
    const int h = 18;
    std::vector<uint8_t> frames = view_test::Frame420(w, h, [](int, int) { return 30; }, 128, 128);
    const std::vector<uint8_t> second = view_test::Frame420(w, h, [](int, int) { return 200; }, 128, 128);
    frames.insert(frames.end(), second.begin(), second.end());
    Open(frames, w, h, "I420");
    const long frameLength = w * h * 3 / 2;
    EXPECT_NEAR(30, Grab().pixelColor(400, 400).red(), 1);
    EXPECT_EQ(0, view->LoadFrame(frameLength));
    EXPECT_NEAR(200, Grab().pixelColor(400, 400).red(), 1);
    // Not the start of a frame, then past the end: the last picture stays.
    view->LoadFrame(1);
    EXPECT_NEAR(200, Grab().pixelColor(400, 400).red(), 1);
    view->LoadFrame(5 * frameLength);
    EXPECT_NEAR(200, Grab().pixelColor(400, 400).red(), 1);
    view->LoadFrame(0);
    EXPECT_NEAR(30, Grab().pixelColor(400, 400).red(), 1);
}

TEST_F(YUVShowViewTest, OddSizeFrameDrawsWithoutSkew)
{
    const int w = 13;
    const int h = 7;
    auto luma = [](int x, int y) { return 16 + 15 * x + 2 * y; };
    Open(view_test::Frame420(w, h, luma, 128, 128), w, h, "I420");
    view->SetColorRange(2);
    const QImage image = Grab();
    // 800 x 430, rows 185 .. 615.
    ASSERT_EQ(185, edges.top);
    ASSERT_EQ(615, edges.bottom);
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w; x++) {
            const int expected = static_cast<int>(std::lround((luma(x, y) - 16) / 219.0 * 255));
            const QColor got = image.pixelColor(static_cast<int>((x + 0.5) * 800 / w),
                                                static_cast<int>(185 + (y + 0.5) * 430 / h));
            EXPECT_NEAR(expected, got.red(), 2) << "sample " << x << ", " << y;
        }
    }
}

TEST_F(YUVShowViewTest, OddSizeFullHdFrameDrawsWithoutSkew)
{
    const int w = 1919;
    const int h = 1079;
    // Vertical stripes 128 samples wide: any row skew would shear them.
    auto luma = [](int x, int) { return (x / 128) % 2 == 0 ? 40 : 200; };
    Open(view_test::Frame420(w, h, luma, 128, 128), w, h, "I420");
    view->SetColorRange(2);
    const QImage image = Grab();
    ASSERT_EQ(175, edges.top);
    ASSERT_EQ(624, edges.bottom);
    for (int stripe = 0; stripe < 15; stripe++) {
        const int x = std::min(stripe * 128 + 64, w - 1);
        const int expected = luma(x, 0) == 40 ? 28 : 214;
        for (int y : {5, 300, 540, 800, 1075}) {
            const QColor got = image.pixelColor(static_cast<int>((x + 0.5) * 800 / w),
                                                static_cast<int>(175.5 + (y + 0.5) * 449 / h));
            EXPECT_NEAR(expected, got.red(), 2) << "stripe " << stripe << " row " << y;
        }
    }
}

TEST(YUVShowViewUnpainted, AFrameChosenBeforeTheFirstPaintIsTheOneShown)
{
    lumo_test::TempDir dir;
    const std::string path = dir.File("two.yuv");
    view_test::WriteFile(path, view_test::Frame420(16, 8, [](int, int) { return 40; }, 128, 128));
    view_test::WriteFile(path, view_test::Frame420(16, 8, [](int, int) { return 200; }, 128, 128));
    YUVShowView view(QString::fromStdString(path), 16, 8, view_test::Layout("I420"));
    view.LoadFrame(16 * 8 * 3 / 2);
    view.resize(200, 200);
    ASSERT_TRUE(view_test::ShowAndExpose(view));
    const QImage image = view.grabFramebuffer();
    EXPECT_EQ(16 * 8 * 3 / 2, view.GetFrameOffset());
    EXPECT_NEAR(200, image.pixelColor(image.width() / 2, image.height() / 2).red(), 1);
}

TEST(YUVShowViewUnpainted, PointerBeforeTheFirstPaintDividesByZero)
{
    YUVShowView view("/nonexistent.yuv", 16, 16, view_test::Layout("I420"));
    std::vector<Rect> rects;
    QObject::connect(&view, &YUVShowView::updateRect,
                     [&](float x0, float y0, float x1, float y1) { rects.push_back({x0, y0, x1, y1}); });
    view.SetMode(YUV_SHOW_MODE_RECT);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(10, 10), QPointF(10, 10), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&view, &press);
    QMouseEvent atZero(QEvent::MouseMove, QPointF(0, 0), QPointF(0, 0), Qt::NoButton, Qt::LeftButton,
                       Qt::NoModifier);
    QApplication::sendEvent(&view, &atZero);
    ASSERT_EQ(2u, rects.size());
    // x / 0 clamps to a bound, 0 / 0 stays NaN.
    EXPECT_FLOAT_EQ(1.0f, rects[0].x0);
    EXPECT_FLOAT_EQ(-1.0f, rects[0].y0);
    EXPECT_TRUE(std::isnan(rects[1].x1));
    EXPECT_TRUE(std::isnan(rects[1].y1));
}

namespace {

// 16 x 8 I420 frames are 192 bytes long.
constexpr long kSmallFrame = 16 * 8 * 3 / 2;

enum class FileKind { None, Short, OneFrame, Directory, Fifo };

struct UnreadableCase {
    const char* name;
    FileKind file;
    int width;
    int height;
    const char* layout; // null: a layout the library does not know
    int frame;
    const char* shown;
};

void PrintTo(const UnreadableCase& c, std::ostream* out)
{
    *out << c.name;
}

const UnreadableCase kUnreadable[] = {
    {"Missing", FileKind::None, 16, 8, "I420", 0, "Cannot read frame 0: the file is missing"},
    {"ShorterThanOneFrame", FileKind::Short, 16, 8, "I420", 0, "Cannot read frame 0: the file is shorter than one frame"},
    {"PastTheEnd", FileKind::OneFrame, 16, 8, "I420", 3, "Cannot read frame 3: the file ends before it"},
    {"ADirectory", FileKind::Directory, 16, 8, "I420", 0, "Cannot read frame 0: the file cannot be read"},
    {"AFifo", FileKind::Fifo, 16, 8, "I420", 0, "Cannot read frame 0: the file cannot be read"},
    {"UnknownLayout", FileKind::OneFrame, 16, 8, nullptr, 0,
     "Cannot read frame 0: the layout or the frame size is not valid"},
    {"ZeroWidth", FileKind::OneFrame, 0, 8, "I420", 0, "Cannot read frame 0: the layout or the frame size is not valid"},
    {"NegativeHeight", FileKind::OneFrame, 16, -8, "I420", 0,
     "Cannot read frame 0: the layout or the frame size is not valid"},
};

bool IsFailureBackground(const QColor& c)
{
    return c.red() == 45 && c.green() == 45 && c.blue() == 45;
}

class YUVShowViewUnreadableTest : public ::testing::TestWithParam<UnreadableCase> {
protected:
    // Where the case's file is, made as the case says.
    std::string MakeFile(FileKind kind)
    {
        const std::string path = dir.File("frames.yuv");
        switch (kind) {
        case FileKind::None:
            break;
        case FileKind::Short:
            view_test::WriteFile(path, std::vector<uint8_t>(100, 80));
            break;
        case FileKind::OneFrame:
            view_test::WriteFile(path, view_test::Frame420(16, 8, [](int, int) { return 200; }, 128, 128));
            break;
        case FileKind::Directory:
            std::filesystem::create_directory(path);
            break;
        case FileKind::Fifo:
            EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
            break;
        }
        return path;
    }

    lumo_test::TempDir dir;
};

} // namespace

TEST_P(YUVShowViewUnreadableTest, SaysWhyTheFrameCannotBeReadOverADarkBackground)
{
    const UnreadableCase& c = GetParam();
    const lumo::YUVType type = c.layout != nullptr ? view_test::Layout(c.layout) : lumo::YUVType();
    YUVShowView view(QString::fromStdString(MakeFile(c.file)), c.width, c.height, type);
    view.LoadFrame(c.frame * kSmallFrame);
    view.resize(400, 300);
    ASSERT_TRUE(view_test::ShowAndExpose(view));
    const QImage image = view.grabFramebuffer();
    if (std::string(c.name) == "ShorterThanOneFrame") {
        // For a person to look at.
        image.save(LUMO_BINARY_DIR "/frame-view-unreadable.png");
    }
    EXPECT_EQ(c.shown, view.GetReadFailure().toStdString());
    EXPECT_TRUE(IsFailureBackground(image.pixelColor(2, 2)));
    EXPECT_TRUE(IsFailureBackground(image.pixelColor(image.width() - 3, image.height() - 3)));
    // The text: light pixels across the middle band, none at the top.
    int light = 0;
    for (int y = 0; y < image.height(); y++) {
        for (int x = 0; x < image.width(); x++) {
            if (image.pixelColor(x, y).red() > 150) {
                EXPECT_GT(y, image.height() / 4) << x << ", " << y;
                EXPECT_LT(y, image.height() * 3 / 4) << x << ", " << y;
                light++;
            }
        }
    }
    EXPECT_GT(light, 100);
}

INSTANTIATE_TEST_SUITE_P(Reasons, YUVShowViewUnreadableTest, ::testing::ValuesIn(kUnreadable),
                         [](const ::testing::TestParamInfo<UnreadableCase>& info) { return info.param.name; });

TEST(YUVShowViewUnreadable, EachReasonIsWrittenToTheDebugStreamOnce)
{
    lumo_test::TempDir dir;
    // A place-holder-like name stays as it is.
    const std::string path = dir.File("later%2.yuv");
    YUVShowView view(QString::fromStdString(path), 16, 8, view_test::Layout("I420"));
    view.resize(200, 200);
    analysis_test::DebugCapture debug;
    ASSERT_TRUE(view_test::ShowAndExpose(view));
    for (int paint = 0; paint < 5; paint++) {
        view.LoadFrame(0);
        view.grabFramebuffer();
    }
    view_test::WriteFile(path, std::vector<uint8_t>(100, 80));
    for (int paint = 0; paint < 5; paint++) {
        view.grabFramebuffer();
    }
    const QStringList lines = debug.Lines().filter("YUVShowView:");
    ASSERT_EQ(2, lines.size()) << lines.join("\n").toStdString();
    EXPECT_EQ(QString::fromStdString("YUVShowView: " + path + " at byte 0: the file is missing"), lines[0]);
    EXPECT_TRUE(lines[1].endsWith(": the file is shorter than one frame")) << lines[1].toStdString();
}

TEST(YUVShowViewUnreadable, TheFrameReplacesTheMessageOnceItCanBeReadAndStaysAfter)
{
    lumo_test::TempDir dir;
    const std::string path = dir.File("later.yuv");
    YUVShowView view(QString::fromStdString(path), 16, 8, view_test::Layout("I420"));
    view.resize(200, 200);
    ASSERT_TRUE(view_test::ShowAndExpose(view));
    EXPECT_TRUE(IsFailureBackground(view.grabFramebuffer().pixelColor(2, 2)));
    view_test::WriteFile(path, view_test::Frame420(16, 8, [](int, int) { return 200; }, 128, 128));
    view.LoadFrame(0);
    QImage image = view.grabFramebuffer();
    EXPECT_EQ("", view.GetReadFailure().toStdString());
    EXPECT_NEAR(200, image.pixelColor(100, 100).red(), 1);
    // The 2:1 frame leaves the white background above and below it.
    EXPECT_TRUE(IsWhite(image.pixelColor(100, 2)));
    std::filesystem::remove(path);
    view.LoadFrame(0);
    image = view.grabFramebuffer();
    EXPECT_EQ("", view.GetReadFailure().toStdString());
    EXPECT_NEAR(200, image.pixelColor(100, 100).red(), 1);
}
