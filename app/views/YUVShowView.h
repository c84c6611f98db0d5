#ifndef LUMO_VIEWS_YUVSHOWVIEW_H
#define LUMO_VIEWS_YUVSHOWVIEW_H

#include "views/YUVShowMode.h"

#include "KestColorSpace/KestColorSpace.h"
#include "KestMath/Eatrix.hpp"
#include "lumo/YUVType.h"

#include <QOpenGLFunctions_3_3_Core>
#include <QOpenGLWidget>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

namespace lumo {
class YUVReader;
}
namespace Kest {
class KestGLDraw;
class KestGLTexture;
class KestGLVAO;
} // namespace Kest

// Draws one frame of a raw YUV file: YUV to RGB in the fragment shader with a
// colour matrix, a range and a gamma; wheel zoom, drag to pan or to draw a
// region-of-interest rectangle; optional single-channel previews. After each
// paint it reports where the frame lies on screen, for the rulers.
//
// Until it has drawn a frame, a view whose frame cannot be read says so and
// why over a dark background instead; a frame that cannot be read after one
// was drawn leaves that picture in place. Each reason for a failed read is
// written to the debug stream once, however often playback asks again.
//
// Its GL objects live in the widget's context, which Qt replaces whenever
// the view moves to another window: they are released while the old context
// is about to be destroyed and made again in the next initializeGL, keeping
// the frame, zoom, pan and rectangle. Every GL call goes through the OpenGL
// 3.3 core function table of the context of the moment, which the context
// owns: a table of the widget's own would have to be initialised again for
// each new context, and Qt 5 keeps the old one's entries for good each time.
// Without the OpenGL 3.3 core functions the view logs why and draws nothing.
class YUVShowView : public QOpenGLWidget {
    Q_OBJECT

public:
    YUVShowView(QString path, int width, int height, lumo::YUVType type, QWidget* parent = nullptr);
    ~YUVShowView() override;

    // A byte position in the file (frame number x frame length), not a
    // frame number.
    int LoadFrame(long frameOffset);
    // Switches the Y, U and V previews on (non-zero) or off.
    int SetVisible(int y, int u, int v);
    // 1 full range, 2 video range.
    int SetColorRange(int range);
    int SetColorSpace(Kest::KestColorSpace& cs);
    int SetGamma(float gamma);
    // Frame-normalised corners (x 0..1 left to right, y 0..-1 top to
    // bottom), unordered and not clamped.
    int SetRect(float x0, float y0, float x1, float y1);
    // Clamps the rectangle to the frame; no repaint.
    int SetLimitRect();
    // No repaint: the mode applies from the next pointer event.
    int SetMode(YUVShowMode mode);
    YUVShowMode GetMode() const;

    // What the setters set, as it stands.
    long GetFrameOffset() const;
    void GetVisible(int& y, int& u, int& v) const;
    int GetColorRange() const;
    float GetGamma() const;
    Kest::Eatrix3x3<float> GetColorMat() const;
    void GetRect(float& x0, float& y0, float& x1, float& y1) const;
    // What the view shows instead of a frame while it has drawn none, as
    // "Cannot read frame N: <why>"; empty once a frame has been drawn.
    QString GetReadFailure() const;

signals:
    // The frame's edges in widget pixels (y down), after every paint that
    // draws.
    void updataRuler(int left, int right, int top, int bottom);
    // The rectangle after a pointer action in rectangle mode.
    void updateRect(float x0, float y0, float x1, float y1);

private slots:
    // The widget's context is going away (the view moves to another window,
    // or is destroyed): its GL objects go with it, released while it can
    // still be made current.
    void onContextAboutToBeDestroyed();

protected:
    void initializeGL() override;
    void resizeGL(int w, int h) override;
    void paintGL() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    bool event(QEvent* event) override;

private:
    // Deletes every GL object with the view's context current; nothing when
    // there are none.
    void ReleaseGL();
    void UploadFrame();
    // Why the frame could not be read, for the view and the debug stream.
    void NoteReadFailure(const lumo::YUVReader& reader, int status);
    void DrawReadFailure();
    // The Y, U and V textures on units 0, 1 and 2 as samplers "y", "u", "v".
    void BindPlanes(Kest::KestGLDraw& draw);
    void DrawRectangle(Kest::Eatrix4x4<float>& projection);
    void DrawSide(Kest::Eatrix4x4<float>& projection, float x0, float y0, float x1, float y1);
    void DrawPreviews();
    // A pointer position in frame-normalised coordinates of the last paint.
    float FrameX(int x) const;
    float FrameY(int y) const;
    void RectPointerMoved(QMouseEvent* event);
    void MovePointerMoved(QMouseEvent* event);

    // The context's function table; null while the view has no usable
    // context.
    QOpenGLFunctions_3_3_Core* gl;
    std::unique_ptr<Kest::KestGLDraw> frameDraw;
    std::unique_ptr<Kest::KestGLDraw> channelDraw;
    std::unique_ptr<Kest::KestGLDraw> lineDraw;
    std::unique_ptr<Kest::KestGLTexture> yTexture;
    std::unique_ptr<Kest::KestGLTexture> uTexture;
    std::unique_ptr<Kest::KestGLTexture> vTexture;
    std::unique_ptr<Kest::KestGLVAO> frameVao;
    std::unique_ptr<Kest::KestGLVAO> lineVao;
    float viewWidth;
    float viewHeight;
    float scale;
    int lastX;
    int lastY;
    int panX;
    int panY;
    QString path;
    int width;
    int height;
    lumo::YUVType type;
    int showY;
    int showU;
    int showV;
    int colorRange;
    float gamma;
    int64_t frameOffset;
    // Corners of the last paint in centred pixels, y up: x0, y0 (top-left),
    // x1, y1 (bottom-right).
    float frameRect[4];
    float roiRect[4];
    YUVShowMode mode;
    Kest::Eatrix3x3<float> colorMat;
    // Whether the textures hold a frame read from the file.
    bool frameShown;
    QString readFailure;
    // The reasons already written to the debug stream.
    QStringList loggedFailures;
};

#endif
