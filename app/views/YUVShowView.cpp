#include "views/YUVShowView.h"

#include "views/YUVShader.h"

#include "KestGL/KestGLDraw.h"
#include "KestGL/KestGLTexture.h"
#include "KestGL/KestGLVAO.h"
#include "lumo/YUVReader.h"

#include <QDebug>
#include <QFileInfo>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLPaintDevice>
#include <QPainter>
#include <QSurfaceFormat>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <cstdlib>

using Kest::Eatrix;
using Kest::Eatrix4x1;
using Kest::Eatrix4x4;
using Kest::KestGLDraw;
using Kest::KestGLTexture;
using Kest::KestGLVAO;

namespace {

// Fits the frame by its own aspect, not the view's: a wide frame takes the
// view's width and a tall one its height, so a wide frame in a wide, low view
// comes out taller than the view. The ratio stays in double precision so
// exact fits stay exact: 1920 x 1080 in 800 pixels is 450 rows, where the
// crop utility's single-precision ratio would lose one.
void FitFrame(int viewWidth, int viewHeight, int frameWidth, int frameHeight, int& fitWidth, int& fitHeight)
{
    const double ratio = static_cast<double>(frameWidth) / static_cast<double>(frameHeight);
    fitWidth = viewWidth;
    fitHeight = viewHeight;
    if (ratio > 1.0) {
        fitHeight = static_cast<int>(viewWidth / ratio);
    } else {
        fitWidth = static_cast<int>(viewHeight * ratio);
    }
}

// A 4x4 diagonal.
Eatrix4x4<float> Diagonal(float a, float b, float c, float d)
{
    Eatrix4x4<float> m;
    m(0, 0) = a;
    m(1, 1) = b;
    m(2, 2) = c;
    m(3, 3) = d;
    return m;
}

Eatrix4x4<float> Translation(float x, float y, float z)
{
    Eatrix4x4<float> m;
    m(0, 3) = x;
    m(1, 3) = y;
    m(2, 3) = z;
    return m;
}

Eatrix4x1<float> Point(float x, float y)
{
    Eatrix4x1<float> p;
    const float values[4] = {x, y, 0, 1};
    p.SetData(values, 4);
    return p;
}

// Vertical offsets of the Y, U and V previews before their 0.2 scale: they
// span y 0.6..1.0, 0.18..0.58 and -0.24..0.16.
const float kPreviewTy[3] = {4.0f, 1.9f, -0.2f};

// What is shown instead of a frame that cannot be read.
const QColor kFailureBackground(45, 45, 45);
const QColor kFailureText(230, 230, 230);

// Why the reader refused a frame, from its status.
QString WhyUnreadable(const lumo::YUVReader& reader, int status)
{
    switch (status) {
    case lumo::YUVReader::READ_ERROR_FILE:
        return QFileInfo::exists(QString::fromStdString(reader.path)) ? "the file cannot be read"
                                                                      : "the file is missing";
    case lumo::YUVReader::READ_ERROR_OFFSET:
        return reader.GetFrameCount() == 0 ? "the file is shorter than one frame" : "the file ends before it";
    case lumo::YUVReader::READ_ERROR_FORMAT:
        return "the layout or the frame size is not valid";
    case lumo::YUVReader::READ_ERROR_MEMORY:
        return "there is not enough memory for it";
    default:
        return "the file cannot be read";
    }
}

} // namespace

YUVShowView::YUVShowView(QString path, int width, int height, lumo::YUVType type, QWidget* parent)
    : QOpenGLWidget(parent),
      gl(nullptr),
      viewWidth(0),
      viewHeight(0),
      scale(1.0f),
      lastX(0),
      lastY(0),
      panX(0),
      panY(0),
      path(path),
      width(width),
      height(height),
      type(type),
      showY(0),
      showU(0),
      showV(0),
      colorRange(1),
      gamma(1.0f),
      frameOffset(0),
      frameRect{0, 0, 0, 0},
      roiRect{0, 0, 0, 0},
      mode(YUV_SHOW_MODE_MOVE),
      frameShown(false)
{
}

