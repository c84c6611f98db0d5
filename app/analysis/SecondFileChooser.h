#ifndef LUMO_ANALYSIS_SECONDFILECHOOSER_H
#define LUMO_ANALYSIS_SECONDFILECHOOSER_H

#include <QStringList>

#include <functional>

class QWidget;

// What the user chose as the analysis window's second file: paths, the
// layout's index in the layout registry, and the frame size.
struct SecondFileChoice {
    QStringList paths;
    int typeIndex = 0;
    int width = 0;
    int height = 0;
};

// Asks the user, modally over parent, for the second file; true when the
// choice was accepted and holds at least one path.
using SecondFileChooser = std::function<bool(QWidget* parent, SecondFileChoice& choice)>;

#endif
