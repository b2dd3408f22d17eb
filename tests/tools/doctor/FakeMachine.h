// A machine for the checks of 'nubrix doctor' whose files a test creates in a folder.
#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>

#include "doctor/Checks.h"
#include "doctor/Machine.h"
#include "tests/TemporaryFolder.h"

namespace nubrix::tool {

class FakeMachine {
public:
    FakeMachine()
    {
        machine.root = m_folder.path();
        machine.kernelRelease = "6.1.0-test";
        machine.user = "visitor";
        machine.access = [this](const std::string &path) {
            const auto found = access.find(path.substr(machine.root.size()));
            return found == access.end() ? Machine::Access::kGranted : found->second;
        };
        machine.run = [this](const std::string &command) {
            const auto found = answers.find(command);
            return found == answers.end() ? std::nullopt : std::optional(found->second);
        };
    }

    void add(const std::string &absolute, const std::string &content = "") const
    {
        const std::filesystem::path path = machine.path(absolute);
        std::filesystem::create_directories(path.parent_path());
        writeFile(path, content);
    }
    /// The control interface of a USB camera, and the driver that uses it.
    void addCamera(const std::string &busPath, const std::string &driver) const
    {
        const std::string folder = "/sys/bus/usb/devices/" + busPath + ":1.0";
        add(folder + "/bInterfaceClass", "0e\n");
        add(folder + "/bInterfaceSubClass", "01\n");
        if (!driver.empty())
            std::filesystem::create_symlink("../drivers/" + driver,
                                            machine.path(folder + "/driver"));
    }
    void addPort(const std::string &busPath, const std::string &speed,
                 const std::string &version) const
    {
        add("/sys/bus/usb/devices/" + busPath + "/speed", speed + "\n");
        add("/sys/bus/usb/devices/" + busPath + "/version", " " + version + "\n");
    }
    /// A network interface that is up and connected at this speed.
    void addInterface(const std::string &name, const std::string &speed = "1000",
                      const std::string &packet = "9000") const
    {
        const std::string folder = "/sys/class/net/" + name;
        add(folder + "/type", "1\n");
        add(folder + "/device/vendor", "0x1209\n");
        add(folder + "/flags", "0x1003\n");
        add(folder + "/carrier", "1\n");
        add(folder + "/duplex", "full\n");
        add(folder + "/speed", speed + "\n");
        add(folder + "/mtu", packet + "\n");
    }

    /// The loopback interface, to which no camera is attached.
    void addLoopback()
    {
        add("/sys/class/net/lo/type", "772\n");
        add("/sys/class/net/lo/flags", "0x9\n");
        add("/sys/class/net/lo/mtu", "65536\n");
        machine.addresses.push_back({"lo", "127.0.0.1", 8});
    }

    Machine machine;
    std::map<std::string, Machine::Access> access;  // by path; granted by default
    std::map<std::string, std::string> answers;     // outputs by command; other commands fail

private:
    TemporaryFolder m_folder;
};

/// Matches a finding with this state whose text and cure contain these parts.
inline auto finds(Finding::State state, const std::string &text, const std::string &cure = "")
{
    using testing::AllOf;
    using testing::Field;
    return AllOf(Field(&Finding::state, state), Field(&Finding::text, testing::HasSubstr(text)),
                 Field(&Finding::cure, testing::HasSubstr(cure)));
}

}  // namespace nubrix::tool
