#include "analysis/DescribeReaders.h"

QString DescribeReaders(const lumo::YUVReader& first, const lumo::YUVReader& second)
{
    QString text;
    if (!first.path.empty()) {
        text = QString("[read1 file=%1; size=%2x%3; type=%4]")
                   .arg(QString::fromStdString(first.path))
                   .arg(first.width)
                   .arg(first.height)
                   .arg(QString::fromStdString(first.type.name));
    }
    if (!second.path.empty()) {
        text = QString("%1 + [read2 file=%2; size=%3x%4; type=%5]")
                   .arg(text)
                   .arg(QString::fromStdString(second.path))
                   .arg(second.width)
                   .arg(second.height)
                   .arg(QString::fromStdString(second.type.name));
    }
    return text;
}
