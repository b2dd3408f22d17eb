#include "uvc/NodeScanner.h"

#include <linux/videodev2.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/Text.h"
#include "uvc/NodeFormats.h"

namespace nubrix {

namespace {

constexpr const char *kSubsystem = "video4linux";

unsigned int hexAttribute(udev_device &device, const char *name)
{
    const char *text = udev_device_get_sysattr_value(&device, name);
    return text == nullptr ? 0 : static_cast<unsigned int>(std::strtoul(text, nullptr, 16));
}

UsbIdentity identityOf(udev_device &usb)
{
    UsbIdentity identity;
    identity.sysPath = udev_device_get_syspath(&usb);
    identity.busPath = udev_device_get_sysname(&usb);
    identity.vendorId = hexAttribute(usb, "idVendor");
    identity.productId = hexAttribute(usb, "idProduct");
    identity.address = hexAttribute(usb, "devnum");
    identity.release = hexAttribute(usb, "bcdDevice");
    identity.serial = attributeText(udev_device_get_sysattr_value(&usb, "serial"));
    identity.product = attributeText(udev_device_get_sysattr_value(&usb, "product"));
    return identity;
}

}  // namespace

bool isUdevThere(udev &context)
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

std::vector<NodeInfo> NodeScanner::scan() const
{
    std::vector<NodeInfo> nodes;
    const UdevPtr<udev_enumerate> search(udev_enumerate_new(&m_udev));
    if (!search)
        return nodes;
    const bool udevRuns = isUdevThere(m_udev);
    udev_enumerate_add_match_subsystem(search.get(), kSubsystem);
    udev_enumerate_scan_devices(search.get());
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(search.get()))
    {
        const char *path = udev_list_entry_get_name(entry);
        const UdevPtr<udev_device> device(udev_device_new_from_syspath(&m_udev, path));
        if (!device)  // gone meanwhile
            continue;
        // udev has still to say what it is and who may open it; its event is to come.
        if (udevRuns && udev_device_get_is_initialized(device.get()) == 0)
            continue;
        auto node = describe(*device);
        if (!node)
            continue;
        if (udevRuns) {
            node->age =
                std::chrono::microseconds(udev_device_get_usec_since_initialized(device.get()));
        }
        nodes.push_back(std::move(*node));
    }
    std::sort(nodes.begin(), nodes.end(),
              [](const NodeInfo &a, const NodeInfo &b) { return a.number < b.number; });
    return nodes;
}

std::optional<NodeInfo> NodeScanner::describe(udev_device &device) const
{
    const char *name = udev_device_get_sysname(&device);
    const char *number = udev_device_get_sysnum(&device);
    const char *path = udev_device_get_devnode(&device);
    // Of this subsystem are also radios, teletext and parts of cameras.
    if (name == nullptr || std::strncmp(name, "video", 5) != 0 || number == nullptr ||
        path == nullptr)
        return std::nullopt;
    NodeInfo node;
    node.sysPath = udev_device_get_syspath(&device);
    node.path = path;
    node.number = static_cast<unsigned int>(std::strtoul(number, nullptr, 10));
    node.captures = captures(device);
    // The parent belongs to the child.
    udev_device *usb = udev_device_get_parent_with_subsystem_devtype(&device, "usb", "usb_device");
    if (usb != nullptr) {
        node.usb = identityOf(*usb);
        if (node.usb->product.empty())
            node.usb->product = attributeText(udev_device_get_sysattr_value(&device, "name"));
    }
    return node;
}

std::optional<NodeInfo> NodeScanner::find(dev_t number) const
{
    const UdevPtr<udev_device> device(udev_device_new_from_devnum(&m_udev, 'c', number));
    const char *subsystem = device ? udev_device_get_subsystem(device.get()) : nullptr;
    if (subsystem == nullptr || std::strcmp(subsystem, kSubsystem) != 0)
        return std::nullopt;
    return describe(*device);
}

bool NodeScanner::captures(udev_device &device) const
{
    if (const char *known = udev_device_get_property_value(&device, "ID_V4L_CAPABILITIES")) {
        // Both in one node: a codec, which gives pictures only for pictures.
        return std::strstr(known, ":capture:") != nullptr &&
               std::strstr(known, ":video_output:") == nullptr;
    }
    std::unique_ptr<NodeIo> node;
    if (m_opener(udev_device_get_devnode(&device), node) == 0) {
        if (const auto can = readCapabilities(*node))
            return (*can & V4L2_CAP_VIDEO_CAPTURE) != 0 && (*can & V4L2_CAP_VIDEO_OUTPUT) == 0;
    }
    // Not to be asked, perhaps for want of permission: opening the camera will tell. The first node
    // of a function gives its pictures.
    const char *index = udev_device_get_sysattr_value(&device, "index");
    return index == nullptr || std::strtoul(index, nullptr, 10) == 0;
}

}  // namespace nubrix
