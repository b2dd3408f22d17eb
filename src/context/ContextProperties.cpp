// What is passed through to an open device: modes, properties, version.
#include "base/LogCall.h"
#include "context/ContextGuards.h"

namespace nubrix {

int Context::getSupportFrameMode(NubrixDevice *handle, unsigned int streamType,
                                 const typedefNubrixFrameMode **modes, unsigned int *count)
{
    return onDevice(handle, [&](Device &device) {
        return device.getSupportFrameMode(streamType, modes, count);
    });
}

int Context::setFrameMode(NubrixDevice *handle, unsigned int streamType,
                          typedefNubrixFrameMode &mode)
{
    return onDevice(handle,
                    [&](Device &device) { return device.setFrameMode(streamType, mode, false); });
}

typedefNubrixFrameMode *Context::getCurrentFrameMode(NubrixDevice *handle, unsigned int streamType)
{
    return onDevice(handle, [&](Device &device) { return device.getCurrentFrameMode(streamType); });
}

int Context::setDeviceProperty(NubrixDevice *handle, unsigned int id, const void *data,
                               unsigned int size)
{
    return onDevice(handle, [&](Device &device) { return device.setProperty(id, data, size); });
}

int Context::getDeviceProperty(NubrixDevice *handle, unsigned int id, void *data,
                               unsigned int *size)
{
    return onDevice(handle, [&](Device &device) { return device.getProperty(id, data, size); });
}

int Context::propertyTranspraentTransmission(NubrixDevice *handle, unsigned char *in,
                                             unsigned int inSize, unsigned char *out,
                                             unsigned int *outSize)
{
    return onDevice(handle, [&](Device &device) {
        return device.propertyTranspraentTransmission(in, inSize, out, outSize);
    });
}

int Context::getVersion(NubrixDevice *handle, NubrixVersions *versions)
{
    return onDevice(handle, [&](Device &device) {
        unsigned int size = sizeof(*versions);
        return device.getProperty(NUBRIX_PROPERTY_VERSION, versions, &size);
    });
}

int Context::setTemperatureParamsFilePath(NubrixDevice *handle, const char *path)
{
    return onDevice(handle,
                    [&](Device &device) { return device.setTemperatureParamsFilePath(path); });
}

int Context::setStreamFlagMode(NubrixDevice *handle, unsigned int mode)
{
    return onDevice(handle, [&](Device &device) {
        if (mode < 1 || mode > 4)
            return -1;
        logPrint(kLogMilestone, "Set Stream Flag Mode = %d", static_cast<int>(mode));
        return device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode, sizeof(mode));
    });
}

}  // namespace nubrix
