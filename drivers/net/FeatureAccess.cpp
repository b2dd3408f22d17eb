#include "net/FeatureAccess.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "common/Text.h"
#include "net/CameraSetup.h"
#include "net/NetProperties.h"
#include "net/Report.h"

namespace nubrix::net {

namespace {

constexpr std::size_t kHeader = 4;

struct FeatureRow {
    const char *name;
    FeatureType type;
};

// The order is that of the ids.
constexpr FeatureRow kFeatures[] = {
    {"ExposureTime", FeatureType::kFloat},      {"Gain", FeatureType::kFloat},
    {"BlackLevel", FeatureType::kFloat},        {"Gamma", FeatureType::kFloat},
    {"DeviceTemperature", FeatureType::kFloat}, {"ExposureAuto", FeatureType::kText},
    {"GainAuto", FeatureType::kText},           {"BalanceWhiteAuto", FeatureType::kText},
    {"TriggerMode", FeatureType::kText},        {"TriggerSource", FeatureType::kText},
    {"TriggerSoftware", FeatureType::kCommand}, {"DeviceUserID", FeatureType::kText},
    {"GevSCPD", FeatureType::kInteger},         {"DeviceReset", FeatureType::kCommand}};
static_assert(std::size(kFeatures) == kFeatureCount);

template <class Number>
Bytes bytesOf(Number number)
{
    static_assert(sizeof number == 8);
    Bytes bytes(sizeof number);
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

template <class Number>
Number numberIn(const Bytes &bytes)
{
    static_assert(sizeof(Number) == 8);
    Number number = {};
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

bool isOf(ArvGcNode *node, FeatureType type)
{
    switch (type) {
        case FeatureType::kInteger:
            return ARV_IS_GC_INTEGER(node) || ARV_IS_GC_BOOLEAN(node);
        case FeatureType::kFloat:
            return ARV_IS_GC_FLOAT(node);
        case FeatureType::kText:
            return ARV_IS_GC_STRING(node);
        case FeatureType::kCommand:
            return ARV_IS_GC_COMMAND(node);
    }
    return false;
}

void readValue(ArvDevice *device, ArvGcNode *node, const FeatureRequest &request, Bytes &value,
               Error &error)
{
    const char *name = request.name.c_str();
    if (ARV_IS_GC_BOOLEAN(node)) {
        value =
            bytesOf<std::int64_t>(arv_device_get_boolean_feature_value(device, name, error.out()));
    } else if (request.type == FeatureType::kInteger) {
        value =
            bytesOf<std::int64_t>(arv_device_get_integer_feature_value(device, name, error.out()));
    } else if (request.type == FeatureType::kFloat) {
        value = bytesOf(arv_device_get_float_feature_value(device, name, error.out()));
    } else if (const char *text = arv_device_get_string_feature_value(device, name, error.out())) {
        const std::string clean = cleanText(text);
        value.assign(clean.begin(), clean.end());
    }
}

void writeValue(ArvDevice *device, ArvGcNode *node, const FeatureRequest &request, Error &error)
{
    const char *name = request.name.c_str();
    if (request.type == FeatureType::kText) {
        const std::string text(request.value.begin(), request.value.end());
        arv_device_set_string_feature_value(device, name, text.c_str(), error.out());
        return;
    }
    if (request.type == FeatureType::kFloat) {
        const auto value = numberIn<double>(request.value);
        arv_device_set_float_feature_value(device, name, value, error.out());
        return;
    }
    const auto value = numberIn<std::int64_t>(request.value);
    const gboolean isOn = value != 0 ? TRUE : FALSE;
    if (ARV_IS_GC_BOOLEAN(node))
        arv_device_set_boolean_feature_value(device, name, isOn, error.out());
    else
        arv_device_set_integer_feature_value(device, name, value, error.out());
}

}  // namespace

std::optional<FeatureRequest> parseFeatureRequest(const unsigned char *in, std::size_t size)
{
    if (in == nullptr || size < kHeader || in[0] > 1 || in[1] > 3)
        return std::nullopt;
    const std::size_t nameSize = in[2] | static_cast<std::size_t>(in[3]) << 8U;
    if (nameSize == 0 || size - kHeader < nameSize)
        return std::nullopt;
    const unsigned char *name = in + kHeader;
    return FeatureRequest{in[0] == 1, static_cast<FeatureType>(in[1]),
                          std::string(name, name + nameSize), Bytes(name + nameSize, in + size)};
}

std::optional<FeatureRequest> featureOfProperty(unsigned int id)
{
    if (id < kFirstFeature || id - kFirstFeature >= kFeatureCount)
        return std::nullopt;
    const FeatureRow &row = kFeatures[id - kFirstFeature];
    return FeatureRequest{false, row.type, row.name, {}};
}

int accessFeature(ArvCamera &camera, const FeatureRequest &request, Bytes &value)
{
    const bool isNumber =
        request.type == FeatureType::kInteger || request.type == FeatureType::kFloat;
    if (request.isWrite && isNumber && request.value.size() != 8)
        return kBadArgument;
    ArvDevice *device = arv_camera_get_device(&camera);
    ArvGcNode *node = arv_device_get_feature(device, request.name.c_str());
    if (node == nullptr)
        return kUnsupported;
    if (!isOf(node, request.type) || (request.type == FeatureType::kCommand && !request.isWrite))
        return kBadArgument;
    Error error;
    if (!request.isWrite)
        readValue(device, node, request, value, error);
    else if (request.type == FeatureType::kCommand)
        arv_device_execute_command(device, request.name.c_str(), error.out());
    else
        writeValue(device, node, request, error);
    if (!error)
        return kDone;
    report(request.name + ": " + error.text());
    return statusOf(error);
}

}  // namespace nubrix::net
