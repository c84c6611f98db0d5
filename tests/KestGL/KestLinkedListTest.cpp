#include "KestGL/KestLinkedList.h"

#include <gtest/gtest.h>

#include <vector>

using Kest::KestLinkedList;

namespace {

std::vector<int> Values(const KestLinkedList<int>& list)
{
    std::vector<int> out;
    for (int v : list) {
        out.push_back(v);
    }
    return out;
}

} // namespace

TEST(KestLinkedList, StartsEmpty)
{
    KestLinkedList<int> list;
    EXPECT_EQ(0, list.GetCount());
    EXPECT_TRUE(Values(list).empty());
}

TEST(KestLinkedList, KeepsInsertionOrder)
{
    KestLinkedList<int> list;
    EXPECT_EQ(0, list.Add(3));
    EXPECT_EQ(0, list.Add(1));
    EXPECT_EQ(0, list.Add(2));
    EXPECT_EQ(3, list.GetCount());
    EXPECT_EQ((std::vector<int>{3, 1, 2}), Values(list));
}

TEST(KestLinkedList, ClearEmptiesAndTheListCanBeRefilled)
{
    KestLinkedList<int> list;
    list.Add(1);
    list.Add(2);
    EXPECT_EQ(0, list.Clear());
    EXPECT_EQ(0, list.GetCount());
    EXPECT_TRUE(Values(list).empty());
    list.Add(7);
    list.Add(8);
    EXPECT_EQ((std::vector<int>{7, 8}), Values(list));
}
