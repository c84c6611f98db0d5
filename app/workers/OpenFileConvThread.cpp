#include "workers/OpenFileConvThread.h"

#include "KestAV/KestAVDecoder.h"
#include "KestAV/KestAVReader.h"
#include "core/KestTime.h"
#include "lumo/YUVType.h"

#include <QByteArray>
#include <QDebug>

#include <cstddef>
#include <memory>

namespace {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

// One fwrite per row and plane: the decoder's row padding is never written,
// and odd sizes lose their last chroma column and row.
void WritePicture(Kest::KestAVFrame& frame, FILE* file)
{
    const int width = frame.GetWidth();
    const int height = frame.GetHeight();
    const int planeWidth[3] = {width, width / 2, width / 2};
    const int planeHeight[3] = {height, height / 2, height / 2};
    for (int plane = 0; plane < 3; plane++) {
        const unsigned char* data = frame.GetData(plane);
        const ptrdiff_t stride = frame.GetLineSize(plane);
        for (int row = 0; row < planeHeight[plane]; row++) {
            fwrite(data + row * stride, 1, planeWidth[plane], file);
        }
    }
}

} // namespace

OpenFileConvThread::OpenFileConvThread(QString path, QString yuvPath, QObject* parent)
    : QThread(parent), path(path), yuvPath(yuvPath)
{
}

float OpenFileConvThread::PictureProgress(int64_t pts, const Kest::KestAVRational& timeBase, double duration)
{
    const double seconds =
        static_cast<double>(timeBase.num) * static_cast<double>(pts) / static_cast<double>(timeBase.den);
    float progress = static_cast<float>(seconds / duration);
    // Written so that NaN fails both tests and passes through.
    if (0.0 >= progress) {
        progress = 0.0f;
    } else if (progress >= 1.0) {
        progress = 1.0f;
    }
    return progress;
}

void OpenFileConvThread::PauseBeforeProgress()
{
    Kest::KestTime::KestSleepMilliseconds(1);
}

int OpenFileConvThread::ReceivePictures(Kest::KestAVDecoder& decoder, Output& output, bool pause)
{
    for (;;) {
        Kest::KestAVFrame frame;
        if (decoder.RecvFrame(&frame) != 0) {
            return 0;
        }
        const float progress = PictureProgress(frame.GetPTS(), output.timeBase, output.duration);
        if (pause) {
            PauseBeforeProgress();
        }
        emit OnProgress(progress);
        output.width = frame.GetWidth();
        output.height = frame.GetHeight();
        const Kest::KestAVPixelFormat format = frame.GetPixFormat();
        if (format != Kest::PIX_YUV420P && format != Kest::PIX_YUVJ420P) {
            return -5;
        }
        WritePicture(frame, output.file);
    }
}

void OpenFileConvThread::run()
{
    const QByteArray pathBytes = path.toUtf8();
    Kest::KestAVReader reader(Kest::KestString(pathBytes.constData()));
    if (reader.Open() != 0) {
        emit OnError(-1);
        return;
    }
    if (reader.GetStreamCount() < 1) {
        emit OnError(-2);
        return;
    }
    const int videoIndex = reader.GetVideoStreamIndex();
    if (videoIndex < 0) {
        emit OnError(-3);
        return;
    }
    Kest::KestAVStream stream;
    reader.GetStream(stream, videoIndex);
    Kest::KestAVDecoder decoder;
    if (decoder.Init(&stream) != 0) {
        emit OnError(-4);
        return;
    }

    const double duration = stream.GetDuration();
    qDebug() << "OpenFileConvThread: video duration" << duration << "s";
    emit OnStart(duration);

    std::unique_ptr<FILE, FileCloser> file(fopen(yuvPath.toUtf8().constData(), "wb"));
    if (!file) {
        emit OnError(-6);
        return;
    }
    Output output{stream.timeBase, duration, file.get(), 0, 0};

    for (;;) {
        Kest::KestAVPacket packet;
        // A read error mid-file ends the input like the end of the file.
        if (reader.Read(&packet) != 0) {
            break;
        }
        if (packet.GetStreamId() != videoIndex) {
            continue;
        }
        decoder.SendPacket(&packet);
        if (ReceivePictures(decoder, output, true) != 0) {
            // The pictures written so far stay on disk.
            file.reset();
            emit OnError(-5);
            return;
        }
    }
    decoder.SendPacket(nullptr);
    if (ReceivePictures(decoder, output, false) != 0) {
        file.reset();
        emit OnError(-5);
        return;
    }

    // Complete on disk before anyone hears of it.
    file.reset();
    reader.Close();
    emit OnFinish(yuvPath, QString::fromStdString(lumo::YUVType::YUV_TYPE_I420.name), output.width,
                  output.height);
}
