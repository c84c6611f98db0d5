#include "analysis/DescribeReaders.h"

namespace {

// Every place holder is filled in one pass, so a "%2" in a path stays text.
QString Describe(const char* tag, const lumo::YUVReader& reader)
{
    return QString("[%1 file=%2; size=%3x%4; type=%5]")
        .arg(QString::fromLatin1(tag), QString::fromStdString(reader.path), QString::number(reader.width),
             QString::number(reader.height), QString::fromStdString(reader.type.name));
}

} // namespace

QString DescribeReaders(const lumo::YUVReader& first, const lumo::YUVReader& second)
{
    QString text;
    if (!first.path.empty()) {
        text = Describe("read1", first);
    }
    if (!second.path.empty()) {
        text += " + " + Describe("read2", second);
    }
    return text;
}
