#ifndef LUMO_SHELL_OPENFILEDIALOG_H
#define LUMO_SHELL_OPENFILEDIALOG_H

#include <QDialog>
#include <QString>
#include <QStringList>

#include <memory>

class LogManager;
class QButtonGroup;
class QFileDialog;
class Ui_OpenFileDialog;

// Chooses what to open: raw YUV files with their layout, width and height,
// or one media file (video or picture), which is first converted to a raw
// I420 file beside it. After an accepted exec() the caller reads the paths,
// the layout's registry index, the width and the height.
class OpenFileDialog : public QDialog {
    Q_OBJECT

public:
    explicit OpenFileDialog(QWidget* parent = nullptr);
    // Waits for a media conversion still running.
    ~OpenFileDialog() override;

    // The directory of the last chosen file ("CACHE_LAST_OPEN"), "/" at
    // first.
    QString OpenPath();
    void SavePath(QString dir);

    QStringList GetPaths() const;
    int GetTypeIndex() const;
    int GetWidth() const;
    int GetHeight() const;

public slots:
    void OpenFileClickListener();
    void OpenMediaClickListener();
    void OkClickListener();
    void CancelClickListener();
    void ReadThread_OnStart(double duration);
    void ReadThread_OnProgress(float fraction);
    void ReadThread_OnError(int code);
    void ReadThread_OnFinish(QString yuvPath, QString typeIdName, int width, int height);
    void workStart();
    void workFinished(int width, int height, int index);
    // Escape and the title bar's close come here too: while a conversion
    // runs the dialog stays open, as its buttons are disabled, since the
    // conversion cannot be stopped and its result would have no entry.
    void reject() override;

private:
    // Runs a file dialog for existing files; their paths, or none when the
    // user cancelled. A failure is reported as a usage error.
    QStringList ChooseFiles();
    // Converting: the five buttons disabled and the dialog kept open.
    void SetConverting(bool on);

    Ui_OpenFileDialog* ui;
    QStringList paths;
    QString pathLabelText;
    QButtonGroup* typeGroup;
    int typeIndex;
    int width;
    int height;
    std::unique_ptr<LogManager> logManager;
    bool converting;
};

#endif
