#include "uvc/NodeScanner.h"

#include "tests/drivers/uvc/MockedUdev.h"

namespace nubrix::uvc {
namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAre;

class UsbFolderTest : public testing::Test {
protected:
    static std::string path(const std::string &busPath)
    {
        return "/sys" + MockedUdev::usbPath(busPath);
    }
    static std::string node(unsigned int number)
    {
        return "/sys" + MockedUdev::nodePath("1-2", number);
    }

    MockedUdev system;
};

TEST_F(UsbFolderTest, HasTheNodesThatUdevHasNotSetUp)
{
    system.addUsb("1-2", "");
    system.addNode("1-2", 0);
    system.addNodeWithoutEvent("1-2", 1);
    system.addUsb("1-2.1", "");
    system.addNode("1-2.1", 2);
    EXPECT_THAT(readUsbFolder(path("1-2")).videoNodes, UnorderedElementsAre(node(0), node(1)));
}

TEST_F(UsbFolderTest, CountsTheStreamsThatTheDeviceDescribes)
{
    system.addUsb("1-2", "");
    EXPECT_EQ(readUsbFolder(path("1-2")).videoStreams, 0U);
    system.addStreamInterface("1-2", 1);
    system.addStreamInterface("1-2", 2);
    EXPECT_EQ(readUsbFolder(path("1-2")).videoStreams, 2U);
}

TEST_F(UsbFolderTest, IsEmptyForADetachedDevice)
{
    const UsbFolder folder = readUsbFolder(path("1-2"));
    EXPECT_THAT(folder.videoNodes, IsEmpty());
    EXPECT_EQ(folder.videoStreams, 0U);
}

}  // namespace
}  // namespace nubrix::uvc
