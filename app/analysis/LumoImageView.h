#ifndef LUMO_ANALYSIS_LUMOIMAGEVIEW_H
#define LUMO_ANALYSIS_LUMOIMAGEVIEW_H

#include "analysis/SecondFileChooser.h"
#include "online/LogManager.h"
#include "lumo/YUVReader.h"

#include <QMainWindow>
#include <QPointer>
#include <QString>

class ColorChart;
class QButtonGroup;
class QThread;
class Ui_LumoImageView;
class VideoCtrBar;
class YUVWidget;

// The window in which one raw YUV file is examined: the frame view with
// rulers, the playback bar with the timeline, the histograms and a column of
// display controls. A second file of the same size can be opened beside the
// first: both are stepped together, their regions of interest mirror each
// other, and every frame pair selected on a timeline is compared by PSNR,
// MSE and SSIM on a worker thread.
//
// One comparison runs at a time, on copies of its frames; a selection made
// meanwhile waits, the latest replacing earlier ones, and runs when the
// result comes in. Results of a closed window, or of a second file closed
// since, are not shown.
//
// Nothing deletes a closed window before the application ends, and nothing
// shows it again. Closing it cancels its comparison, and once the close is
// handled the window lets go of all it shows (bar, timelines and their
// workers, frame views and their GL contexts, charts, controls) and of its
// native window: shown again anyway, it is empty.
class LumoImageView : public QMainWindow {
    Q_OBJECT

public:
    LumoImageView(lumo::YUVReader& reader, QWidget* parent = nullptr);
    ~LumoImageView() override;

    // The readers' description used in usage reports.
    QString formatYuvReadersInfoForLog();
    // Replaces how the second file is asked for (the open-file dialog by
    // default).
    void SetSecondFileChooser(SecondFileChooser chooser);

    VideoCtrBar* GetCtrBar() const;
    YUVWidget* GetView() const;
    YUVWidget* Get2ndView() const;
    ColorChart* GetChart() const;
    ColorChart* Get2ndChart() const;
    // Whether a comparison is running now.
    bool IsComparing() const;

public slots:
    void onFrameCtrRefresh(int frame, int analyse);
    void onOpen2ndFile();
    void onClose2ndFile();
    void onChannelCheckbox();
    void onColorRectCheckbox(int state);
    void onColorRangeChange(int id);
    void YUVCurrentIndexChanged(int index);
    void onGammaValueChanged(double value);
    void onDrawCheckBoxChange(int state);
    void onDrawRect(float x0, float y0, float x1, float y1);
    void onDrawRect2nd(float x0, float y0, float x1, float y1);
    void workStart();
    void workFinished(double ssim, double mseY, double mseU, double mseV, double psnrY, double psnrU,
                      double psnrV);
    void workCancelled();

protected:
    void closeEvent(QCloseEvent* event) override;

private slots:
    // Deletes what a closed window shows and its native window.
    void ReleaseContents();

private:
    void close2ndFile();
    // The colour conversion the two combo boxes name, on the views.
    void ApplyColorSpace(YUVWidget* view);
    // Converts the pair to 4:2:0 and starts a comparison of it.
    void StartComparison(unsigned char* first444, unsigned char* second444);
    // Reads frame of both files and compares them, if the second file still
    // matches the first.
    void StartComparisonOfFrame(int frame);

    // The parts of the window's contents, all null once a closed window has
    // let go of them.
    ColorChart* chart;
    ColorChart* chart2;
    YUVWidget* view;
    YUVWidget* view2;
    VideoCtrBar* ctrBar;
    lumo::YUVReader reader;
    lumo::YUVReader reader2;
    QButtonGroup* rangeGroup;
    int colorRange;
    unsigned char* frame420;
    unsigned char* frame420second;
    LogManager logManager;
    Ui_LumoImageView* ui;

    SecondFileChooser chooser;
    // The running comparison's thread, null when none runs.
    QPointer<QThread> comparison;
    // The frame waiting for its comparison, -1 for none.
    int pendingFrame;
    // Counts the second files closed: a result started under another count
    // belongs to a file that is gone.
    int secondFileGeneration;
    int comparisonGeneration;
    bool closed;
};

#endif
