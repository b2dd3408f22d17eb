// A system with the USB devices and video nodes that a test attaches.
#pragma once

#include <gmock/gmock.h>
#include <umockdev.h>

#include <chrono>
#include <optional>
#include <string>

namespace nubrix::uvc {

/// Everything below needs libumockdev-preload.so to be loaded with the program.
class MockedUdev {
public:
    MockedUdev();
    ~MockedUdev();
    MockedUdev(const MockedUdev &) = delete;
    MockedUdev &operator=(const MockedUdev &) = delete;

    static std::string usbPath(const std::string &busPath)
    {
        return "/devices/pci0/usb1/" + busPath;
    }
    static std::string nodePath(const std::string &busPath, unsigned int number)
    {
        return usbPath(busPath) + "/" + busPath + ":1.0/video4linux/video" + std::to_string(number);
    }

    /// `lines` are attributes: "A: serial=1\n".
    void addUsb(const std::string &busPath, const std::string &lines)
    {
        add("P: " + usbPath(busPath) +
            "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n"
            "A: idVendor=1209\nA: idProduct=0001\nA: bcdDevice=0102\n" +
            lines);
    }
    /// Adds a node of a USB device; `capabilities` are what udev reports: ":capture:", ":". Sends
    /// events.
    void addNode(const std::string &busPath, unsigned int number,
                 const std::string &capabilities = ":capture:")
    {
        add(nodeText(nodePath(busPath, number), number) + "E: ID_V4L_CAPABILITIES=" + capabilities +
            "\nA: name=Camera\n");
    }
    void addUndescribedNode(const std::string &path, unsigned int number, const std::string &lines)
    {
        add(nodeText(path, number) + lines);
    }
    /// Creates what the kernel shows of a node before udev has set it up.
    void addNodeWithoutEvent(const std::string &busPath, unsigned int number)
    {
        add("P: " + nodePath(busPath, number) + "\nE: SUBSYSTEM=none\n");
    }
    /// Creates the description of a stream in a USB device.
    void addStreamInterface(const std::string &busPath, unsigned int number)
    {
        add("P: " + usbPath(busPath) + "/" + busPath + ":1." + std::to_string(number) +
            "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\nA: bInterfaceClass=0e\n"
            "A: bInterfaceSubClass=02\n");
    }
    /// udev runs by default.
    void setRunning(bool running);
    /// Drops the next events, with an error of the system.
    void loseEvents(int count, int error);
    /// Lets the next `passed` scans of all devices succeed and the `count` after them fail.
    void failScans(int count, int passed = 0);
    /// Sets how long ago udev set up a node, nullopt: not yet. By default long ago.
    void setAge(const std::string &busPath, unsigned int number,
                std::optional<std::chrono::milliseconds> age);
    void removeNode(const std::string &busPath, unsigned int number)
    {
        sendEvent(busPath, number, "remove");
        removeWithoutEvent(busPath, number);
    }
    void removeWithoutEvent(const std::string &busPath, unsigned int number)
    {
        umockdev_testbed_remove_device(m_testbed, ("/sys" + nodePath(busPath, number)).c_str());
    }
    void removeUsb(const std::string &busPath)
    {
        umockdev_testbed_remove_device(m_testbed, ("/sys" + usbPath(busPath)).c_str());
    }
    /// Sends the event of a node again.
    void repeatAdd(const std::string &busPath, unsigned int number)
    {
        sendEvent(busPath, number, "add");
    }
    void sendEvent(const std::string &busPath, unsigned int number, const char *action)
    {
        const std::string path = "/sys" + nodePath(busPath, number);
        umockdev_testbed_uevent(m_testbed, path.c_str(), action);
    }
    void add(const std::string &text)
    {
        GError *error = nullptr;
        EXPECT_TRUE(umockdev_testbed_add_from_string(m_testbed, text.c_str(), &error))
            << (error == nullptr ? "" : error->message);
        g_clear_error(&error);
    }

private:
    static std::string nodeText(const std::string &path, unsigned int number)
    {
        const std::string digits = std::to_string(number);
        return "P: " + path + "\nN: video" + digits +
               "=00\nE: SUBSYSTEM=video4linux\nE: DEVNAME=/dev/video" + digits +
               "\nE: MAJOR=81\nE: MINOR=" + std::to_string(kFirstMinor + number) + "\n";
    }

    // The real system describes its own devices here, too.
    static constexpr unsigned int kFirstMinor = 200;

    UMockdevTestbed *m_testbed = nullptr;
};

}  // namespace nubrix::uvc
