#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "CutlCPLBMVector.h"
#include "failing_new.h"

namespace {

int objects[8];

std::vector<void*> entries(const CutlCPLBMVector& vector)
{
    std::vector<void*> all;
    for (long index = 0; index < vector.GetCount(); ++index)
        all.push_back(vector.GetAt(index));
    return all;
}

TEST(MVector, BeginsEmptyWhateverItsCapacity)
{
    for (const long capacity : {0L, 1L, 100L, -5L, std::numeric_limits<long>::max()}) {
        CutlCPLBMVector vector(capacity);
        EXPECT_EQ(vector.GetCount(), 0) << capacity;
        EXPECT_EQ(vector.GetAt(0), nullptr) << capacity;
        EXPECT_EQ(vector.GetPosition(), 0) << capacity;
        EXPECT_NE(vector.Add(0, &objects[0]), 0) << capacity;
        EXPECT_EQ(vector.GetAt(0), &objects[0]) << capacity;
    }
}

TEST(MVector, InsertsAtEveryIndexAndAppends)
{
    CutlCPLBMVector vector(2);
    EXPECT_NE(vector.Add(0, &objects[1]), 0);
    EXPECT_NE(vector.Add(1, &objects[3]), 0);
    EXPECT_NE(vector.Add(1, &objects[2]), 0);  // past its capacity, in the middle
    EXPECT_NE(vector.Add(0, &objects[0]), 0);
    EXPECT_NE(vector.Add(4, &objects[4]), 0);
    EXPECT_EQ(entries(vector),
              (std::vector<void*>{&objects[0], &objects[1], &objects[2], &objects[3], &objects[4]}));
}

TEST(MVector, RefusesIndexesOutside)
{
    CutlCPLBMVector vector;
    EXPECT_EQ(vector.Add(1, &objects[0]), 0);
    EXPECT_EQ(vector.Add(-1, &objects[0]), 0);
    ASSERT_NE(vector.Add(0, &objects[0]), 0);
    EXPECT_EQ(vector.Add(2, &objects[1]), 0);
    EXPECT_EQ(vector.Add(std::numeric_limits<long>::max(), &objects[1]), 0);
    EXPECT_EQ(vector.Add(std::numeric_limits<long>::min(), &objects[1]), 0);
    EXPECT_EQ(vector.Remove(1), 0);
    EXPECT_EQ(vector.Remove(-1), 0);
    EXPECT_EQ(vector.GetAt(1), nullptr);
    EXPECT_EQ(vector.GetAt(-1), nullptr);
    EXPECT_EQ(entries(vector), std::vector<void*>{&objects[0]});
}

TEST(MVector, KeepsNullEntries)
{
    CutlCPLBMVector vector;
    EXPECT_NE(vector.Add(0, nullptr), 0);
    EXPECT_NE(vector.Add(1, &objects[0]), 0);
    EXPECT_NE(vector.Add(2, nullptr), 0);
    EXPECT_EQ(vector.GetCount(), 3);
    EXPECT_EQ(entries(vector), (std::vector<void*>{nullptr, &objects[0], nullptr}));
    EXPECT_NE(vector.Remove(0), 0);
    EXPECT_EQ(entries(vector), (std::vector<void*>{&objects[0], nullptr}));
}

TEST(MVector, RemovalClosesTheGap)
{
    CutlCPLBMVector vector;
    for (int index = 0; index < 4; ++index)
        ASSERT_NE(vector.Add(index, &objects[index]), 0);
    EXPECT_NE(vector.Remove(1), 0);
    EXPECT_EQ(entries(vector), (std::vector<void*>{&objects[0], &objects[2], &objects[3]}));
    EXPECT_NE(vector.Remove(2), 0);
    EXPECT_EQ(entries(vector), (std::vector<void*>{&objects[0], &objects[2]}));
    EXPECT_NE(vector.Remove(0), 0);
    EXPECT_NE(vector.Remove(0), 0);
    EXPECT_EQ(vector.GetCount(), 0);
    EXPECT_EQ(vector.Remove(0), 0);
}

TEST(MVector, PositionIsItsOwnersAlone)
{
    CutlCPLBMVector vector;
    vector.SetPosition(17);
    ASSERT_NE(vector.Add(0, &objects[0]), 0);
    ASSERT_NE(vector.Remove(0), 0);
    EXPECT_EQ(vector.GetPosition(), 17);
    vector.SetPosition(-1);
    EXPECT_EQ(vector.GetPosition(), -1);
    vector.SetPosition(0);
    EXPECT_EQ(vector.GetPosition(), 0);
}

TEST(MVector, DoesAsAModelDoes)
{
    std::mt19937 random(4711);  // the same walk every time
    CutlCPLBMVector vector(3);
    std::vector<void*> model;
    for (int step = 0; step < 5000; ++step) {
        const long index = static_cast<long>(random() % (model.size() + 2));
        if (random() % 5 < 3) {
            void* const item = random() % 4 == 0 ? nullptr : &objects[random() % 8];
            const bool fits = index <= static_cast<long>(model.size());
            ASSERT_EQ(vector.Add(index, item) != 0, fits);
            if (fits) model.insert(model.begin() + index, item);
        } else {
            const bool there = index < static_cast<long>(model.size());
            ASSERT_EQ(vector.Remove(index) != 0, there);
            if (there) model.erase(model.begin() + index);
        }
        ASSERT_EQ(vector.GetCount(), static_cast<long>(model.size()));
    }
    EXPECT_EQ(entries(vector), model);
    EXPECT_GT(model.size(), 100u);
}

// Taken out in front and added behind, as a queue, the entries go through their room many times over.
TEST(MVector, DoesAsAQueueDoes)
{
    std::mt19937 random(42);
    CutlCPLBMVector vector;
    std::vector<void*> model;
    std::size_t longest = 0;
    for (int step = 0; step < 20000; ++step) {
        const bool growing = (step / 64) % 2 == 0;
        if (random() % 4 < (growing ? 3u : 1u)) {
            void* const item = &objects[random() % 8];
            ASSERT_NE(vector.Add(vector.GetCount(), item), 0);
            model.push_back(item);
        } else {
            ASSERT_EQ(vector.Remove(0) != 0, !model.empty());
            if (!model.empty()) model.erase(model.begin());
        }
        longest = std::max(longest, model.size());
        ASSERT_EQ(entries(vector), model) << step;
    }
    EXPECT_GT(longest, 30u);
}

TEST(MVector, AddReportsThatMemoryRanOut)
{
    CutlCPLBMVector vector(1);
    ASSERT_NE(vector.Add(0, &objects[0]), 0);
    fail_array_new_after(0);
    EXPECT_EQ(vector.Add(1, &objects[1]), 0);
    fail_no_array_new();
    EXPECT_EQ(entries(vector), std::vector<void*>{&objects[0]});
    EXPECT_NE(vector.Add(1, &objects[1]), 0);
    fail_array_new_after(0);
    const CutlCPLBMVector without_room(1000);
    fail_no_array_new();
    EXPECT_EQ(without_room.GetCount(), 0);

    CutlCPLBMVector drained(3);
    for (int index = 0; index < 3; ++index)
        ASSERT_NE(drained.Add(index, &objects[index]), 0);
    ASSERT_NE(drained.Remove(0), 0);
    fail_array_new_after(0);
    EXPECT_EQ(drained.Add(2, &objects[3]), 0);
    EXPECT_EQ(entries(drained), (std::vector<void*>{&objects[1], &objects[2]}));
    ASSERT_NE(drained.Remove(0), 0);
    EXPECT_NE(drained.Add(1, &objects[3]), 0) << "what was taken out in front makes room";
    fail_no_array_new();
    EXPECT_EQ(entries(drained), (std::vector<void*>{&objects[2], &objects[3]}));
}

}  // namespace
