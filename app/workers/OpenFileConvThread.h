#ifndef LUMO_APP_OPENFILECONVTHREAD_H
#define LUMO_APP_OPENFILECONVTHREAD_H

#include "KestAV/KestAVRational.h"

#include <QString>
#include <QThread>

#include <cstdint>
#include <cstdio>

namespace Kest {
class KestAVDecoder;
}

// Converts the first-choice video stream of any media file FFmpeg can read
// into a raw I420 file: pictures back to back, no header, chroma planes of
// width / 2 by height / 2 rounded down, full-range pictures written as they
// are. Started once; it cannot be cancelled and reports only through its
// signals, which reach the user-interface thread queued.
//
// OnError codes:
//   -1  the file cannot be opened as media
//   -2  the container has no streams
//   -3  the container has no video stream
//   -4  no decoder can be opened for the video stream
//   -5  a picture is neither YUV420P nor YUVJ420P; the pictures written so
//       far stay on disk
//   -6  the output file cannot be created (after OnStart, before any
//       picture is decoded)
// Codes -1 to -4 leave no output file. No OnFinish follows an error.
class OpenFileConvThread : public QThread {
    Q_OBJECT

public:
    // yuvPath must not name an existing file the caller wants to keep: it is
    // truncated.
    OpenFileConvThread(QString path, QString yuvPath, QObject* parent = nullptr);

    // The progress of a picture at pts: pts in seconds over duration, narrowed
    // to float and clamped to 0..1. NaN (pts 0 of a stream of duration 0)
    // passes through.
    static float PictureProgress(int64_t pts, const Kest::KestAVRational& timeBase, double duration);

signals:
    // The video stream's own duration in seconds, once, before reading.
    void OnStart(double duration);
    // Once per decoded picture.
    void OnProgress(float progress);
    void OnError(int code);
    // After the last picture: the output path as given, the I420 layout's
    // name, and the size of the last picture written (0 x 0 if none).
    void OnFinish(QString yuvPath, QString typeName, int width, int height);

protected:
    void run() override;
    // Runs before each progress signal of the main decoding loop, not of the
    // final drain: a 1 ms pause that keeps the queued signals from flooding
    // the user-interface thread.
    virtual void PauseBeforeProgress();

private:
    // State of one conversion while pictures come out of the decoder.
    struct Output {
        Kest::KestAVRational timeBase;
        double duration;
        FILE* file;
        int width;
        int height;
    };

    // Receives and writes every picture the decoder has ready; -5 for a
    // picture in a format that is not 4:2:0, else 0.
    int ReceivePictures(Kest::KestAVDecoder& decoder, Output& output, bool pause);

    QString path;
    QString yuvPath;
};

#endif
