#include "settings/YuvReaderParse.h"

#include "lumo/YUVTypeInstance.h"

#include "SettingsScope.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QSettings>
#include <QString>
#include <QStringList>

#include <fstream>
#include <string>

namespace {

QStringList debugLines;

void CaptureDebug(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtDebugMsg) {
        debugLines.append(message);
    }
}

class YuvReaderParseTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        debugLines.clear();
        previousHandler = qInstallMessageHandler(CaptureDebug);
    }
    void TearDown() override { qInstallMessageHandler(previousHandler); }

    std::string MakeFile(const std::string& name, size_t bytes = 16)
    {
        const std::string path = files.File(name);
        std::ofstream(path, std::ios::binary) << std::string(bytes, '\x80');
        return path;
    }

    static void Store(const QString& text)
    {
        QSettings settings("MediaLumo", "YUVLumo");
        settings.setValue("KEY_YUV_PARSE_1", text);
    }

    static QString Stored()
    {
        QSettings settings("MediaLumo", "YUVLumo");
        return settings.value("KEY_YUV_PARSE_1").toString();
    }

    static lumo::YUVType Type(const std::string& idName)
    {
        return lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(idName);
    }

    static QString Q(const std::string& s) { return QString::fromStdString(s); }

    lumo_test::SettingsScope settingsScope;
    lumo_test::TempDir files;
    QtMessageHandler previousHandler = nullptr;
};

} // namespace

TEST_F(YuvReaderParseTest, NothingStoredGivesAnEmptyListAndLogsTheEmptyText)
{
    YuvReaderParse list;
    EXPECT_EQ(0, list.ReadFromFile());
    EXPECT_EQ(0, list.GetSize());
    ASSERT_FALSE(debugLines.isEmpty());
    EXPECT_EQ(QString(""), debugLines.first());
}

TEST_F(YuvReaderParseTest, SavesCompactJsonInKeyOrder)
{
    const std::string path = MakeFile("a.yuv");
    lumo::YUVReader reader(path, 1920, 1080, Type("I420"));
    YuvReaderParse list;
    list.AddReader(reader);
    EXPECT_EQ(0, list.SaveToFile());
    EXPECT_EQ(QString("[{\"height\":1080,\"path\":\"%1\",\"type_str\":\"I420\",\"width\":1920}]").arg(Q(path)),
              Stored());
}

TEST_F(YuvReaderParseTest, EmptyListSavesAnEmptyArray)
{
    YuvReaderParse list;
    list.SaveToFile();
    EXPECT_EQ(QString("[]"), Stored());
}

TEST_F(YuvReaderParseTest, RoundTripKeepsOrderAndFields)
{
    const std::string a = MakeFile("a.yuv");
    const std::string b = MakeFile("b.yuv");
    {
        YuvReaderParse list;
        lumo::YUVReader first(a, 352, 288, Type("NV12"));
        lumo::YUVReader second(b, 17, 9, Type("I444"));
        list.AddReader(first);
        list.SaveToFile();
        list.AddReader(second);
        list.SaveToFile();
    }
    YuvReaderParse restored;
    restored.ReadFromFile();
    ASSERT_EQ(2, restored.GetSize());
    EXPECT_EQ(a, restored.GetReader(0)->path);
    EXPECT_EQ(352, restored.GetReader(0)->width);
    EXPECT_EQ(288, restored.GetReader(0)->height);
    EXPECT_TRUE(restored.GetReader(0)->type == Type("NV12"));
    EXPECT_EQ(b, restored.GetReader(1)->path);
    EXPECT_EQ(17, restored.GetReader(1)->width);
    EXPECT_EQ(9, restored.GetReader(1)->height);
    EXPECT_TRUE(restored.GetReader(1)->type == Type("I444"));
}

