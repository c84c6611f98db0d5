#ifndef LUMO_APP_OPENFILECONVTHREAD_H
#define LUMO_APP_OPENFILECONVTHREAD_H

#include "KestAV/KestAVRational.h"

#include <QByteArray>
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
// Codes -1 to -4 leave no output file. No OnFinish follows an error.
class OpenFileConvThread : public QThread {
    Q_OBJECT

public:
    // OnError codes.
    enum ErrorCode {
        // The file cannot be opened as media (missing, not media, or not a
        // regular file: a FIFO, a directory, a device).
        ERROR_OPEN = -1,
        ERROR_NO_STREAMS = -2,
        ERROR_NO_VIDEO = -3,
        // No decoder can be opened for the video stream.
        ERROR_DECODER = -4,
        // A picture is neither YUV420P nor YUVJ420P; the pictures written
        // before it stay on disk.
        ERROR_FORMAT = -5,
        // The output file cannot be created (after OnStart, before any
        // picture is decoded).
        ERROR_CREATE = -6,
        // Writing or closing the output failed (a full disk); the partial
        // output is removed.
        ERROR_WRITE = -7,
    };

    // yuvPath must not name an existing file the caller wants to keep: it is
    // truncated.
    OpenFileConvThread(QString path, QString yuvPath, QObject* parent = nullptr);
    // Waits for a conversion still running (its owner going away).
    ~OpenFileConvThread() override;

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
    // id name ("I420", what the layout registry looks names up by), and the
    // size of the last picture written (0 x 0 if none).
    void OnFinish(QString yuvPath, QString typeName, int width, int height);

protected:
    void run() override;
    // Runs before each progress signal of the main decoding loop, not of the
    // final drain: a 1 ms pause that keeps the queued signals from flooding
    // the user-interface thread.
    virtual void PauseBeforeProgress();

private:
    void Convert();
    // State of one conversion while pictures come out of the decoder.
    struct Output {
        Kest::KestAVRational timeBase;
        double duration;
        FILE* file;
        int width;
        int height;
    };

    // The raw output: knows whether it created a regular file, which alone
    // may be removed again after a failed write.
    struct OutputFile {
        OutputFile() = default;
        ~OutputFile();
        OutputFile(const OutputFile&) = delete;
        OutputFile& operator=(const OutputFile&) = delete;

        bool Open(const QByteArray& path);
        // False when the last buffered bytes could not be written.
        bool Close();
        // Closes and removes the file if it is a regular one.
        void Discard();

        QByteArray path;
        FILE* file = nullptr;
        bool regular = false;
    };

    // Receives and writes every picture the decoder has ready: ERROR_FORMAT
    // for a picture that is not 4:2:0, ERROR_WRITE when it could not be
    // written, else 0.
    int ReceivePictures(Kest::KestAVDecoder& decoder, Output& output, bool pause);

    QString path;
    QString yuvPath;
};

#endif
