#include "doctor/Checks.h"

#include "tests/tools/doctor/FakeMachine.h"

namespace nubrix::tool {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = Finding::State;

class SystemChecksTest : public testing::Test {
protected:
    FakeMachine system;
    const Machine &machine = system.machine;
};

TEST_F(SystemChecksTest, AModuleThatIsLoadedIsGood)
{
    system.add("/sys/module/uvcvideo/refcnt", "0\n");
    EXPECT_THAT(checkKernel(machine), ElementsAre(finds(State::kGood, "is loaded")));
}

TEST_F(SystemChecksTest, AnInstalledModuleIsLoadedWhenACameraNeedsIt)
{
    system.add("/lib/modules/6.1.0-test/modules.dep",
               "kernel/drivers/media/usb/uvc/uvcvideo.ko.xz: kernel/drivers/media/v4l2.ko.xz\n");
    EXPECT_THAT(checkKernel(machine), ElementsAre(finds(State::kGood, "for the first")));
    system.addCamera("1-2", "");
    EXPECT_THAT(checkKernel(machine),
                ElementsAre(finds(State::kProblem, "not loaded", "modprobe uvcvideo")));
}

TEST_F(SystemChecksTest, AKernelWithoutTheModuleIsAProblemWhenACameraIsAttached)
{
    system.add("/lib/modules/6.1.0-other/modules.dep", "kernel/uvcvideo.ko:\n");
    EXPECT_THAT(checkKernel(machine), ElementsAre(finds(State::kNote, "6.1.0-test has no uvcvideo",
                                                        "CONFIG_USB_VIDEO_CLASS")));
    system.addCamera("1-2", "");
    EXPECT_THAT(checkKernel(machine), ElementsAre(finds(State::kProblem, "6.1.0-test")));
}

TEST_F(SystemChecksTest, ACameraWithoutTheRightDriverIsReported)
{
    system.addCamera("1-1", "uvcvideo");
    EXPECT_THAT(checkUndrivenCameras(machine), IsEmpty());
    system.addCamera("1-2", "");
    system.addCamera("3-4.1", "usbfs");
    system.add("/sys/bus/usb/devices/1-5:1.0/bInterfaceClass", "03\n");
    const Findings found = checkUndrivenCameras(machine);
    EXPECT_THAT(found, ElementsAre(finds(State::kProblem, "does not drive", "dmesg"),
                                   finds(State::kProblem, "driven by usbfs", "end the program")));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].name, "usb:1-2");
    EXPECT_EQ(found[1].name, "usb:3-4.1");
}

TEST_F(SystemChecksTest, MissingUdevIsReported)
{
    EXPECT_THAT(checkUdev(machine), ElementsAre(finds(State::kNote, "does not notice", "udevd")));
    system.add("/run/udev/control");
    EXPECT_THAT(checkUdev(machine), ElementsAre(finds(State::kGood, "is running")));
}

TEST_F(SystemChecksTest, TheRuleIsFoundInEveryFolderOfRules)
{
    system.add("/etc/udev/rules.d/70-other.rules");
    EXPECT_THAT(checkUdevRule(machine),
                ElementsAre(finds(State::kNote, "not installed", "packaging/70-nubrix.rules")));
    system.add("/usr/local/lib/udev/rules.d/70-nubrix.rules");
    EXPECT_THAT(checkUdevRule(machine),
                ElementsAre(finds(State::kGood, "/usr/local/lib/udev/rules.d/70-nubrix.rules")));
}

TEST_F(SystemChecksTest, NodesWithAccessAreCounted)
{
    EXPECT_THAT(checkPermissions(machine), ElementsAre(finds(State::kGood, "no video nodes")));
    for (const char *name : {"video0", "video12", "video-dec0", "video", "vbi0"})
        system.add(std::string("/dev/") + name);
    system.access["/dev/video-dec0"] = Machine::Access::kDenied;
    EXPECT_THAT(checkPermissions(machine),
                ElementsAre(finds(State::kGood, "visitor may open all video nodes: 2")));
}

TEST_F(SystemChecksTest, NodesWithoutAccessAreReportedWithTheCure)
{
    for (const char *name : {"video0", "video1", "video2", "video3"})
        system.add(std::string("/dev/") + name);
    system.access["/dev/video3"] = Machine::Access::kClosed;
    system.access["/dev/video1"] = Machine::Access::kDenied;
    system.access["/dev/video2"] = Machine::Access::kAfterLogin;
    EXPECT_THAT(
        checkPermissions(machine),
        ElementsAre(
            finds(State::kProblem, "visitor may not open /dev/video1", "usermod -aG video visitor"),
            finds(State::kProblem, "may not open /dev/video3, which udev has not assigned",
                  "copy packaging/70-nubrix.rules"),
            finds(State::kProblem, "/dev/video2 yet", "log in again")));
}

TEST(MachineTest, TheRealOneHasItsKernelReleaseAndTheAccessToFiles)
{
    const Machine machine = Machine::real();
    EXPECT_EQ(machine.kernelRelease, machine.read("/proc/sys/kernel/osrelease"));
    EXPECT_EQ(machine.access("/dev/null"), Machine::Access::kGranted);
    if (::geteuid() != 0) {
        EXPECT_EQ(machine.access("/proc/1/mem"), Machine::Access::kClosed);
    }
    EXPECT_EQ(machine.access("/dev/no such node"), Machine::Access::kDenied);
    EXPECT_FALSE(machine.user.empty());
}

}  // namespace
}  // namespace nubrix::tool
