#ifndef LUMO_ANALYSIS_VIDEOTIMELINE_H
#define LUMO_ANALYSIS_VIDEOTIMELINE_H

#include "core/KestLRUMap.h"
#include "lumo/YUVReader.h"

#include <QImage>
#include <QWidget>

class SnapshotThread;

// An 80-pixel-high strip of 50-pixel cells, one per frame, with the frame's
// number and its thumbnail, the active frame highlighted. Dragging scrolls
// it (without bounds), a double-click selects a frame (without a range
// check: the receiver decides). Thumbnails come from a SnapshotThread into a
// cache of 100; frames of 1280 pixels or more in either direction get one
// every fifth frame only.
class VideoTimeLine : public QWidget {
    Q_OBJECT

public:
    VideoTimeLine(lumo::YUVReader& reader, QWidget* parent = nullptr);
    // Stops the thumbnail worker before the cache it fills goes away.
    ~VideoTimeLine() override;

    // Highlights a frame; a non-zero scroll also puts the frame before it at
    // the left edge. Returns 0.
    int SetActiveFrameIndex(int index, int scroll);
    // Stops the thumbnail worker; the cache and the waiting requests stay,
    // and the next paint starts the worker again.
    void ClearCache();

    int GetActiveFrameIndex() const;
    int GetOffset() const;
    SnapshotThread* GetSnapshotThread() const;
    Kest::KestLRUMap<int, QImage>& GetCache();

signals:
    // A double-clicked frame, with 1 for "analyse it".
    void onSelectFrame(int frame, int analyse);

public slots:
    void GetImageSuccess();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    lumo::YUVReader reader;
    int cellWidth;
    int pressed;
    int lastX;
    int lastY;
    int offset;
    Kest::KestLRUMap<int, QImage> cache;
    int activeFrame;
    SnapshotThread* snapshotThread;
};

#endif
