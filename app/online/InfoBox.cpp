#include "online/InfoBox.h"

#include <QMessageBox>

void InfoBox(const QString& text)
{
    QMessageBox::information(nullptr, text, text, QMessageBox::Ok);
}
