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
      m_threads(camera.threads()),
      m_run(std::make_shared<UpgradeRun>(camera))
{
    camera.addUpgrade(m_run);
}

VirtualUpgrade::~VirtualUpgrade()
{
    m_run->breakOff();
}

int VirtualUpgrade::deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                              const char *file)
try {
    if (file == nullptr)
        return kBadArgument;
    auto read = FirmwareImage::read(file);
    if (const auto *wrong = std::get_if<std::string>(&read)) {
        reportUpgrade(m_uri, *wrong);
        return kBadArgument;
    }
    const UpgradeRun::Callbacks told = callbacks ? *callbacks : UpgradeRun::Callbacks();
    return begin(std::move(std::get<FirmwareImage>(read)), told);
} catch (...) {
    reportFailure("the upgrade of a virtual camera");
    return kFailed;
}

int VirtualUpgrade::begin(FirmwareImage image, const typedefNubrixUpgradeCallbacks &callbacks)
{
    if (const int refused = m_run->begin())
        return refused;
    const std::shared_ptr<UpgradeRun> run = m_run;
    try {
        m_threads.run([run, image = std::move(image), callbacks] { run->run(&image, callbacks); });
        return kDone;
    } catch (const std::exception &) {
        run->run(nullptr, callbacks);
        throw;
    }
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
