// The camera of a fake driver.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "nubrix/driver.h"

namespace nubrix {

class FakeDriver;
class FakeStream;

/// An open camera of a FakeDriver.
class FakeDevice final : public NubrixBaseDevice {
public:
    FakeDevice(FakeDriver &driver, std::string id);
    ~FakeDevice() override;

    std::atomic<int> state{NUBRIX_DEVICE_CONNECTED};
    std::atomic<int> keepLive{1};

    int createStream(unsigned int streamType, NubrixBaseStream **stream) override;
    int destroyStream(NubrixBaseStream **stream) override;
    int closeAllStreams() override;
    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    /// Answers with the bytes in reverse order.
    int propertyTranspraentTransmission(unsigned char *in, unsigned int inSize, unsigned char *out,
                                        unsigned int *outSize) override;
    int deviceState() override;
    int keepLiveState() override;
    int setTemperatureParamsFilePath(const char *path) override;
    int getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                            unsigned int *count) override;
    int setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                     bool restart) override;
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int streamType) override;
    const char *getDeviceId() override;
    int getDeviceKind() override;
    NubrixBaseUpgrade *createUpgradeIntance() override;

private:
    friend class FakeDriver;
    friend class FakeStream;

    void record(const std::string &call);

    FakeDriver &m_driver;
    const std::string m_id;
    std::vector<std::shared_ptr<FakeStream>> m_streams;  // under the driver's mutex
};

}  // namespace nubrix
