#include "workers/OpenFileConvThread.h"

#include "KestAV/KestAVDecoder.h"
#include "KestAV/KestAVReader.h"
#include "core/KestSanitizerJoin.h"
#include "core/KestTime.h"
#include "lumo/YUVType.h"

#include <QByteArray>
#include <QDebug>

#include <cstddef>

#include <sys/stat.h>

namespace {

// One fwrite per row and plane: the decoder's row padding is never written,
// and odd sizes lose their last chroma column and row. False when a write
// fell short (a full disk, a file size limit).
bool WritePicture(Kest::KestAVFrame& frame, FILE* file)
{
    const int width = frame.GetWidth();
    const int height = frame.GetHeight();
    const int planeWidth[3] = {width, width / 2, width / 2};
    const int planeHeight[3] = {height, height / 2, height / 2};
    for (int plane = 0; plane < 3; plane++) {
        const unsigned char* data = frame.GetData(plane);
        const ptrdiff_t stride = frame.GetLineSize(plane);
        const size_t rowBytes = static_cast<size_t>(planeWidth[plane]);
        for (int row = 0; row < planeHeight[plane]; row++) {
            if (fwrite(data + row * stride, 1, rowBytes, file) != rowBytes) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

OpenFileConvThread::OutputFile::~OutputFile()
{
    if (file != nullptr) {
        fclose(file);
    }
}

bool OpenFileConvThread::OutputFile::Open(const QByteArray& path)
{
    this->path = path;
    file = fopen(path.constData(), "wb");
    if (file == nullptr) {
        return false;
    }
    struct stat st;
    regular = fstat(fileno(file), &st) == 0 && S_ISREG(st.st_mode);
    return true;
}

bool OpenFileConvThread::OutputFile::Close()
{
    FILE* closing = file;
    file = nullptr;
    return closing == nullptr || fclose(closing) == 0;
}

void OpenFileConvThread::OutputFile::Discard()
{
    Close();
    // Only a file of our own making goes: an output such as /dev/full stays.
    if (regular) {
        remove(path.constData());
    }
}

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
            return ERROR_FORMAT;
        }
        if (!WritePicture(frame, output.file)) {
            return ERROR_WRITE;
        }
    }
}

OpenFileConvThread::~OpenFileConvThread()
{
    wait();
    Kest::KestMarkJoined(this);
}

void OpenFileConvThread::run()
{
    Convert();
    Kest::KestMarkWorkDone(this);
}

void OpenFileConvThread::Convert()
{
    const QByteArray pathBytes = path.toUtf8();
    Kest::KestAVReader reader(Kest::KestString(pathBytes.constData()));
    if (reader.Open() != 0) {
        emit OnError(ERROR_OPEN);
        return;
    }
    if (reader.GetStreamCount() < 1) {
        emit OnError(ERROR_NO_STREAMS);
        return;
    }
    const int videoIndex = reader.GetVideoStreamIndex();
    if (videoIndex < 0) {
        emit OnError(ERROR_NO_VIDEO);
        return;
    }
    Kest::KestAVStream stream;
    reader.GetStream(stream, videoIndex);
    Kest::KestAVDecoder decoder;
    if (decoder.Init(&stream) != 0) {
        emit OnError(ERROR_DECODER);
        return;
    }

    const double duration = stream.GetDuration();
    qDebug() << "OpenFileConvThread: video duration" << duration << "s";
    emit OnStart(duration);

    OutputFile file;
    if (!file.Open(yuvPath.toUtf8())) {
        emit OnError(ERROR_CREATE);
        return;
    }
    Output output{stream.timeBase, duration, file.file, 0, 0};

    int result = 0;
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
        result = ReceivePictures(decoder, output, true);
        if (result != 0) {
            break;
        }
    }
    if (result == 0) {
        decoder.SendPacket(nullptr);
        result = ReceivePictures(decoder, output, false);
    }
    // Complete on disk before anyone hears of it: the last buffered bytes
    // can still fail to be written when the file is closed.
    if (result == 0 && !file.Close()) {
        result = ERROR_WRITE;
    }
    if (result == ERROR_WRITE) {
        file.Discard();
        emit OnError(ERROR_WRITE);
        return;
    }
    if (result != 0) {
        // The pictures written before the one in another format stay on disk.
        file.Close();
        emit OnError(result);
        return;
    }
    reader.Close();
    emit OnFinish(yuvPath, QString::fromStdString(lumo::YUVType::YUV_TYPE_I420.idName), output.width,
                  output.height);
}
