#ifndef LUMO_APP_YUVREADERPARSE_H
#define LUMO_APP_YUVREADERPARSE_H

#include "lumo/YUVReader.h"

#include <QList>

// The ordered list of opened raw YUV files, kept in the settings store as a
// compact JSON array under "KEY_YUV_PARSE_1". The list owns its readers.
class YuvReaderParse {
public:
    YuvReaderParse();
    ~YuvReaderParse();
    YuvReaderParse(const YuvReaderParse&) = delete;
    YuvReaderParse& operator=(const YuvReaderParse&) = delete;

    // Appends a copy of reader.
    int AddReader(lumo::YUVReader& reader);
    // Drops the reader at index from the list (an index past the end changes
    // nothing). The reader itself stays alive until the list is destroyed.
    int Remove(int index);
    // Does nothing.
    int Remove(lumo::YUVReader& reader);
    // Empties the list; the readers stay alive until the list is destroyed.
    int ClearAll();

    int SaveToFile();
    // Replaces the list by the stored one. Entries whose file no longer
    // exists are left out; entries stored with a legacy "type" number are
    // migrated to their id name.
    int ReadFromFile();

    int GetSize() const;
    // Null for an index outside the list.
    lumo::YUVReader* GetReader(int index) const;

private:
    void DestroyReaders();

    QList<lumo::YUVReader*>* readerList;
    // Readers taken out by Remove and ClearAll, released with the list.
    QList<lumo::YUVReader*> droppedReaders;
};

#endif
