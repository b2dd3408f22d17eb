// The copy of the list of cameras, which nothing changes while it is read.
#include <algorithm>
#include <atomic>
#include <cstring>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

/// A copy of the list, by the exported function.
class DeviceListCopy : public ContextFixture {
protected:
    DeviceListCopy()
    {
        std::memset(m_records.data(), kOld, m_records.size() * sizeof(m_records[0]));
    }
    int copy(typedefNubrixeviceAttribute *records, unsigned int *count)
    {
        const auto function =
            m_library.exported<int(typedefNubrixeviceAttribute *, unsigned int *)>(
                "nubrixCopyDeviceList");
        return function(records, count);
    }
    bool isUntouched(std::size_t index) const
    {
        const auto *const bytes = reinterpret_cast<const unsigned char *>(&m_records[index]);
        return std::all_of(bytes, bytes + sizeof(m_records[index]),
                           [](unsigned char byte) { return byte == kOld; });
    }

    static constexpr unsigned char kOld = 0xA5;
    std::vector<typedefNubrixeviceAttribute> m_records =
        std::vector<typedefNubrixeviceAttribute>(3);
};

TEST_F(DeviceListCopy, HasTheRecordsOfTheTable)
{
    unsigned int count = 3;
    EXPECT_EQ(copy(m_records.data(), &count), 0);
    ASSERT_EQ(count, 2U);
    typedefNubrixeviceAttribute *table = nullptr;
    ASSERT_EQ(context().nubrixGetDeviceList(&table, &count), 0);
    EXPECT_EQ(std::memcmp(m_records.data(), table, 2 * sizeof(*table)), 0);
    EXPECT_TRUE(isUntouched(2));
}

TEST_F(DeviceListCopy, HasAsManyAsFitAndCountsAll)
{
    unsigned int count = 1;
    EXPECT_EQ(copy(m_records.data(), &count), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_STREQ(m_records[0].uri, "usb:1");
    EXPECT_TRUE(isUntouched(1));
    count = 0;
    EXPECT_EQ(copy(nullptr, &count), 0);
    EXPECT_EQ(count, 2U);
}

TEST_F(DeviceListCopy, ChangesWithTheCameras)
{
    m_usb.setDevices({cameraRecord("usb:8")});
    m_usb.raise("usb:8", "SN8", "8", NUBRIX_DEVICE_CONNECTED);
    unsigned int count = 3;
    EXPECT_EQ(copy(m_records.data(), &count), 0);
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(m_records[0].uri, "usb:8");
    EXPECT_STREQ(m_records[1].uri, "net:1");
}

TEST_F(DeviceListCopy, NeedsACountSpaceAndAnInitializedContext)
{
    const Outcome refused = {
        -4, 0, {"3 nubrixCopyDeviceList needs a count and space for the records"}};
    unsigned int count = 1;
    EXPECT_EQ(outcome([&] { return copy(m_records.data(), nullptr); }), refused);
    EXPECT_EQ(outcome([&] { return copy(nullptr, &count); }), refused);
    context().destroy();
    EXPECT_EQ(copy(m_records.data(), &count), -2);
    m_library.deleteContext();
    EXPECT_EQ(copy(m_records.data(), &count), -2);
    EXPECT_TRUE(isUntouched(0));
}

TEST_F(DeviceListCopy, IsCompleteWhileCamerasArriveAndLeave)
{
    std::atomic<bool> ends{false};
    std::thread events([&] {
        for (int i = 0; i < 500; ++i) {
            const std::string name = std::string(i % 2 == 0 ? 20 : 5, i % 2 == 0 ? 'a' : 'b');
            m_usb.setDevices({cameraRecord(name.c_str())});
            m_usb.raise(name.c_str(), "SN", "1", NUBRIX_DEVICE_CONNECTED);
        }
        ends = true;
    });
    do {
        unsigned int count = 3;
        EXPECT_EQ(copy(m_records.data(), &count), 0);
        EXPECT_EQ(count, 2U);
        const std::string uri = m_records[0].uri;
        EXPECT_TRUE(uri == "usb:1" || uri == std::string(20, 'a') || uri == "bbbbb") << uri;
    } while (!ends);
    events.join();
}

}  // namespace
}  // namespace nubrix