TEST_F(YuvReaderParseTest, AddReaderKeepsACopy)
{
    const std::string a = MakeFile("a.yuv");
    lumo::YUVReader reader(a, 10, 10, Type("I420"));
    YuvReaderParse list;
    list.AddReader(reader);
    reader.width = 99;
    EXPECT_EQ(10, list.GetReader(0)->width);
    EXPECT_NE(&reader, list.GetReader(0));
}

TEST_F(YuvReaderParseTest, LegacyTypeNumberIsMigrated)
{
    const std::string path = MakeFile("legacy.yuv");
    Store(QString("[{\"height\":288,\"path\":\"%1\",\"type\":3,\"width\":352}]").arg(Q(path)));

    YuvReaderParse list;
    list.ReadFromFile();
    ASSERT_EQ(1, list.GetSize());
    const std::string legacyName = lumo::YUVTypeInstance::GetInstance()->GetTypeNameByOldIndex(3);
    ASSERT_FALSE(legacyName.empty());
    EXPECT_TRUE(list.GetReader(0)->type == Type(legacyName));
    EXPECT_TRUE(debugLines.contains("type_str is Undefined"));

    // Nothing is written back until the next save, which stores the id name.
    EXPECT_TRUE(Stored().contains("\"type\":3"));
    list.SaveToFile();
    EXPECT_EQ(QString("[{\"height\":288,\"path\":\"%1\",\"type_str\":\"%2\",\"width\":352}]")
                  .arg(Q(path), Q(legacyName)),
              Stored());
}

TEST_F(YuvReaderParseTest, LegacyEntryWithoutTypeUsesNumberZero)
{
    const std::string path = MakeFile("legacy.yuv");
    Store(QString("[{\"height\":2,\"path\":\"%1\",\"width\":2}]").arg(Q(path)));
    YuvReaderParse list;
    list.ReadFromFile();
    ASSERT_EQ(1, list.GetSize());
    EXPECT_TRUE(list.GetReader(0)->type == Type(lumo::YUVTypeInstance::GetInstance()->GetTypeNameByOldIndex(0)));
}

TEST_F(YuvReaderParseTest, MissingFilesArePrunedOnReadAndOnTheNextSave)
{
    const std::string kept = MakeFile("kept.yuv");
    const std::string gone = MakeFile("gone.yuv");
    {
        YuvReaderParse list;
        lumo::YUVReader a(gone, 4, 4, Type("I420"));
        lumo::YUVReader b(kept, 4, 4, Type("I420"));
        list.AddReader(a);
        list.AddReader(b);
        list.SaveToFile();
    }
    QFile::remove(Q(gone));

    YuvReaderParse list;
    list.ReadFromFile();
    ASSERT_EQ(1, list.GetSize());
    EXPECT_EQ(kept, list.GetReader(0)->path);
    EXPECT_TRUE(Stored().contains(Q(gone)));
    list.SaveToFile();
    EXPECT_FALSE(Stored().contains(Q(gone)));
    EXPECT_TRUE(Stored().contains(Q(kept)));
}

TEST_F(YuvReaderParseTest, MissingOrNonNumericSizesBecomeZero)
{
    const std::string path = MakeFile("a.yuv");
    Store(QString("[{\"path\":\"%1\",\"type_str\":\"I420\"},"
                  "{\"height\":\"288\",\"path\":\"%1\",\"type_str\":\"I420\",\"width\":null}]")
              .arg(Q(path)));
    YuvReaderParse list;
    list.ReadFromFile();
    ASSERT_EQ(2, list.GetSize());
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(0, list.GetReader(i)->width);
        EXPECT_EQ(0, list.GetReader(i)->height);
    }
}

