#ifndef LUMO_TESTS_VIEWTESTSUPPORT_H
#define LUMO_TESTS_VIEWTESTSUPPORT_H

// Helpers of the frame view and ruler tests: synthetic YUV files, showing a
// widget on the X display, and a paint device that records what a painter
// is asked to draw.

#include "KestGL/KestGLSurfaceFormat.h"
#include "lumo/YUVType.h"
#include "lumo/YUVTypeInstance.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFont>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPicture>
#include <QSurfaceFormat>
#include <QTextItem>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace view_test {

struct Yuv {
    int y, u, v;
};

inline lumo::YUVType Layout(const char* idName)
{
    return lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(idName);
}

inline void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::app);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// One planar 4:4:4 frame whose sample at (x, y) is sample(x, y).
inline std::vector<uint8_t> Frame444(int w, int h, const std::function<Yuv(int, int)>& sample)
{
    std::vector<uint8_t> frame(3 * static_cast<size_t>(w) * h);
    const size_t plane = static_cast<size_t>(w) * h;
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w; x++) {
            const Yuv s = sample(x, y);
            const size_t at = static_cast<size_t>(y) * w + x;
            frame[at] = static_cast<uint8_t>(s.y);
            frame[plane + at] = static_cast<uint8_t>(s.u);
            frame[2 * plane + at] = static_cast<uint8_t>(s.v);
        }
    }
    return frame;
}

// One planar 4:2:0 frame: luma from luma(x, y), chroma constant.
inline std::vector<uint8_t> Frame420(int w, int h, const std::function<int(int, int)>& luma, int u, int v)
{
    const size_t chroma = static_cast<size_t>(w / 2) * (h / 2);
    std::vector<uint8_t> frame(static_cast<size_t>(w) * h + 2 * chroma);
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w; x++) {
            frame[static_cast<size_t>(y) * w + x] = static_cast<uint8_t>(luma(x, y));
        }
    }
    std::fill(frame.begin() + static_cast<long>(w) * h, frame.end() - static_cast<long>(chroma), u);
    std::fill(frame.end() - static_cast<long>(chroma), frame.end(), v);
    return frame;
}

// Runs the event loop until condition holds or the time is up.
inline bool WaitUntil(const std::function<bool()>& condition, int milliseconds = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > milliseconds) {
            return false;
        }
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

// Counts a signal's emissions as this thread receives them, queued: a
// worker thread may emit at any time, before a wait began included, without
// racing the test (QSignalSpy appends from the emitting thread and its wait
// misses what came before it).
template <typename Sender, typename Signal>
std::shared_ptr<int> CountQueued(Sender* sender, Signal signal)
{
    auto count = std::make_shared<int>(0);
    QObject::connect(sender, signal, qApp, [count] { ++*count; }, Qt::QueuedConnection);
    return count;
}

// Delivers every event posted so far, the update requests that widgets
// post for their repaints included, and whatever handling them posts in
// turn: after it, a repaint that was asked for has happened.
inline void FlushEvents()
{
    for (int round = 0; round < 3; round++) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
    }
}

// Sends a mouse event straight to the widget, the left button pressed or
// released as the type says and held during moves.
inline void SendMouse(QWidget& widget, QEvent::Type type, QPointF at)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, at, widget.mapToGlobal(at.toPoint()), button, held, Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
}

inline bool IsCore33(const QOpenGLContext* context)
{
    return context != nullptr && Kest::KestGLSurfaceFormat::IsCore33(context->format());
}

inline bool ShowAndExpose(QWidget& widget)
{
    widget.show();
    return WaitUntil([&] { return widget.windowHandle() != nullptr && widget.windowHandle()->isExposed(); });
}

// What a painter was asked to draw, in order.
struct Recording {
    struct Text {
        QPointF at;
        QString text;
        QFont font;
    };
    struct Image {
        QRectF target;
        QSize size;
    };
    std::vector<Text> texts;
    std::vector<QLineF> lines;
    // The pen of each line, in the same order.
    std::vector<QPen> linePens;
    std::vector<QRectF> rects;
    // The pen and brush of each rectangle, in the same order.
    std::vector<QPen> rectPens;
    std::vector<QBrush> rectBrushes;
    std::vector<Image> images;
    std::vector<QPolygonF> polygons;
    std::vector<QPainterPath> paths;
    std::vector<QPen> pathPens;
    std::vector<QBrush> pathBrushes;
    QPainter::RenderHints hints;
};

class RecordingEngine : public QPaintEngine {
public:
    explicit RecordingEngine(Recording& recording) : QPaintEngine(QPaintEngine::AllFeatures), recording(recording) {}
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState& state) override
    {
        if (state.state() & QPaintEngine::DirtyHints) {
            recording.hints = state.renderHints();
        }
        if (state.state() & QPaintEngine::DirtyPen) {
            pen = state.pen();
        }
        if (state.state() & QPaintEngine::DirtyBrush) {
            brush = state.brush();
        }
    }
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawImage(const QRectF& target, const QImage& image, const QRectF&, Qt::ImageConversionFlags) override
    {
        recording.images.push_back({target, image.size()});
    }
    void drawTextItem(const QPointF& p, const QTextItem& item) override
    {
        recording.texts.push_back({p, item.text(), item.font()});
    }
    void drawLines(const QLineF* lines, int count) override
    {
        recording.lines.insert(recording.lines.end(), lines, lines + count);
        recording.linePens.insert(recording.linePens.end(), static_cast<size_t>(count), pen);
    }
    void drawRects(const QRectF* rects, int count) override
    {
        recording.rects.insert(recording.rects.end(), rects, rects + count);
        recording.rectPens.insert(recording.rectPens.end(), static_cast<size_t>(count), pen);
        recording.rectBrushes.insert(recording.rectBrushes.end(), static_cast<size_t>(count), brush);
    }
    void drawPolygon(const QPointF* points, int count, PolygonDrawMode) override
    {
        recording.polygons.push_back(QPolygonF(QVector<QPointF>(points, points + count)));
    }
    void drawPath(const QPainterPath& path) override
    {
        recording.paths.push_back(path);
        recording.pathPens.push_back(pen);
        recording.pathBrushes.push_back(brush);
    }
    Type type() const override { return QPaintEngine::User; }

private:
    Recording& recording;
    QPen pen;
    QBrush brush;
};

class RecordingDevice : public QPaintDevice {
public:
    RecordingDevice(int width, int height) : engine(recording), width(width), height(height) {}
    QPaintEngine* paintEngine() const override { return &engine; }

    Recording recording;

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        switch (metric) {
        case PdmWidth:
            return width;
        case PdmHeight:
            return height;
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return 96;
        case PdmDepth:
            return 32;
        case PdmNumColors:
            return 0;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return static_cast<int>(devicePixelRatioFScale());
        case PdmWidthMM:
            return width * 254 / 960;
        case PdmHeightMM:
            return height * 254 / 960;
        default:
            return 0;
        }
    }

private:
    mutable RecordingEngine engine;
    int width;
    int height;
};

// What a widget's paint event asks a painter to draw: recorded into a
// picture (without the window background) and played back onto a
// recording device. Render hints and paths arrive as they were set (a
// widget rendered straight onto the device loses its hints), lines and
// rectangles come back as polygons.
inline Recording RecordPaint(QWidget& widget)
{
    QPicture picture;
    widget.render(&picture, QPoint(), QRegion(), QWidget::DrawChildren);
    RecordingDevice device(widget.width(), widget.height());
    QPainter painter(&device);
    picture.play(&painter);
    painter.end();
    return device.recording;
}

} // namespace view_test

#endif