YUVShowView::~YUVShowView()
{
    // QOpenGLWidget's own destructor destroys the context after this one has
    // run: the slot must not be reached then.
    if (context() != nullptr) {
        disconnect(context(), nullptr, this, nullptr);
    }
    ReleaseGL();
}

void YUVShowView::onContextAboutToBeDestroyed()
{
    ReleaseGL();
}

void YUVShowView::ReleaseGL()
{
    if (!frameDraw && !channelDraw && !lineDraw && !yTexture && !uTexture && !vTexture && !frameVao && !lineVao) {
        return;
    }
    // The wrappers delete their names in the current context: it must be the
    // one they were made in.
    makeCurrent();
    frameDraw.reset();
    channelDraw.reset();
    lineDraw.reset();
    yTexture.reset();
    uTexture.reset();
    vTexture.reset();
    frameVao.reset();
    lineVao.reset();
    doneCurrent();
    // The table goes with the context.
    gl = nullptr;
    frameShown = false;
}

int YUVShowView::LoadFrame(long frameOffset)
{
    this->frameOffset = frameOffset;
    update();
    return 0;
}

int YUVShowView::SetVisible(int y, int u, int v)
{
    showY = y;
    showU = u;
    showV = v;
    update();
    return 0;
}

int YUVShowView::SetColorRange(int range)
{
    colorRange = range;
    update();
    return 0;
}

int YUVShowView::SetColorSpace(Kest::KestColorSpace& cs)
{
    cs.GetMat(colorMat);
    update();
    return 0;
}

int YUVShowView::SetGamma(float gamma)
{
    this->gamma = gamma;
    update();
    return 0;
}

int YUVShowView::SetRect(float x0, float y0, float x1, float y1)
{
    roiRect[0] = x0;
    roiRect[1] = y0;
    roiRect[2] = x1;
    roiRect[3] = y1;
    update();
    return 0;
}

int YUVShowView::SetLimitRect()
{
    roiRect[0] = std::clamp(roiRect[0], 0.0f, 1.0f);
    roiRect[1] = std::clamp(roiRect[1], -1.0f, 0.0f);
    roiRect[2] = std::clamp(roiRect[2], 0.0f, 1.0f);
    roiRect[3] = std::clamp(roiRect[3], -1.0f, 0.0f);
    return 0;
}

int YUVShowView::SetMode(YUVShowMode mode)
{
    this->mode = mode;
    return 0;
}

YUVShowMode YUVShowView::GetMode() const
{
    return mode;
}

long YUVShowView::GetFrameOffset() const
{
    return static_cast<long>(frameOffset);
}

void YUVShowView::GetVisible(int& y, int& u, int& v) const
{
    y = showY;
    u = showU;
    v = showV;
}

int YUVShowView::GetColorRange() const
{
    return colorRange;
}

float YUVShowView::GetGamma() const
{
    return gamma;
}

Kest::Eatrix3x3<float> YUVShowView::GetColorMat() const
{
    return colorMat;
}

void YUVShowView::GetRect(float& x0, float& y0, float& x1, float& y1) const
{
    x0 = roiRect[0];
    y0 = roiRect[1];
    x1 = roiRect[2];
    y1 = roiRect[3];
}

QString YUVShowView::GetReadFailure() const
{
    return frameShown ? QString() : readFailure;
}

