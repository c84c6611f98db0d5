#ifndef LUMO_SHELL_YUVLISTITEM_H
#define LUMO_SHELL_YUVLISTITEM_H

#include "lumo/YUVReader.h"

#include <QString>
#include <QWidget>

class Ui_YUVListItem;

// One opened file in the main window's list: its layout, frame count and
// path, its first frames (at most ten) as thumbnails 100 pixels high, and
// the buttons that open it for analysis and close it. It keeps the index
// its file had in the list when it was made; closing an earlier entry does
// not renumber it.
class YUVListItem : public QWidget {
    Q_OBJECT

public:
    explicit YUVListItem(int index, QWidget* parent = nullptr);
    ~YUVListItem() override;

    // Shows the file: 0, or -1 for an unknown layout (the entry stays
    // empty).
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
    Ui_YUVListItem* ui;
    int index;
    lumo::YUVReader reader;
    QString path;
};

#endif
