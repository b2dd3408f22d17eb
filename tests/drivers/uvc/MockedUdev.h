// A system with the USB devices and video nodes that a test attaches.
#pragma once

#include <gmock/gmock.h>
#include <umockdev.h>

#include <string>

namespace nubrix {

/// Everything below needs libumockdev-preload.so to be loaded with the program.
class MockedUdev {
public:
    MockedUdev()
    {
        m_testbed = umockdev_testbed_new();
        EXPECT_TRUE(umockdev_in_mock_environment()) << "LD_PRELOAD lacks libumockdev-preload.so.0";
    }
    ~MockedUdev() { g_object_unref(m_testbed); }
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
    /// A node of a USB device; udev tells what it is good for: ":capture:", ":". Has events sent.
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
    void removeNode(const std::string &busPath, unsigned int number)
    {
        const std::string path = "/sys" + nodePath(busPath, number);
        umockdev_testbed_uevent(m_testbed, path.c_str(), "remove");
        umockdev_testbed_remove_device(m_testbed, path.c_str());
    }
    void removeUsb(const std::string &busPath)
    {
        umockdev_testbed_remove_device(m_testbed, ("/sys" + usbPath(busPath)).c_str());
    }
    /// Sends the event of a node once more.
    void repeatAdd(const std::string &busPath, unsigned int number)
    {
        umockdev_testbed_uevent(m_testbed, ("/sys" + nodePath(busPath, number)).c_str(), "add");
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
               "\nE: MAJOR=81\nE: MINOR=" + digits + "\n";
    }

    UMockdevTestbed *m_testbed = nullptr;
};

}  // namespace nubrix