TEST_F(YuvReaderParseTest, UnknownOrNonStringTypeNameLoadsAsUnknown)
{
    const std::string path = MakeFile("a.yuv");
    Store(QString("[{\"height\":2,\"path\":\"%1\",\"type_str\":\"NOPE\",\"width\":2},"
                  "{\"height\":2,\"path\":\"%1\",\"type_str\":7,\"width\":2}]")
              .arg(Q(path)));
    YuvReaderParse list;
    list.ReadFromFile();
    ASSERT_EQ(2, list.GetSize());
    EXPECT_TRUE(list.GetReader(0)->type == lumo::YUVType::YUV_TYPE_UNKNOW);
    EXPECT_TRUE(list.GetReader(1)->type == lumo::YUVType::YUV_TYPE_UNKNOW);
    EXPECT_FALSE(debugLines.contains("type_str is Undefined"));
}

TEST_F(YuvReaderParseTest, UnparsableTextGivesAnEmptyList)
{
    for (const char* text : {"not json", "{\"an\":\"object\"}", "[1, 2", "[\"a\", 3]"}) {
        Store(text);
        YuvReaderParse list;
        list.ReadFromFile();
        EXPECT_EQ(0, list.GetSize()) << text;
    }
}

TEST_F(YuvReaderParseTest, ReadReplacesTheCurrentList)
{
    const std::string a = MakeFile("a.yuv");
    YuvReaderParse list;
    lumo::YUVReader reader(a, 8, 8, Type("I420"));
    list.AddReader(reader);
    list.AddReader(reader);
    Store("[]");
    list.ReadFromFile();
    EXPECT_EQ(0, list.GetSize());
}

TEST_F(YuvReaderParseTest, RemovePastTheEndChangesNothing)
{
    const std::string a = MakeFile("a.yuv");
    const std::string b = MakeFile("b.yuv");
    const std::string c = MakeFile("c.yuv");
    YuvReaderParse list;
    for (const std::string& path : {a, b, c}) {
        lumo::YUVReader reader(path, 8, 8, Type("I420"));
        list.AddReader(reader);
    }
    list.SaveToFile();
    const QString before = Stored();
    EXPECT_EQ(0, list.Remove(5));
    EXPECT_EQ(0, list.Remove(-1));
    EXPECT_EQ(3, list.GetSize());
    list.SaveToFile();
    EXPECT_EQ(before, Stored());
}

TEST_F(YuvReaderParseTest, RemoveShiftsLaterEntriesAndKeepsTheReaderAlive)
{
    const std::string a = MakeFile("a.yuv");
    const std::string b = MakeFile("b.yuv");
    const std::string c = MakeFile("c.yuv");
    YuvReaderParse list;
    for (const std::string& path : {a, b, c}) {
        lumo::YUVReader reader(path, 8, 8, Type("I420"));
        list.AddReader(reader);
    }
    lumo::YUVReader* removed = list.GetReader(1);
    list.Remove(1);
    ASSERT_EQ(2, list.GetSize());
    EXPECT_EQ(a, list.GetReader(0)->path);
    EXPECT_EQ(c, list.GetReader(1)->path);
    EXPECT_EQ(b, removed->path);
}

TEST_F(YuvReaderParseTest, RemoveByReaderDoesNothingAndClearAllEmpties)
{
    const std::string a = MakeFile("a.yuv");
    YuvReaderParse list;
    lumo::YUVReader reader(a, 8, 8, Type("I420"));
    list.AddReader(reader);
    EXPECT_EQ(0, list.Remove(*list.GetReader(0)));
    EXPECT_EQ(1, list.GetSize());
    EXPECT_EQ(0, list.ClearAll());
    EXPECT_EQ(0, list.GetSize());
    EXPECT_EQ(nullptr, list.GetReader(0));
}

TEST_F(YuvReaderParseTest, NonAsciiPathsRoundTrip)
{
    const std::string path = MakeFile("视频 测试.yuv");
    {
        YuvReaderParse list;
        lumo::YUVReader reader(path, 16, 16, Type("I420"));
        list.AddReader(reader);
        list.SaveToFile();
    }
    YuvReaderParse restored;
    restored.ReadFromFile();
    ASSERT_EQ(1, restored.GetSize());
    EXPECT_EQ(path, restored.GetReader(0)->path);
}
