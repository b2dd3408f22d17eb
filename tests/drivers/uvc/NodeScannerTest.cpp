#include "uvc/NodeScanner.h"

#include <linux/videodev2.h>
#include <sys/resource.h>
#include <sys/sysmacros.h>

#include <cerrno>

#include "tests/drivers/uvc/FakeNode.h"
#include "tests/drivers/uvc/MockedUdev.h"

namespace nubrix::uvc {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NodeScannerTest : public testing::Test {
protected:
    NodeScannerTest() : m_udev(udev_new()) {}

    std::vector<NodeInfo> scan()
    {
        const Scan found = rescan();
        EXPECT_TRUE(found.complete);
        return found.nodes;
    }
    Scan rescan()
    {
        return NodeScanner(*m_udev,
                           [this](const std::string &path, std::unique_ptr<NodeIo> &node) {
                               opened.push_back(path);
                               if (openError != 0)
                                   return openError;
                               node = std::make_unique<FakeNode>(camera);
                               return 0;
                           })
            .scan();
    }
    std::vector<std::string> capturing()
    {
        std::vector<std::string> paths;
        for (const NodeInfo &node : scan()) {
            if (node.captures)
                paths.push_back(node.path);
        }
        return paths;
    }

    MockedUdev system;
    FakeCamera camera;
    int openError = EACCES;
    std::vector<std::string> opened;

private:
    UdevPtr<udev> m_udev;
};

TEST_F(NodeScannerTest, ASystemWithoutCamerasHasNone)
{
    EXPECT_THAT(scan(), IsEmpty());
}

TEST_F(NodeScannerTest, DescribesTheNodesOfACamera)
{
    system.addUsb("1-2", "A: serial=SN 1\nA: product=Depth Camera\n");
    system.addNode("1-2", 1, ":");
    system.addNode("1-2", 0);
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes[0].path, "/dev/video0");
    EXPECT_EQ(nodes[0].number, 0U);
    EXPECT_TRUE(nodes[0].captures);
    EXPECT_FALSE(nodes[1].captures);
    ASSERT_TRUE(nodes[0].usb);
    EXPECT_EQ(nodes[0].usb->busPath, "1-2");
    EXPECT_EQ(nodes[0].usb->vendorId, 0x1209U);
    EXPECT_EQ(nodes[0].usb->productId, 1U);
    EXPECT_EQ(nodes[0].usb->release, 0x0102U);
    EXPECT_EQ(nodes[0].usb->serial, "SN 1");
    EXPECT_EQ(nodes[0].usb->product, "Depth Camera");
    EXPECT_EQ(nodes[1].usb->sysPath, nodes[0].usb->sysPath);
    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(NodeScannerTest, ACameraWithoutNamesHasTheNodesName)
{
    system.addUsb("1-2", "");
    system.addNode("1-2", 0);
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0].usb->serial, "");
    EXPECT_EQ(nodes[0].usb->product, "Camera");
}

TEST_F(NodeScannerTest, InvalidBytesInNamesAreCleaned)
{
    system.addUsb("1-2", "H: serial=ff41fe\nH: product=20c3a9010a42e282\n");
    system.addNode("1-2", 0);
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0].usb->serial, "?A?");
    EXPECT_EQ(nodes[0].usb->product,
              "\xc3\xa9"
              "??B??");
}

TEST_F(NodeScannerTest, IdenticalCamerasAreIdentifiedByTheirPorts)
{
    for (const unsigned int number : {0U, 1U}) {
        const std::string place = "1-" + std::to_string(number + 1);
        system.addUsb(place, "A: serial=SAME\n");
        system.addNode(place, number);
    }
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes[0].usb->busPath, "1-1");
    EXPECT_EQ(nodes[1].usb->busPath, "1-2");
}

TEST_F(NodeScannerTest, OutputsAndCodecsDoNotCapture)
{
    system.addUsb("1-2", "");
    system.addNode("1-2", 0, ":video_output:");
    system.addNode("1-2", 1, ":capture:video_output:");
    system.addNode("1-2", 2, ":");
    EXPECT_THAT(capturing(), IsEmpty());
}

