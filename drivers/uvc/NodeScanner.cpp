#include "uvc/NodeScanner.h"

#include <linux/videodev2.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/Text.h"
#include "uvc/CameraModes.h"

namespace nubrix::uvc {

namespace {

namespace fs = std::filesystem;

/// The entries of a folder; none when it has been removed.
std::vector<fs::path> entriesOf(const fs::path &folder)
{
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        entries.push_back(entry->path());
    return entries;
}

bool attributeIs(const fs::path &folder, const char *name, const char *value)
{
    std::ifstream file(folder / name);
    std::string text;
    return std::getline(file, text) && text == value;
}

constexpr const char *kSubsystem = "video4linux";

/// Reads attributes of one device, and remembers whether reading one failed.
class Attributes {
public:
    explicit Attributes(udev_device &device) : m_device(device) {}

    /// Null when it lacks the attribute.
    const char *read(const char *name)
    {
        errno = 0;
        const char *value = udev_device_get_sysattr_value(&m_device, name);
        if (value == nullptr && (errno == EMFILE || errno == ENFILE || errno == ENOMEM))
            m_failed = true;
        return value;
    }
    std::string text(const char *name) { return attributeText(read(name)); }
    unsigned int hex(const char *name)
    {
        const char *value = read(name);
        return value == nullptr ? 0 : static_cast<unsigned int>(std::strtoul(value, nullptr, 16));
    }
    bool failed() const { return m_failed; }

private:
    udev_device &m_device;
    bool m_failed = false;
};

/// False when it could not be read.
bool identify(udev_device &usb, UsbIdentity &identity)
{
    Attributes attributes(usb);
    identity.sysPath = udev_device_get_syspath(&usb);
    identity.busPath = udev_device_get_sysname(&usb);
    identity.vendorId = attributes.hex("idVendor");
    identity.productId = attributes.hex("idProduct");
    identity.address = attributes.hex("devnum");
    identity.release = attributes.hex("bcdDevice");
    identity.serial = attributes.text("serial");
    identity.product = attributes.text("product");
    return !attributes.failed();
}

/// Whether a device lies below the root hub of a USB bus ("/usb1/"), which is a USB device itself.
bool isOnUsb(std::string_view sysPath)
{
    constexpr std::string_view kHub = "/usb";
    for (auto at = sysPath.find(kHub); at != std::string_view::npos;
         at = sysPath.find(kHub, at + 1)) {
        const auto number = at + kHub.size();
        const auto end = sysPath.find_first_not_of("0123456789", number);
        if (end != std::string_view::npos && end > number && sysPath[end] == '/')
            return true;
    }
    return false;
}

bool isAttached(const char *sysPath)
{
    return ::access(sysPath, F_OK) == 0 || errno != ENOENT;
}

}  // namespace

UsbFolder readUsbFolder(const std::string &sysPath)
{
    UsbFolder contents;
    const std::string interfaces = fs::path(sysPath).filename().string() + ":";
    for (const fs::path &entry : entriesOf(sysPath)) {
        if (entry.filename().string().rfind(interfaces, 0) != 0)
            continue;
        // Interfaces of the video class that stream.
        if (attributeIs(entry, "bInterfaceClass", "0e") &&
            attributeIs(entry, "bInterfaceSubClass", "02"))
            ++contents.videoStreams;
        for (const fs::path &node : entriesOf(entry / "video4linux")) {
            if (node.filename().string().rfind("video", 0) == 0)
                contents.videoNodes.push_back(node.string());
        }
    }
    return contents;
}

bool isUdevRunning(udev &context)
{
    const UdevPtr<udev_queue> queue(udev_queue_new(&context));
    return queue && udev_queue_get_udev_is_active(queue.get()) != 0;
}

std::string attributeText(const char *value)
{
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    const std::string_view text = value == nullptr ? "" : value;
    const auto begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return "";
    return cleanText(text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1));
}

NodeScanner::NodeScanner(udev &context, NodeOpener opener)
    : m_udev(context), m_opener(std::move(opener))
{
}