void YUVShowView::initializeGL()
{
    gl = context()->versionFunctions<QOpenGLFunctions_3_3_Core>();
    if (gl == nullptr || !gl->initializeOpenGLFunctions()) {
        gl = nullptr;
        const QSurfaceFormat format = context()->format();
        qDebug().noquote() << QString("YUVShowView: OpenGL %1.%2 %3 has no OpenGL 3.3 core functions; "
                                      "the frame view draws nothing")
                                  .arg(format.majorVersion())
                                  .arg(format.minorVersion())
                                  .arg(format.profile() == QSurfaceFormat::CoreProfile ? "core" : "compatibility");
        return;
    }
    connect(context(), SIGNAL(aboutToBeDestroyed()), this, SLOT(onContextAboutToBeDestroyed()));
    // Qt initialises a widget that moves into a shown window without a
    // resizeGL: take the size it has now, not the one of its last window.
    viewWidth = static_cast<float>(QWidget::width());
    viewHeight = static_cast<float>(QWidget::height());
    gl->glEnable(GL_BLEND);
    gl->glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);

    yTexture = std::make_unique<KestGLTexture>(gl);
    uTexture = std::make_unique<KestGLTexture>(gl);
    vTexture = std::make_unique<KestGLTexture>(gl);
    frameVao = std::make_unique<KestGLVAO>(gl);
    lineVao = std::make_unique<KestGLVAO>(gl);
    // The frame asked for so far, the first one unless a caller chose
    // another before the view was first shown (or before it moved here).
    LoadFrame(static_cast<long>(frameOffset));

    float positions[] = {1, 1, 0, 1, -1, 0, -1, -1, 0, -1, 1, 0};
    float texCoords[] = {1, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0};
    unsigned int indices[] = {0, 1, 3, 1, 2, 3};
    frameVao->AddVBO(positions, sizeof(positions), 0, 3, 0);
    frameVao->AddVBO(texCoords, sizeof(texCoords), 1, 3, 0);
    frameVao->SetEBO(indices, sizeof(indices));

    frameDraw = std::make_unique<KestGLDraw>(YUVShader::YUV_RENDER_VERTEX_SHADER,
                                             YUVShader::YUV_RENDER_FRAGMENT_SHADER, gl);
    frameDraw->SetVAO(frameVao.get());
    channelDraw = std::make_unique<KestGLDraw>(YUVShader::YUV_SINGLE_CHANNEL_RENDER_VERTEX_SHADER,
                                               YUVShader::YUV_SINGLE_CHANNEL_RENDER_FRAGMENT_SHADER, gl);
    channelDraw->SetVAO(frameVao.get());
    lineDraw = std::make_unique<KestGLDraw>(YUVShader::LINE_RENDER_VERTEX_SHADER,
                                            YUVShader::LINE_RENDER_FRAGMENT_SHADER, gl);
    lineDraw->SetVAO(lineVao.get());
    frameDraw->Init();
    channelDraw->Init();
    lineDraw->Init();

    gl->glClearColor(1.0f, 1.0f, 1.0f, 1.0f);
}

void YUVShowView::resizeGL(int w, int h)
{
    viewWidth = static_cast<float>(w);
    viewHeight = static_cast<float>(h);
}

void YUVShowView::paintGL()
{
    if (!frameDraw) {
        return;
    }
    gl->glClear(GL_COLOR_BUFFER_BIT);
    UploadFrame();
    if (!frameShown) {
        DrawReadFailure();
        return;
    }

    const float w = viewWidth;
    const float h = viewHeight;
    // Orthographic over centred pixels: left -w/2, right w/2, bottom -h/2,
    // top h/2, near -100, far 100.
    Eatrix4x4<float> projection = Diagonal(2 / w, 2 / h, -0.01f, 1);

    int fitWidth = 0;
    int fitHeight = 0;
    FitFrame(static_cast<int>(w), static_cast<int>(h), width, height, fitWidth, fitHeight);
    Eatrix4x4<float> scaling = Diagonal(fitWidth * 0.5f * scale, fitHeight * 0.5f * scale, 1, 1);
    Eatrix4x4<float> moving = Translation(static_cast<float>(panX), static_cast<float>(-panY), 0);
    // Scaled about the frame's centre, then placed at the pan offset.
    Eatrix4x4<float> frameMatrix = projection * moving * scaling;

    const Eatrix<float> topLeft = frameMatrix * Point(-1, 1);
    const Eatrix<float> bottomRight = frameMatrix * Point(1, -1);
    // Edges in widget pixels with y down, truncated toward zero.
    const int left = static_cast<int>(w / 2 + topLeft(0, 0) * w / 2);
    const int right = static_cast<int>(w / 2 + bottomRight(0, 0) * w / 2);
    const int top = static_cast<int>(h / 2 - topLeft(1, 0) * h / 2);
    const int bottom = static_cast<int>(h / 2 - bottomRight(1, 0) * h / 2);
    emit updataRuler(left, right, top, bottom);

    frameDraw->PutMatrix4fv("yuvMatrix", frameMatrix);
    BindPlanes(*frameDraw);
    frameDraw->PutUniform1i("colorRange", colorRange);
    frameDraw->PutUniform1f("gamma", gamma);
    frameDraw->PutUniform1f("width", w);
    frameDraw->PutUniform1f("height", h);
    frameDraw->PutMatrix3fv("colorMat", colorMat);
    frameDraw->Draw(Kest::KEST_GL_DRAW_TRIANGLES);

    frameRect[0] = topLeft(0, 0) * w / 2;
    frameRect[1] = topLeft(1, 0) * h / 2;
    frameRect[2] = bottomRight(0, 0) * w / 2;
    frameRect[3] = bottomRight(1, 0) * h / 2;

    DrawRectangle(projection);
    DrawPreviews();
}

