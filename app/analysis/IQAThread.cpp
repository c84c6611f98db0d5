#include "analysis/IQAThread.h"

#include "lumo/YUVReader.h"

#include <QDebug>
#include <QThread>

#include <cstdlib>
#include <cstring>

namespace {

// A copy of a 4:2:0 frame, or null.
unsigned char* Copy420(const unsigned char* frame, int width, int height)
{
    if (frame == nullptr || width <= 0 || height <= 0) {
        return nullptr;
    }
    const size_t bytes = static_cast<size_t>(width) * static_cast<size_t>(height) +
                         2 * static_cast<size_t>(width / 2) * static_cast<size_t>(height / 2);
    auto* copy = static_cast<unsigned char*>(malloc(bytes));
    if (copy != nullptr) {
        memcpy(copy, frame, bytes);
    }
    return copy;
}

bool StopRequested()
{
    return QThread::currentThread()->isInterruptionRequested();
}

} // namespace

IQAThread::IQAThread(QObject* parent)
    : QObject(parent), firstFrame(nullptr), secondFrame(nullptr), width(0), height(0),
      colorSpace(lumo::COLOR_SPACE_DEFAULT)
{
}

IQAThread::~IQAThread()
{
    ReleaseFrames();
}

int IQAThread::setInput(unsigned char* first, unsigned char* second, int width, int height, lumo::COLOR_SPACE cs)
{
    ReleaseFrames();
    this->width = width;
    this->height = height;
    colorSpace = cs;
    firstFrame = Copy420(first, width, height);
    secondFrame = Copy420(second, width, height);
    const bool copied = (first == nullptr || firstFrame != nullptr) && (second == nullptr || secondFrame != nullptr);
    return copied ? 0 : -1;
}

void IQAThread::start1()
{
    qDebug() << "IQAThread::start1";
    emit workStart();
    doWork();
}

void IQAThread::doWork()
{
    double* psnr = new double[3]();
    double* mse = new double[3]();
    const lumo::YUVReader receiver;
    if (firstFrame == nullptr || secondFrame == nullptr) {
        qDebug() << "---------->m_yuv is nullptr";
        delete[] psnr;
        delete[] mse;
        return;
    }
    bool cancelled = StopRequested();
    if (!cancelled) {
        receiver.CallPSNR(psnr, firstFrame, secondFrame, width, height, mse);
        cancelled = StopRequested();
    }
    double ssim = 0;
    if (!cancelled) {
        // SSIM is symmetric; it is asked the other way round.
        ssim = receiver.CallSsimIqa(secondFrame, firstFrame, width, height, colorSpace);
    }
    if (cancelled) {
        qDebug() << "IQAThread: cancelled";
        delete[] psnr;
        delete[] mse;
        ReleaseFrames();
        emit workCancelled();
        return;
    }
    qDebug() << "Y-PSNR :" << psnr[0] << ", U-PSNR :" << psnr[1] << ", V-PSNR : " << psnr[2];
    qDebug() << "Y-MSE :" << mse[0] << ", U-MSE :" << mse[1] << ", V-MSE : " << mse[2];
    qDebug() << "SSIM_GRAY :" << ssim;
    const double result[7] = {ssim, mse[0], mse[1], mse[2], psnr[0], psnr[1], psnr[2]};
    delete[] psnr;
    delete[] mse;
    ReleaseFrames();
    emit workFinished(result[0], result[1], result[2], result[3], result[4], result[5], result[6]);
}

void IQAThread::ReleaseFrames()
{
    free(firstFrame);
    free(secondFrame);
    firstFrame = nullptr;
    secondFrame = nullptr;
}
