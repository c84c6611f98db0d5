#include "core/KestLRUMap.h"
#include "core/KestTime.h"

#include <gtest/gtest.h>

#include <string>

using Kest::KestLRUMap;

namespace {

// Waits until the millisecond clock has moved on, so that the next use is
// later than every use before it.
void NextMillisecond()
{
    const int64_t now = Kest::KestTime::GetTime();
    while (Kest::KestTime::GetTime() == now) {
    }
}

void Put(KestLRUMap<int, std::string>& map, int key, const std::string& value)
{
    std::string* owned = new std::string(value);
    EXPECT_EQ(0, map.Put(key, owned));
    EXPECT_EQ(nullptr, owned);
}

} // namespace

TEST(KestLRUMap, StartsEmptyWithItsCapacity)
{
    KestLRUMap<int, std::string> map(100);
    EXPECT_EQ(0, map.Size());
    EXPECT_EQ(100, map.GetCapacity());
    EXPECT_EQ(-1, map.Get(7, nullptr));
}

TEST(KestLRUMap, GetCountsHitsAndCopiesTheValue)
{
    KestLRUMap<int, std::string> map(4);
    Put(map, 3, "three");
    EXPECT_EQ(0, map.Hits(3));
    std::string copy;
    EXPECT_EQ(1, map.Get(3, &copy));
    EXPECT_EQ("three", copy);
    EXPECT_EQ(1, map.Get(3, nullptr));
    EXPECT_EQ(2, map.Hits(3));
    EXPECT_EQ(-1, map.Hits(4));
}

TEST(KestLRUMap, AKeyAlreadyPresentKeepsItsEntry)
{
    KestLRUMap<int, std::string> map(4);
    Put(map, 1, "first");
    Put(map, 1, "second");
    std::string copy;
    EXPECT_EQ(1, map.Get(1, &copy));
    EXPECT_EQ("first", copy);
    EXPECT_EQ(1, map.Size());
}

TEST(KestLRUMap, AnEntryWithoutAValueIsAHitWithoutACopy)
{
    KestLRUMap<int, std::string> map(4);
    std::string* none = nullptr;
    map.Put(9, none);
    std::string copy = "untouched";
    EXPECT_EQ(0, map.Get(9, &copy));
    EXPECT_EQ("untouched", copy);
}

TEST(KestLRUMap, The101stDistinctEntryEvictsTheLeastRecentlyUsed)
{
    KestLRUMap<int, std::string> map(100);
    for (int key = 0; key < 100; key++) {
        Put(map, key, std::to_string(key));
    }
    // Every entry is used again, later, except 42.
    NextMillisecond();
    for (int key = 0; key < 100; key++) {
        if (key != 42) {
            EXPECT_EQ(1, map.Get(key, nullptr));
        }
    }
    NextMillisecond();
    Put(map, 100, "100");
    EXPECT_EQ(100, map.Size());
    EXPECT_FALSE(map.Contains(42));
    EXPECT_TRUE(map.Contains(0));
    EXPECT_TRUE(map.Contains(100));
}

TEST(KestLRUMap, EqualTimesEvictTheSmallestKey)
{
    KestLRUMap<int, std::string> map(3);
    Put(map, 30, "a");
    Put(map, 10, "b");
    Put(map, 20, "c");
    // Make all three equally old: used within one millisecond.
    for (;;) {
        const int64_t before = Kest::KestTime::GetTime();
        map.Get(10, nullptr);
        map.Get(20, nullptr);
        map.Get(30, nullptr);
        if (Kest::KestTime::GetTime() == before) {
            break;
        }
    }
    NextMillisecond();
    Put(map, 40, "d");
    EXPECT_FALSE(map.Contains(10));
    EXPECT_TRUE(map.Contains(20));
    EXPECT_TRUE(map.Contains(30));
}

TEST(KestLRUMap, HitsDoNotProtectAnEntryFromEviction)
{
    KestLRUMap<int, std::string> map(2);
    Put(map, 1, "often");
    for (int i = 0; i < 50; i++) {
        map.Get(1, nullptr);
    }
    NextMillisecond();
    Put(map, 2, "once");
    NextMillisecond();
    map.Get(2, nullptr);
    NextMillisecond();
    Put(map, 3, "new");
    EXPECT_FALSE(map.Contains(1));
    EXPECT_TRUE(map.Contains(2));
}

TEST(KestLRUMap, RemoveHotlessOnAnEmptyMapDoesNothing)
{
    KestLRUMap<int, std::string> map(2);
    EXPECT_EQ(0, map.LruRemoveHotless());
    EXPECT_EQ(0, map.Size());
    Put(map, 5, "five");
    EXPECT_EQ(0, map.LruRemoveHotless());
    EXPECT_EQ(0, map.Size());
}
