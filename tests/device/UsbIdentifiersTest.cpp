#include "device/UsbIdentifiers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <utility>

namespace nubrix {
namespace {

long countOf(DRIVER_TYPE driver)
{
    return std::count_if(kUsbIdentifiers.begin(), kUsbIdentifiers.end(),
                         [driver](const UsbIdentifier &row) { return row.driver == driver; });
}

DRIVER_TYPE driverOf(std::uint16_t vendor, std::uint16_t product)
{
    for (const UsbIdentifier &row : kUsbIdentifiers) {
        if (row.vendor == vendor && row.product == product)
            return row.driver;
    }
    return {};
}

TEST(UsbIdentifiersTest, EachDriverServesItsShareOfTheRows)
{
    EXPECT_EQ(kUsbIdentifiers.size(), 41U);
    EXPECT_EQ(countOf(DRIVER_TYPE_UVC), 35);
    EXPECT_EQ(countOf(DRIVER_TYPE_NET), 5);
    EXPECT_EQ(countOf(DRIVER_TYPE_MINI), 1);
}

TEST(UsbIdentifiersTest, OneRowOfEachDriverIsOurOwn)
{
    EXPECT_EQ(driverOf(0x1209, 0x0001), DRIVER_TYPE_UVC);
    EXPECT_EQ(driverOf(0x1209, 0x0002), DRIVER_TYPE_NET);
    EXPECT_EQ(driverOf(0x1209, 0x0003), DRIVER_TYPE_MINI);
    EXPECT_EQ(std::count_if(kUsbIdentifiers.begin(), kUsbIdentifiers.end(),
                            [](const UsbIdentifier &row) { return row.vendor == 0x1209; }),
              3);
}

TEST(UsbIdentifiersTest, NoRowIsEmptyOrThereTwice)
{
    std::set<std::pair<std::uint16_t, std::uint16_t>> seen;
    for (const UsbIdentifier &row : kUsbIdentifiers) {
        EXPECT_NE(row.vendor, 0);
        EXPECT_NE(row.product, 0);
        EXPECT_TRUE(seen.emplace(row.vendor, row.product).second)
            << std::hex << row.vendor << ":" << row.product;
    }
}

}  // namespace
}  // namespace nubrix
