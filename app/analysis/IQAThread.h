#ifndef LUMO_ANALYSIS_IQATHREAD_H
#define LUMO_ANALYSIS_IQATHREAD_H

#include "lumo/ColorSpace.h"

#include <QObject>

#include <cstdint>

// One quality comparison of two 4:2:0 frames of the same size: PSNR and MSE
// of Y, U and V and the SSIM of luma, computed on the thread the worker is
// moved to. It works on copies of the frames made by setInput, so the
// caller's buffers may be rewritten or freed while it runs.
class IQAThread : public QObject {
    Q_OBJECT

public:
    explicit IQAThread(QObject* parent = nullptr);
    ~IQAThread() override;

    // Copies both frames (width x height, chroma planes of (width / 2) x
    // (height / 2)). 0; -1 when a copy cannot be allocated, which leaves
    // that frame missing. A null frame stays missing.
    int setInput(unsigned char* first, unsigned char* second, int width, int height, lumo::COLOR_SPACE cs);
    // The computation; with a frame missing it says so on the debug stream
    // and emits nothing. Asked to stop (QThread::requestInterruption on the
    // thread it runs on), it gives up before the next measure and emits
    // workCancelled instead of a result.
    void doWork();

signals:
    void workStart();
    void workFinished(double ssim, double mseY, double mseU, double mseV, double psnrY, double psnrU,
                      double psnrV);
    void workCancelled();

public slots:
    void start1();

private:
    // Frees the copies and forgets them.
    void ReleaseFrames();

    unsigned char* firstFrame;
    unsigned char* secondFrame;
    int width;
    int height;
    lumo::COLOR_SPACE colorSpace;
};

#endif
