#include "virtual/VirtualUpgrade.h"

#include <exception>
#include <utility>
#include <variant>

#include "common/Report.h"
#include "virtual/FirmwareImage.h"
#include "virtual/UpgradeRun.h"
#include "virtual/VirtualCamera.h"

namespace nubrix {

VirtualUpgrade::VirtualUpgrade(VirtualCamera &camera)
    : m_uri(camera.uri()),
      m_serial(camera.serial()),
      m_location(camera.location()),
      m_run(std::make_shared<UpgradeRun>(camera))
{
    camera.addUpgrade(m_run);
}

VirtualUpgrade::~VirtualUpgrade()
{
    m_run->breakOff();
    std::thread last;
    {
        // A callback may end the upgrader before the start of its upgrade has returned.
        const std::lock_guard<std::mutex> lock(m_lock);
        last.swap(m_thread);
    }
    if (last.get_id() == std::this_thread::get_id())
        last.detach();  // it goes on to its end with the run alone
    else if (last.joinable())
        last.join();
}

int VirtualUpgrade::deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                              const char *file)
{
    if (file == nullptr)
        return kBadArgument;
    auto read = FirmwareImage::read(file);
    if (const auto *wrong = std::get_if<std::string>(&read)) {
        complainOfUpgrade(m_uri, *wrong);
        return kBadArgument;
    }
    if (const int refused = m_run->begin())
        return refused;
    const UpgradeRun::Callbacks told = callbacks ? *callbacks : UpgradeRun::Callbacks();
    const std::shared_ptr<UpgradeRun> run = m_run;
    std::thread before;
    try {
        const std::lock_guard<std::mutex> lock(m_lock);
        before = std::exchange(
            m_thread, std::thread([run, image = std::move(std::get<FirmwareImage>(read)), told] {
                run->run(&image, told);
            }));
    } catch (const std::exception &error) {
        complainOfUpgrade(m_uri, error.what());
        run->run(nullptr, told);
        return kFailed;
    }
    // Its upgrade is over, but it may still be in onFinished, which may be calling this.
    if (before.get_id() == std::this_thread::get_id())
        before.detach();
    else if (before.joinable())
        before.join();
    return kDone;
}

void VirtualUpgrade::onDeviceStateChange(const char * /*deviceAddr*/, const char * /*serial*/,
                                         const char * /*location*/, unsigned int state)
{
    m_run->onEvent(state);
}

bool VirtualUpgrade::isUpgradeState()
{
    return m_run->keepsEvent();
}

std::string VirtualUpgrade::getDeviceSerialNumber()
{
    return m_serial;
}

std::string VirtualUpgrade::getDeviceLocation()
{
    return m_location;
}

}  // namespace nubrix