Scan NodeScanner::scan() const
{
    Scan result;
    const UdevPtr<udev_enumerate> search(udev_enumerate_new(&m_udev));
    if (!search)
        return {{}, false};
    const bool udevRuns = isUdevRunning(m_udev);
    udev_enumerate_add_match_subsystem(search.get(), kSubsystem);
    result.complete = udev_enumerate_scan_devices(search.get()) >= 0;
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(search.get()))
    {
        const char *path = udev_list_entry_get_name(entry);
        const UdevPtr<udev_device> device(udev_device_new_from_syspath(&m_udev, path));
        if (!device) {
            result.complete = result.complete && !isAttached(path);
            continue;
        }
        // udev has not set it up yet: its event will follow.
        if (udevRuns && udev_device_get_is_initialized(device.get()) == 0)
            continue;
        NodeInfo node;
        const Outcome outcome = describe(*device, node);
        if (outcome == Outcome::kUnreadable)
            result.complete = result.complete && !isAttached(path);
        if (outcome != Outcome::kNode)
            continue;
        if (udevRuns) {
            node.age =
                std::chrono::microseconds(udev_device_get_usec_since_initialized(device.get()));
        }
        result.nodes.push_back(std::move(node));
    }
    std::sort(result.nodes.begin(), result.nodes.end(),
              [](const NodeInfo &a, const NodeInfo &b) { return a.number < b.number; });
    return result;
}

NodeScanner::Outcome NodeScanner::describe(udev_device &device, NodeInfo &node) const
{
    const char *name = udev_device_get_sysname(&device);
    const char *number = udev_device_get_sysnum(&device);
    const char *path = udev_device_get_devnode(&device);
    // The subsystem also has radios, teletext and parts of cameras.
    if (name == nullptr || std::strncmp(name, "video", 5) != 0 || number == nullptr ||
        path == nullptr)
        return Outcome::kOther;
    node.sysPath = udev_device_get_syspath(&device);
    node.path = path;
    node.number = static_cast<unsigned int>(std::strtoul(number, nullptr, 10));
    node.captures = captures(device);
    // The child owns its parent.
    udev_device *usb = udev_device_get_parent_with_subsystem_devtype(&device, "usb", "usb_device");
    if (usb == nullptr)
        return isOnUsb(node.sysPath) ? Outcome::kUnreadable : Outcome::kNode;
    if (!identify(*usb, node.usb.emplace()))
        return Outcome::kUnreadable;
    if (node.usb->product.empty())
        node.usb->product = attributeText(udev_device_get_sysattr_value(&device, "name"));
    return Outcome::kNode;
}

std::optional<NodeInfo> NodeScanner::find(dev_t number) const
{
    const UdevPtr<udev_device> device(udev_device_new_from_devnum(&m_udev, 'c', number));
    const char *subsystem = device ? udev_device_get_subsystem(device.get()) : nullptr;
    if (subsystem == nullptr || std::strcmp(subsystem, kSubsystem) != 0)
        return std::nullopt;
    NodeInfo node;
    if (describe(*device, node) != Outcome::kNode)
        return std::nullopt;
    return node;
}

bool NodeScanner::captures(udev_device &device) const
{
    if (const char *known = udev_device_get_property_value(&device, "ID_V4L_CAPABILITIES")) {
        // A node with both is a codec, which produces frames only from frames that it is given.
        return std::strstr(known, ":capture:") != nullptr &&
               std::strstr(known, ":video_output:") == nullptr;
    }
    std::unique_ptr<NodeIo> node;
    if (m_opener(udev_device_get_devnode(&device), node) == 0) {
        if (const auto can = readCapabilities(*node))
            return (*can & V4L2_CAP_VIDEO_CAPTURE) != 0 && (*can & V4L2_CAP_VIDEO_OUTPUT) == 0;
    }
    // The node cannot be queried, perhaps for lack of permission: opening the camera will report
    // that. The first node of a function is the one that captures.
    const char *index = udev_device_get_sysattr_value(&device, "index");
    return index == nullptr || std::strtoul(index, nullptr, 10) == 0;
}

}  // namespace nubrix::uvc
