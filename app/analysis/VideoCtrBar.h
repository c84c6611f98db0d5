#ifndef LUMO_ANALYSIS_VIDEOCTRBAR_H
#define LUMO_ANALYSIS_VIDEOCTRBAR_H

#include "online/LogManager.h"
#include "lumo/YUVReader.h"

#include <QString>
#include <QWidget>

class QTimer;
class Ui_VideoCtrBar;
class VideoTimeLine;

// The strip at the top of the analysis window: open and close a second
// file, Play/Pause at the frames per second of its spin box, switch the
// views to drawing the region of interest, one timeline per file and the
// quality result. It owns the playback position and timer and names the
// frame to show through onFrameCtrRefresh. Playback loops over the shorter
// file for ever.
class VideoCtrBar : public QWidget {
    Q_OBJECT

public:
    VideoCtrBar(lumo::YUVReader& reader, QWidget* parent = nullptr);
    ~VideoCtrBar() override;

    // The whole result line; the SSIM label keeps "-".
    void setPsnr(QString text);
    void setCloseBtnState(bool enabled);
    void Add2ndTimeLine(lumo::YUVReader& reader);
    void Remove2ndTimeLine();
    // Stops playback (the button reads "Play" again); records nothing.
    void Stop();
    // Stops the first timeline's thumbnail worker.
    void ClearCache();
    // "[read1 file=...; size=WxH; type=...]", and " + [read2 ...]" with a
    // second file.
    QString formatYuvReadersInfoForLog();

    VideoTimeLine* GetTimeLine() const;
    VideoTimeLine* Get2ndTimeLine() const;

signals:
    // The frame to show; analyse 0 from playback, 1 from a selection.
    void onFrameCtrRefresh(int frame, int analyse);
    void onOpen2ndFile();
    void onClose2ndFile();
    void onDrawCheckBoxChange(int state);

public slots:
    void onCtrBtnClick();
    void onFrameTimeout();
    void onOpen2BtnClick();
    void onClose2BtnClick();
    void onDrawCheckBoxSelect(int state);
    void onSelectFrame(int frame, int analyse);
    void onSettingCtrBtnClick();

private:
    lumo::YUVReader reader;
    lumo::YUVReader reader2;
    QTimer* timer;
    int currentFrame;
    int frameCount;
    int frameCount2;
    VideoTimeLine* timeLine;
    VideoTimeLine* timeLine2;
    LogManager logManager;
    Ui_VideoCtrBar* ui;
};

#endif