void YUVShowView::UploadFrame()
{
    // A fresh reader on every paint: the view holds no file state.
    lumo::YUVReader reader(path.toUtf8().toStdString(), width, height, type);
    int status = 0;
    unsigned char* frame = reader.ReadFrameYUV444(nullptr, &status, static_cast<long>(frameOffset));
    // A frame that cannot be read leaves the previous picture in place.
    if (frame != nullptr && status >= 0) {
        const long plane = static_cast<long>(width) * height;
        yTexture->SetDataRedChannel(frame, width, height);
        uTexture->SetDataRedChannel(frame + plane, width, height);
        vTexture->SetDataRedChannel(frame + 2 * plane, width, height);
        frameShown = true;
    } else {
        NoteReadFailure(reader, status);
    }
    free(frame);
}

void YUVShowView::NoteReadFailure(const lumo::YUVReader& reader, int status)
{
    const QString why = WhyUnreadable(reader, status);
    const int64_t length = reader.GetFrameLen();
    readFailure = QString("Cannot read frame %1: %2").arg(length > 0 ? frameOffset / length : 0).arg(why);
    // Each reason once: playback asks for a frame many times a second.
    if (!loggedFailures.contains(why)) {
        loggedFailures.append(why);
        qDebug().noquote() << QString("YUVShowView: %1 at byte %2: %3").arg(path, QString::number(frameOffset), why);
    }
}

