#ifndef LUMO_SHELL_YUVLISTITEM_H
#define LUMO_SHELL_YUVLISTITEM_H

#include "lumo/YUVReader.h"

#include <QList>
#include <QString>
#include <QWidget>

#include <atomic>
#include <memory>

class QImage;
class QLabel;
class QThread;
class Ui_YUVListItem;

// One opened file in the main window's list: its layout, frame count and
// path, its first frames (at most ten) as thumbnails 100 pixels high, and
// the buttons that open it for analysis and close it. It keeps the index
// its file had in the list when it was made; closing an earlier entry does
// not renumber it.
//
// The thumbnails are read on a thread of the entry's own, so that large
// files do not hold up the window: each has its place in the row at once
// and its picture once read. Frames too large to read sensibly for a
// thumbnail get a placeholder instead.
class YUVListItem : public QWidget {
    Q_OBJECT

public:
    explicit YUVListItem(int index, QWidget* parent = nullptr);
    // Stops the thumbnail thread, after the frame it is reading.
    ~YUVListItem() override;

    // Shows the file: 0, or -1 for an unknown layout (the entry stays
    // empty). The thumbnails follow as they are read.
    int SetYuvReader(lumo::YUVReader& reader);
    int SetPath(QString text);

    int GetIndex() const;
    QString GetPath() const;

signals:
    void OnItemCloseClick(int index, YUVListItem* item);

public slots:
    void onDetailClick();
    void onCloseClick();

private:
    // Reads the first count frames' thumbnails on the thumbnail thread.
    void StartThumbnails(int count);
    void StopThumbnails();
    // On the thumbnail thread: false once the entry is going away.
    bool WaitForReadTurn();
    // The picture of frame's place in the row; a frame that could not be
    // read (null image) loses its place.
    void ShowThumbnail(int frame, const QImage& image);

    Ui_YUVListItem* ui;
    int index;
    lumo::YUVReader reader;
    QString path;
    QList<QLabel*> thumbnails;
    std::unique_ptr<QThread> thumbnailThread;
    std::atomic<bool> stopThumbnails;
};

#endif
