#include "tests/fakes/FakeDevice.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/FakeStream.h"
#include "tests/fakes/FakeUpgrade.h"

namespace nubrix {

namespace {

std::string hex(const void *data, unsigned int size)
{
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
        const unsigned int byte = static_cast<const unsigned char *>(data)[i];
        text += {kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
    return text;
}

std::string describe(const typedefNubrixFrameMode &mode)
{
    return std::to_string(mode.width) + "x" + std::to_string(mode.height) + "@" +
           std::to_string(mode.frameRate);
}

}  // namespace

FakeDevice::FakeDevice(FakeDriver &driver, std::string id) : m_driver(driver), m_id(std::move(id))
{
}

void FakeDevice::record(const std::string &call)
{
    m_driver.record(m_id + " " + call);
}

FakeDevice::~FakeDevice()
{
    for (const auto &stream : m_streams)
        stream->halt();
}

int FakeDevice::createStream(unsigned int streamType, NubrixBaseStream **stream)
{
    record("createStream " + std::to_string(streamType));
    if (const int failed = m_driver.results.createStream)
        return failed;
    if (m_driver.givesNullStream)
        return 0;
    auto created = std::make_shared<FakeStream>(m_driver, m_id, streamType);
    *stream = created.get();
    const std::lock_guard<std::mutex> guard(m_driver.m_mutex);
    m_streams.push_back(std::move(created));
    return 0;
}

int FakeDevice::destroyStream(NubrixBaseStream **stream)
{
    std::shared_ptr<FakeStream> last;
    {
        const std::lock_guard<std::mutex> guard(m_driver.m_mutex);
        const auto found = std::find_if(m_streams.begin(), m_streams.end(),
                                        [&](const auto &each) { return each.get() == *stream; });
        if (found == m_streams.end())
            return -4;
        last = std::move(*found);
        m_streams.erase(found);
    }
    record("destroyStream " + std::to_string(last->type()));
    last->halt();
    *stream = nullptr;
    return 0;
}

int FakeDevice::closeAllStreams()
{
    record("closeAllStreams");
    return 0;
}

int FakeDevice::setProperty(unsigned int id, const void *data, unsigned int size)
{
    record("setProperty " + std::to_string(id) + " " + hex(data, size));
    if (const int failed = m_driver.results.setProperty)
        return failed;
    const auto *const bytes = static_cast<const unsigned char *>(data);
    m_driver.setPropertyValue(id, std::vector<unsigned char>(bytes, bytes + size));
    return 0;
}

int FakeDevice::getProperty(unsigned int id, void *data, unsigned int *size)
{
    record("getProperty " + std::to_string(id) + " " + std::to_string(*size));
    if (const int failed = m_driver.results.getProperty)
        return failed;
    const std::lock_guard<std::mutex> guard(m_driver.m_mutex);
    const auto found = m_driver.m_properties.find(id);
    if (found == m_driver.m_properties.end())
        return -8;
    *size = std::min(*size, static_cast<unsigned int>(found->second.size()));
    if (*size != 0)
        std::memcpy(data, found->second.data(), *size);
    return 0;
}

int FakeDevice::propertyTranspraentTransmission(unsigned char *in, unsigned int inSize,
                                                unsigned char *out, unsigned int *outSize)
{
    record("propertyTranspraentTransmission " + hex(in, inSize) + " " + std::to_string(*outSize));
    if (const int failed = m_driver.results.transparent)
        return failed;
    *outSize = std::min(*outSize, inSize);
    std::reverse_copy(in, in + *outSize, out);
    return 0;
}

int FakeDevice::deviceState()
{
    record("deviceState");
    return state;
}

int FakeDevice::keepLiveState()
{
    record("keepLiveState");
    return keepLive;
}

int FakeDevice::setTemperatureParamsFilePath(const char *path)
{
    record(std::string("setTemperatureParamsFilePath ") + (path ? path : "(null)"));
    return m_driver.results.setTemperatureParamsFilePath;
}

int FakeDevice::getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                                    unsigned int *count)
{
    record("getSupportFrameMode " + std::to_string(streamType));
    const std::lock_guard<std::mutex> guard(m_driver.m_mutex);
    *modes = m_driver.m_modes.data();
    *count = static_cast<unsigned int>(m_driver.m_modes.size());
    return m_driver.results.getSupportFrameMode;
}

int FakeDevice::setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                             bool restart)
{
    record("setFrameMode " + std::to_string(streamType) + " " + describe(mode) +
           (restart ? " restart" : ""));
    if (const int failed = m_driver.results.setFrameMode)
        return failed;
    const std::lock_guard<std::mutex> guard(m_driver.m_mutex);
    m_driver.m_currentModes[streamType] = mode;
    return 0;
}

typedefNubrixFrameMode *FakeDevice::getCurrentFrameMode(unsigned int streamType)
{
    record("getCurrentFrameMode " + std::to_string(streamType));
    const std::lock_guard<std::mutex> guard(m_driver.m_mutex);
    const auto found = m_driver.m_currentModes.find(streamType);
    return found == m_driver.m_currentModes.end() ? nullptr : &found->second;
}

const char *FakeDevice::getDeviceId()
{
    record("getDeviceId");
    return m_id.c_str();
}

int FakeDevice::getDeviceKind()
{
    record("getDeviceKind");
    return m_driver.deviceKind;
}

NubrixBaseUpgrade *FakeDevice::createUpgradeIntance()
{
    record("createUpgradeIntance");
    if (m_driver.hasPlainUpgrader)
        return new NubrixBaseUpgrade;
    return m_driver.hasUpgrader ? new FakeUpgrade(m_driver, m_id, m_driver.upgrading) : nullptr;
}

}  // namespace nubrix
