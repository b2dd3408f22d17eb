#include "common/DriverParts.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace nubrix {
namespace {

const auto kCopy = [](int entry, int &record) { record = entry; };

TEST(RecordListTest, FillsUpToTheCapacity)
{
    const std::vector<int> entries = {5, 6, 7};
    for (const unsigned int room : {0U, 2U, 3U, 4U}) {
        std::vector<int> records(4, -1);
        unsigned int count = room;
        EXPECT_EQ(listRecords([&] { return entries; }, kCopy, records.data(), &count), kDone);
        EXPECT_EQ(count, std::min(room, 3U));
        for (std::size_t i = 0; i < records.size(); ++i)
            EXPECT_EQ(records[i], i < count ? entries[i] : -1);
    }
}

TEST(RecordListTest, TheCountIsZeroWheneverItFails)
{
    std::vector<int> records(4);
    const auto none = []() -> std::vector<int> { throw std::bad_alloc(); };
    const auto one = [] { return std::vector<int>{1, 2}; };
    const auto refuse = [](int entry, int & /*record*/) {
        if (entry == 2)
            throw std::runtime_error("no");
    };
    unsigned int count = 60;
    EXPECT_EQ(listRecords(none, kCopy, records.data(), &count), kFailed);
    EXPECT_EQ(count, 0U);
    count = 60;
    EXPECT_EQ(listRecords(one, refuse, records.data(), &count), kFailed);
    EXPECT_EQ(count, 0U);
    count = 60;
    EXPECT_EQ(listRecords(one, kCopy, static_cast<int *>(nullptr), &count), kBadArgument);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(listRecords(one, kCopy, records.data(), nullptr), kBadArgument);
}

}  // namespace
}  // namespace nubrix