void YUVShowView::DrawReadFailure()
{
    // Straight into the frame buffer being drawn: a painter on the widget
    // itself would follow a grab of its window elsewhere.
    QOpenGLPaintDevice device(size() * devicePixelRatioF());
    device.setDevicePixelRatio(devicePixelRatioF());
    QPainter painter(&device);
    painter.fillRect(rect(), kFailureBackground);
    painter.setPen(kFailureText);
    painter.drawText(rect().adjusted(12, 12, -12, -12), Qt::AlignCenter | Qt::TextWordWrap, readFailure);
    painter.end();
    // The painter leaves blending off and the frame's draws expect it on.
    gl->glEnable(GL_BLEND);
    gl->glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

void YUVShowView::BindPlanes(Kest::KestGLDraw& draw)
{
    draw.PutTexture("y", yTexture.get(), 0);
    draw.PutTexture("u", uTexture.get(), 1);
    draw.PutTexture("v", vTexture.get(), 2);
}

void YUVShowView::DrawRectangle(Eatrix4x4<float>& projection)
{
    const float frameWidth = std::fabs(frameRect[2] - frameRect[0]);
    const float frameHeight = std::fabs(frameRect[3] - frameRect[1]);
    const float x0 = frameRect[0] + roiRect[0] * frameWidth;
    const float y0 = frameRect[1] + roiRect[1] * frameHeight;
    const float x1 = frameRect[0] + roiRect[2] * frameWidth;
    const float y1 = frameRect[1] + roiRect[3] * frameHeight;
    DrawSide(projection, x0, y0, x1, y0);
    DrawSide(projection, x1, y0, x1, y1);
    DrawSide(projection, x1, y1, x0, y1);
    DrawSide(projection, x0, y1, x0, y0);
    // The sides' arrays are gone; leave the draw on the one it keeps.
    lineDraw->SetVAO(lineVao.get());
}

void YUVShowView::DrawSide(Eatrix4x4<float>& projection, float x0, float y0, float x1, float y1)
{
    // One short-lived vertex array per side.
    KestGLVAO side(gl);
    float ends[] = {x0, y0, 0, x1, y1, 0};
    unsigned int indices[] = {0, 1};
    side.AddVBO(ends, sizeof(ends), 0, 3, 0);
    side.AddVBO(ends, sizeof(ends), 1, 3, 0);
    side.SetEBO(indices, sizeof(indices));
    lineDraw->SetVAO(&side);
    lineDraw->PutMatrix4fv("mvp", projection);
    lineDraw->Draw(Kest::KEST_GL_DRAW_LINES);
}

void YUVShowView::DrawPreviews()
{
    // Each preview keeps the frame's aspect at 20 % of the view's height,
    // from the left edge.
    const float a = (static_cast<float>(width) / height) * (0.2f * viewHeight) / viewWidth;
    BindPlanes(*channelDraw);
    channelDraw->PutUniform1i("colorRange", colorRange);
    channelDraw->PutUniform1f("width", viewWidth);
    channelDraw->PutUniform1f("height", viewHeight);
    const int shown[3] = {showY, showU, showV};
    for (int channel = 0; channel < 3; channel++) {
        if (shown[channel] == 0) {
            continue;
        }
        Eatrix4x4<float> preview = Diagonal(a, 0.2f, 1, 1) * Translation(1 - 1 / a, kPreviewTy[channel], 0);
        channelDraw->PutMatrix4fv("yuvMatrix", preview);
        channelDraw->PutUniform1i("type", channel + 1);
        channelDraw->Draw(Kest::KEST_GL_DRAW_TRIANGLES);
    }
}

float YUVShowView::FrameX(int x) const
{
    return (x - viewWidth / 2 - frameRect[0]) / std::fabs(frameRect[2] - frameRect[0]);
}

float YUVShowView::FrameY(int y) const
{
    return (-(y - viewHeight / 2) - frameRect[1]) / std::fabs(frameRect[3] - frameRect[1]);
}

void YUVShowView::mousePressEvent(QMouseEvent* event)
{
    if (mode != YUV_SHOW_MODE_RECT) {
        return;
    }
    const float x = FrameX(qRound(event->localPos().x()));
    const float y = FrameY(qRound(event->localPos().y()));
    roiRect[0] = x;
    roiRect[2] = x;
    roiRect[1] = y;
    roiRect[3] = y;
    SetLimitRect();
    emit updateRect(roiRect[0], roiRect[1], roiRect[2], roiRect[3]);
    update();
}

void YUVShowView::mouseMoveEvent(QMouseEvent* event)
{
    if (mode == YUV_SHOW_MODE_RECT) {
        RectPointerMoved(event);
    } else {
        MovePointerMoved(event);
    }
}

void YUVShowView::mouseReleaseEvent(QMouseEvent* event)
{
    if (mode == YUV_SHOW_MODE_RECT) {
        RectPointerMoved(event);
        return;
    }
    lastX = 0;
    update();
}

void YUVShowView::RectPointerMoved(QMouseEvent* event)
{
    roiRect[2] = FrameX(qRound(event->localPos().x()));
    roiRect[3] = FrameY(qRound(event->localPos().y()));
    SetLimitRect();
    emit updateRect(roiRect[0], roiRect[1], roiRect[2], roiRect[3]);
    update();
}

void YUVShowView::MovePointerMoved(QMouseEvent* event)
{
    const int x = qRound(event->localPos().x());
    const int y = qRound(event->localPos().y());
    // last x == 0 marks "no previous point", so a pointer exactly at x = 0
    // restarts the drag.
    if (lastX != 0) {
        panX += x - lastX;
        panY += y - lastY;
    }
    lastX = x;
    lastY = y;
    update();
}

void YUVShowView::wheelEvent(QWheelEvent* event)
{
    // 0.012 per notch of 120, about the frame's centre, floored at 0.
    const double zoomed = scale + event->angleDelta().y() * 0.0001;
    scale = zoomed <= 0 ? 0.0f : static_cast<float>(zoomed);
    update();
}

bool YUVShowView::event(QEvent* event)
{
    return QOpenGLWidget::event(event);
}
