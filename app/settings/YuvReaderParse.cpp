#include "settings/YuvReaderParse.h"

#include "lumo/YUVTypeInstance.h"

#include <QDebug>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

namespace {

const char* const kOrganisation = "MediaLumo";
const char* const kApplication = "YUVLumo";
const char* const kListKey = "KEY_YUV_PARSE_1";

} // namespace

YuvReaderParse::YuvReaderParse() : readerList(new QList<lumo::YUVReader*>()) {}

YuvReaderParse::~YuvReaderParse()
{
    DestroyReaders();
    delete readerList;
    qDeleteAll(droppedReaders);
}

int YuvReaderParse::AddReader(lumo::YUVReader& reader)
{
    readerList->append(new lumo::YUVReader(reader));
    return 0;
}

int YuvReaderParse::Remove(int index)
{
    if (index >= 0 && index < readerList->size()) {
        droppedReaders.append(readerList->takeAt(index));
    }
    return 0;
}

int YuvReaderParse::Remove(lumo::YUVReader&)
{
    return 0;
}

int YuvReaderParse::ClearAll()
{
    droppedReaders.append(*readerList);
    readerList->clear();
    return 0;
}

int YuvReaderParse::SaveToFile()
{
    QJsonArray array;
    for (const lumo::YUVReader* reader : *readerList) {
        QJsonObject object;
        object.insert("width", reader->width);
        object.insert("height", reader->height);
        object.insert("type_str", QString::fromStdString(reader->type.idName));
        object.insert("path", QString::fromStdString(reader->path));
        array.append(object);
    }
    const QString text = QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));

    QSettings settings(kOrganisation, kApplication);
    settings.setValue(kListKey, text);
    return 0;
}

int YuvReaderParse::ReadFromFile()
{
    QString text;
    {
        QSettings settings(kOrganisation, kApplication);
        text = settings.value(kListKey, QString("")).toString();
    }
    qDebug().noquote() << text;

    const QJsonArray array = QJsonDocument::fromJson(text.toUtf8()).array();

    DestroyReaders();
    for (const QJsonValue& value : array) {
        const QJsonObject object = value.toObject();
        const int width = object.value("width").toInt(0);
        const int height = object.value("height").toInt(0);

        QString typeName;
        if (object.value("type_str").isUndefined()) {
            qDebug() << "type_str is Undefined";
            const int legacy = object.value("type").toInt(0);
            typeName = QString::fromStdString(lumo::YUVTypeInstance::GetInstance()->GetTypeNameByOldIndex(legacy));
        } else {
            typeName = object.value("type_str").toString();
        }

        const QString path = object.value("path").toString();
        if (!QFileInfo::exists(path)) {
            continue;
        }
        const lumo::YUVType type = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(typeName.toStdString());
        readerList->append(new lumo::YUVReader(path.toStdString(), width, height, type));
    }
    return 0;
}

int YuvReaderParse::GetSize() const
{
    return readerList->size();
}

lumo::YUVReader* YuvReaderParse::GetReader(int index) const
{
    if (index < 0 || index >= readerList->size()) {
        return nullptr;
    }
    return readerList->at(index);
}

void YuvReaderParse::DestroyReaders()
{
    qDeleteAll(*readerList);
    readerList->clear();
}
