#include "YuvTestSupport.h"

#include "lumo/YUVType.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

using lumo::YUVType;
using lumo::YUVTypeInstance;

namespace {

TEST(YUVTypeTest, DefaultIsUnknown)
{
    const YUVType type;
    EXPECT_EQ(type.index, -1);
    EXPECT_TRUE(type.idName.empty());
    EXPECT_EQ(type, YUVType::YUV_TYPE_UNKNOW);
    EXPECT_EQ(YUVType::YUV_TYPE_UNKNOW.index, -1);
}

TEST(YUVTypeTest, EqualityUsesIndexAndIdName)
{
    const YUVType a(3, "NV21", "label one");
    EXPECT_EQ(a, YUVType(3, "NV21", "another label"));
    EXPECT_NE(a, YUVType(4, "NV21", "label one"));
    EXPECT_NE(a, YUVType(3, "NV12", "label one"));
    EXPECT_FALSE(a != YUVType(3, "NV21", ""));
}

TEST(YUVTypeTest, CopiesAreIndependentValues)
{
    YUVType a(0, "I420", "x");
    YUVType b(a);
    YUVType c;
    c = a;
    a.idName = "changed";
    a.index = 9;
    EXPECT_EQ(b.idName, "I420");
    EXPECT_EQ(c.index, 0);
    EXPECT_EQ(b, c);
}

TEST(YUVTypeInstanceTest, SameObjectFromEveryThread)
{
    YUVTypeInstance* first = YUVTypeInstance::GetInstance();
    ASSERT_NE(first, nullptr);
    std::vector<YUVTypeInstance*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = YUVTypeInstance::GetInstance(); });
    }
    for (auto& t : threads) {
        t.join();
    }
    for (YUVTypeInstance* p : seen) {
        EXPECT_EQ(p, first);
    }
}

TEST(YUVTypeInstanceTest, RegistryOrderAndNames)
{
    YUVTypeInstance* registry = YUVTypeInstance::GetInstance();
    const auto& defs = lumo_yuv_test::Layouts();
    ASSERT_EQ(registry->GetSize(), static_cast<int>(defs.size()));
    std::set<std::string> labels;
    for (int i = 0; i < registry->GetSize(); ++i) {
        YUVType type;
        ASSERT_EQ(registry->GetType(type, i), 0);
        EXPECT_EQ(type.index, i);
        EXPECT_EQ(type.idName, defs[static_cast<size_t>(i)].id);
        // Display labels are distinct, non-empty and start with the id.
        EXPECT_EQ(type.name.rfind(type.idName, 0), 0u) << type.name;
        EXPECT_TRUE(labels.insert(type.name).second) << type.name;
        for (char c : type.idName) {
            EXPECT_TRUE(c > 0x20 && c < 0x7f) << type.idName;
        }
    }
}

TEST(YUVTypeInstanceTest, I420ConstantIsEntryZero)
{
    YUVType first;
    ASSERT_EQ(YUVTypeInstance::GetInstance()->GetType(first, 0), 0);
    EXPECT_EQ(first, YUVType::YUV_TYPE_I420);
    EXPECT_EQ(first.name, YUVType::YUV_TYPE_I420.name);
    EXPECT_EQ(YUVType::YUV_TYPE_I420.idName, "I420");
}

TEST(YUVTypeInstanceTest, GetTypeRejectsBadIndexAndLeavesOutAlone)
{
    YUVTypeInstance* registry = YUVTypeInstance::GetInstance();
    for (int bad : {-1, registry->GetSize(), registry->GetSize() + 5, -1000}) {
        YUVType out(42, "keep", "keep me");
        EXPECT_EQ(registry->GetType(out, bad), -1) << bad;
        EXPECT_EQ(out.index, 42);
        EXPECT_EQ(out.idName, "keep");
        EXPECT_EQ(out.name, "keep me");
    }
}

TEST(YUVTypeInstanceTest, FindTypeByIdName)
{
    YUVTypeInstance* registry = YUVTypeInstance::GetInstance();
    for (int i = 0; i < registry->GetSize(); ++i) {
        YUVType type;
        ASSERT_EQ(registry->GetType(type, i), 0);
        const YUVType found = registry->FindTypeByIdName(type.idName);
        EXPECT_EQ(found, type);
        EXPECT_EQ(found.name, type.name);
    }
}

TEST(YUVTypeInstanceTest, FindTypeByIdNameUnknownGivesUnknown)
{
    YUVTypeInstance* registry = YUVTypeInstance::GetInstance();
    for (const char* name : {"", "i420", "I420 ", " I420", "NOPE", "YUV420P", "I42"}) {
        EXPECT_EQ(registry->FindTypeByIdName(name), YUVType::YUV_TYPE_UNKNOW) << '"' << name << '"';
    }
    EXPECT_EQ(registry->FindTypeByIdName(std::string("I420\0x", 6)), YUVType::YUV_TYPE_UNKNOW);
}

TEST(YUVTypeInstanceTest, LegacyNumbersMapToFirstSeven)
{
    YUVTypeInstance* registry = YUVTypeInstance::GetInstance();
    const char* expected[] = {"I420", "YV12", "NV12", "NV21", "I422", "YV16", "NV16"};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(registry->GetTypeNameByOldIndex(i), expected[i]);
    }
    for (int bad : {-1, 7, 8, 19, 100, -100}) {
        EXPECT_EQ(registry->GetTypeNameByOldIndex(bad), "") << bad;
    }
}

} // namespace