TEST_F(NodeScannerTest, ANodeWithoutUsbHasNoUsbDevice)
{
    system.addUndescribedNode("/devices/platform/csi/video4linux/video7", 7,
                              "E: ID_V4L_CAPABILITIES=:capture:\n");
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0].path, "/dev/video7");
    EXPECT_FALSE(nodes[0].usb);
}

TEST_F(NodeScannerTest, RadiosAreNoVideoNodes)
{
    system.add(
        "P: /devices/platform/r/video4linux/radio0\nN: radio0=00\nE: SUBSYSTEM=video4linux\n"
        "E: DEVNAME=/dev/radio0\nE: MAJOR=81\nE: MINOR=9\n");
    EXPECT_THAT(scan(), IsEmpty());
}

TEST_F(NodeScannerTest, ANodeThatUdevDoesNotDescribeIsQueried)
{
    openError = 0;
    system.addUndescribedNode("/devices/platform/v/video4linux/video0", 0, "");
    EXPECT_THAT(capturing(), ElementsAre("/dev/video0"));
    camera.capabilities = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING;
    EXPECT_THAT(capturing(), IsEmpty());
    camera.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_OUTPUT;
    EXPECT_THAT(capturing(), IsEmpty());
}

TEST_F(NodeScannerTest, OfNodesThatCannotBeQueriedTheFirstCaptures)
{
    openError = EACCES;
    system.addUndescribedNode("/devices/platform/v/video4linux/video0", 0, "A: index=0\n");
    system.addUndescribedNode("/devices/platform/v/video4linux/video1", 1, "A: index=1\n");
    EXPECT_THAT(capturing(), ElementsAre("/dev/video0"));
    EXPECT_THAT(opened, ElementsAre("/dev/video0", "/dev/video1"));
}

TEST_F(NodeScannerTest, ReturnsHowLongAgoUdevSetUpANode)
{
    system.addUsb("1-2", "");
    system.addNode("1-2", 0);
    system.addNode("1-2", 1);
    system.setAge("1-2", 1, std::chrono::milliseconds(7));
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes[0].age, std::chrono::hours(1));
    EXPECT_EQ(nodes[1].age, std::chrono::milliseconds(7));
}

TEST_F(NodeScannerTest, LeavesOutNodesThatUdevIsBusyWith)
{
    system.addUsb("1-2", "");
    system.addNode("1-2", 0);
    system.addNode("1-2", 1);
    system.setAge("1-2", 0, std::nullopt);
    EXPECT_THAT(capturing(), ElementsAre("/dev/video1"));
}

TEST_F(NodeScannerTest, WhereUdevDoesNotRunAllNodesAreOld)
{
    system.addUsb("1-2", "");
    system.addNode("1-2", 0);
    system.setAge("1-2", 0, std::nullopt);
    system.setRunning(false);
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_GE(nodes[0].age, std::chrono::minutes(1));
}

TEST_F(NodeScannerTest, WithoutDescriptorsTheScanIsIncomplete)
{
    system.addUsb("1-2", "A: serial=SN1\n");
    system.addNode("1-2", 0);
    ASSERT_EQ(scan().size(), 1U);
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {3, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const Scan found = rescan();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_FALSE(found.complete);
    const auto nodes = scan();
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0].usb->serial, "SN1");
}

TEST_F(NodeScannerTest, ANodeBelowAHubWhoseUsbDeviceIsNotReadableMakesTheScanIncomplete)
{
    system.addNode("1-2", 0);
    const Scan found = rescan();
    EXPECT_FALSE(found.complete);
    EXPECT_THAT(found.nodes, IsEmpty());
}

TEST(AttributeTextTest, IsCleanWithoutWhiteSpaceAtItsEnds)
{
    EXPECT_EQ(attributeText(nullptr), "");
    EXPECT_EQ(attributeText("   "), "");
    EXPECT_EQ(attributeText("  A camera\t \n"), "A camera");
    EXPECT_EQ(attributeText("A\tcamera\xc2\x9b"), "A?camera?");
}

}  // namespace
}  // namespace nubrix::uvc
