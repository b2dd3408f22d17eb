// Properties and features of an opened network camera.
#include <cmath>
#include <cstring>
#include <exception>
#include <utility>

#include "common/CameraProperties.h"
#include "net/CameraSetup.h"
#include "net/NetDevice.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

constexpr double kLargestIntrinsic = 1e9;  // pixels; NaN is not below it either

}  // namespace

int NetDevice::access(FeatureRequest request, Bytes &value, CameraState::Clock::time_point deadline)
{
    struct Result {
        int status;
        Bytes value;
    };
    auto answer = m_worker->submit(deadline, [camera = camera(), task = std::move(request)] {
        Result result = {};
        result.status = accessFeature(*camera, task, result.value);
        return result;
    });
    if (!await(answer, deadline))
        return kGone;
    Result result = answer.get();
    value = std::move(result.value);
    return result.status;
}

int NetDevice::setProperty(unsigned int id, const void *data, unsigned int size)
try {
    if (auto feature = featureOfProperty(id)) {
        if (data == nullptr && size != 0)
            return kBadArgument;
        if (isGone())
            return kGone;
        const auto *bytes = static_cast<const unsigned char *>(data);
        feature->isWrite = true;
        feature->value.assign(bytes, bytes + size);
        Bytes nothing;
        return access(std::move(*feature), nothing, callDeadline());
    }
    if (id != kPropertyIncomplete)
        return DriverDevice::setProperty(id, data, size);
    unsigned int value = 0;
    if (data == nullptr || size != sizeof value)
        return kBadArgument;
    if (isGone())
        return kGone;
    std::memcpy(&value, data, sizeof value);
    if (value > 1)
        return kBadArgument;
    m_incomplete = value;
    return kDone;
} catch (const std::exception &) {
    return kFailed;
}

int NetDevice::getProperty(unsigned int id, void *data, unsigned int *size)
try {
    if (isCounters(id))
        return DriverDevice::getProperty(id, data, size);
    if (data == nullptr || size == nullptr)
        return kBadArgument;
    if (isGone())
        return kGone;
    if (id == kPropertyIncomplete) {
        const unsigned int value = m_incomplete;
        return copyProperty(&value, sizeof value, data, size);
    }
    if (knows(id - kPropertyIntrinsics))
        return getIntrinsics(id - kPropertyIntrinsics, data, size);
    auto feature = featureOfProperty(id);
    if (!feature)
        return DriverDevice::getProperty(id, data, size);
    Bytes value;
    if (const int status = access(std::move(*feature), value, callDeadline()))
        return status;
    return copyProperty(value.data(), static_cast<unsigned int>(value.size()), data, size);
} catch (const std::exception &) {
    return kFailed;
}

// The camera reports the intrinsics of the whole sensor; a mode is a region in the middle of it.
int NetDevice::getIntrinsics(unsigned int streamType, void *data, unsigned int *size)
{
    const StreamModes &modes = modesOf(streamType);
    if (modes.records.empty())
        return kUnsupported;
    const auto deadline = callDeadline();
    const auto read = [&](const char *feature, double &value) {
        Bytes bytes;
        const int status = access({false, FeatureType::kFloat, feature, {}}, bytes, deadline);
        if (status != kDone)
            return status;
        std::memcpy(&value, bytes.data(), sizeof value);
        if (std::abs(value) <= kLargestIntrinsic)
            return kDone;
        kReporter.error(name() + ": its " + feature + " is " + numberText(value));
        return kFailed;
    };
    double focal = 0;
    double u = 0;
    double v = 0;
    for (const auto &[feature, value] :
         {std::pair<const char *, double *>("Scan3dFocalLength", &focal),
          {"Scan3dPrincipalPointU", &u},
          {"Scan3dPrincipalPointV", &v}}) {
        if (const int status = read(feature, *value))
            return status;
    }
    const RegionOffset offset = offsetOf(m_sensor, mode(streamType), *modes.format);
    const CameraIntrinsics intrinsics = {static_cast<float>(focal), static_cast<float>(focal),
                                         static_cast<float>(u - offset.x),
                                         static_cast<float>(v - offset.y)};
    return copyProperty(&intrinsics, sizeof intrinsics, data, size);
}

int NetDevice::propertyTranspraentTransmission(unsigned char *in, unsigned int inSize,
                                               unsigned char *out, unsigned int *outSize)
try {
    auto request = parseFeatureRequest(in, inSize);
    if (!request || (!request->isWrite && (out == nullptr || outSize == nullptr)))
        return kBadArgument;
    if (isGone())
        return kGone;
    const bool isWrite = request->isWrite;
    Bytes value;
    const int status = access(std::move(*request), value, callDeadline());
    if (status != kDone || isWrite)
        return status;
    return copyProperty(value.data(), static_cast<unsigned int>(value.size()), out, outSize);
} catch (const std::exception &) {
    return kFailed;
}

}  // namespace nubrix::net
