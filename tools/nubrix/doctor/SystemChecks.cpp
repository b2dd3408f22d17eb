#include "doctor/Checks.h"

#include <algorithm>
#include <filesystem>

namespace nubrix::tool {

namespace {

using State = Finding::State;

constexpr const char *kUsbDevices = "/sys/bus/usb/devices/";
constexpr const char *kInstallRule = "copy packaging/70-nubrix.rules into /etc/udev/rules.d, then ";
constexpr const char *kReload =
    "udevadm control --reload; udevadm trigger --subsystem-match=video4linux";

/// The control interfaces of the attached USB cameras: "1-2:1.0".
std::vector<std::string> usbCameraInterfaces(const Machine &machine)
{
    std::vector<std::string> found;
    for (const std::string &name : machine.list(kUsbDevices)) {
        const std::string folder = kUsbDevices + name;
        // The class is video, the subclass video control.
        if (machine.read(folder + "/bInterfaceClass") == "0e" &&
            machine.read(folder + "/bInterfaceSubClass") == "01")
            found.push_back(name);
    }
    return found;
}

bool kernelHasModule(const Machine &machine)
{
    for (const char *root : {"/lib/modules/", "/usr/lib/modules/"}) {
        for (const char *file : {"/modules.dep", "/modules.builtin"}) {
            const std::string modules = machine.read(root + machine.kernelRelease + file);
            if (modules.find("/uvcvideo.ko") != std::string::npos)
                return true;
        }
    }
    return false;
}

std::string joined(const std::vector<std::string> &names)
{
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

/// The paths of the video nodes by the user's access.
struct VideoNodes {
    std::size_t granted = 0;
    std::vector<std::string> denied;
    std::vector<std::string> closed;
    std::vector<std::string> afterLogin;
};

VideoNodes videoNodes(const Machine &machine)
{
    VideoNodes nodes;
    for (const std::string &name : machine.list("/dev")) {
        if (name.rfind("video", 0) != 0 || name.size() == 5 ||
            name.find_first_not_of("0123456789", 5) != std::string::npos)
            continue;
        const std::string path = "/dev/" + name;
        switch (machine.access(machine.path(path))) {
            case Machine::Access::kGranted:
                ++nodes.granted;
                break;
            case Machine::Access::kAfterLogin:
                nodes.afterLogin.push_back(path);
                break;
            case Machine::Access::kDenied:
                nodes.denied.push_back(path);
                break;
            case Machine::Access::kClosed:
                nodes.closed.push_back(path);
        }
    }
    return nodes;
}

}  // namespace

Findings checkKernel(const Machine &machine)
{
    const std::string name = "kernel module";
    if (machine.has("/sys/module/uvcvideo"))
        return {{name, State::kGood, "uvcvideo is loaded"}};
    const bool attached = !usbCameraInterfaces(machine).empty();
    if (kernelHasModule(machine)) {
        if (!attached)
            return {{name, State::kGood, "uvcvideo will be loaded for the first USB camera"}};
        return {{name, State::kProblem, "uvcvideo is not loaded, although a USB camera is attached",
                 "sudo modprobe uvcvideo; check whether a file in /etc/modprobe.d forbids it"}};
    }
    return {{name, attached ? State::kProblem : State::kNote,
             "kernel " + machine.kernelRelease + " has no uvcvideo module, which USB cameras need",
             "boot a kernel with CONFIG_USB_VIDEO_CLASS; kernels for cloud servers lack it"}};
}

Findings checkUndrivenCameras(const Machine &machine)
{
    Findings findings;
    for (const std::string &interface : usbCameraInterfaces(machine)) {
        const std::string link = machine.path(kUsbDevices + interface + "/driver");
        std::error_code none;
        const std::string driver = std::filesystem::read_symlink(link, none).filename();
        const std::string name = "usb:" + interface.substr(0, interface.find(':'));
        if (driver.empty()) {
            findings.push_back({name, State::kProblem, "the kernel does not drive this camera",
                                "plug it in again; 'sudo dmesg' shows the reason"});
        } else if (driver != "uvcvideo") {
            findings.push_back({name, State::kProblem, "this camera is driven by " + driver,
                                "end the program that uses it, and plug it in again"});
        }
    }
    return findings;
}

Findings checkUdev(const Machine &machine)
{
    if (machine.has("/run/udev/control"))
        return {{"udev", State::kGood, "it is running"}};
    return {{"udev", State::kNote,
             "it is not running: a running program does not notice attached and detached cameras",
             "sudo systemctl start systemd-udevd, or start programs after plugging in"}};
}

Findings checkUdevRule(const Machine &machine)
{
    for (const char *folder : {"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/lib/udev/rules.d",
                               "/usr/local/lib/udev/rules.d", "/lib/udev/rules.d"}) {
        for (const std::string &file : machine.list(folder)) {
            if (file.find("nubrix") != std::string::npos)
                return {{"udev rule", State::kGood, std::string(folder) + "/" + file}};
        }
    }
    return {{"udev rule", State::kNote, "it is not installed: only group video may open cameras",
             std::string(kInstallRule) + kReload}};
}

Findings checkPermissions(const Machine &machine)
{
    const VideoNodes nodes = videoNodes(machine);
    Findings findings;
    if (!nodes.denied.empty()) {
        findings.push_back({"permissions", State::kProblem,
                            machine.user + " may not open " + joined(nodes.denied),
                            "sudo usermod -aG video " + machine.user + ", then log in again"});
    }
    if (!nodes.closed.empty()) {
        findings.push_back({"permissions", State::kProblem,
                            machine.user + " may not open " + joined(nodes.closed) +
                                ", which udev has not assigned to group video",
                            std::string(kInstallRule) + kReload});
    }
    if (!nodes.afterLogin.empty()) {
        findings.push_back({"permissions", State::kProblem,
                            machine.user + " may not open " + joined(nodes.afterLogin) +
                                " yet: this session started before the user joined the group",
                            "log in again"});
    }
    if (findings.empty()) {
        findings.push_back({"permissions", State::kGood,
                            nodes.granted == 0 ? "there are no video nodes"
                                               : machine.user + " may open all video nodes: " +
                                                     std::to_string(nodes.granted)});
    }
    return findings;
}

}  // namespace nubrix::tool
