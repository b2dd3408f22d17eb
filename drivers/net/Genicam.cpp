#include "net/Genicam.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "common/Text.h"
#include "net/CameraSetup.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

constexpr std::string_view kLocal = "local:";
constexpr std::string_view kArchive("PK\3\4", 4);
constexpr std::string_view kEntry("PK\1\2", 4);  // begins an entry of an archive's directory
constexpr std::size_t kEntryBytes = 46;
constexpr std::size_t kEntrySize = 24;  // offset of the uncompressed size, 4 bytes

/// Removes a hexadecimal number and its separator, ';', '?' or nothing, from the text.
bool takeNumber(std::string_view &text, std::uint32_t &number)
{
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text.remove_prefix(2);
    const char *end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number, 16);
    if (failure != std::errc() || (stop != end && *stop != ';' && *stop != '?'))
        return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()) + (stop == end ? 0 : 1));
    return true;
}

bool isPlain(std::string_view name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
               std::string_view("._-+ ()[],").find(c) != std::string_view::npos;
    });
}

constexpr std::size_t kDeepest = 64;
constexpr long long kLongest = 1 << 20;     // bytes of a register
constexpr std::size_t kMostSteps = 100000;  // for one value
// The elements that a value is computed from. Limits and locks, which may depend on each other, are
// not among them.
constexpr std::string_view kParts[] = {"pValue", "pVariable", "pAddress",
                                       "pIndex", "pLength",   "pCommandValue"};

struct Feature {
    std::vector<std::string> parts;
    std::size_t steps = 0;   // features that are evaluated for this one; 0: not known yet
    std::size_t height = 0;  // length of the longest chain of features from here
    bool isOpen = false;     // it is being counted
};

using Features = std::map<std::string, Feature>;

std::string textOf(ArvDomNode *element)
{
    std::string text;
    for (ArvDomNode *node = arv_dom_node_get_first_child(element); node != nullptr;
         node = arv_dom_node_get_next_sibling(node)) {
        if (const char *value = arv_dom_node_get_node_value(node))
            text += value;
    }
    const auto isBlank = [](char c) {
        return std::string_view(" \t\r\n").find(c) != std::string_view::npos;
    };
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isBlank));
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isBlank).base(), text.end());
    return text;
}

/// Whether the length of a register is acceptable. Aravis allocates it, and ends the process when
/// there is no memory. The length may depend on another feature only in plain registers, which this
/// driver does not read.
bool hasValidLength(std::string_view kind, std::string_view tag, ArvDomNode *node)
{
    if (tag == "pLength")
        return kind == "Register";
    const long long length = tag == "Length" ? std::strtoll(textOf(node).c_str(), nullptr, 0) : 0;
    return length >= 0 && length <= kLongest;
}

/// Collects the features of an element. Registers are nested in groups.
bool collect(ArvDomNode *element, Features &features, std::size_t depth)
{
    if (depth > kDeepest)
        return false;
    const char *name = ARV_IS_DOM_ELEMENT(element)
                           ? arv_dom_element_get_attribute(ARV_DOM_ELEMENT(element), "Name")
                           : nullptr;
    for (ArvDomNode *node = arv_dom_node_get_first_child(element); node != nullptr;
         node = arv_dom_node_get_next_sibling(node)) {
        const char *tag = arv_dom_node_get_node_name(node);
        const bool isPart = tag != nullptr && std::find(std::begin(kParts), std::end(kParts),
                                                        tag) != std::end(kParts);
        if (tag != nullptr && !hasValidLength(arv_dom_node_get_node_name(element), tag, node))
            return false;
        if (isPart && name != nullptr)
            features[name].parts.push_back(textOf(node));
        else if (!isPart && !collect(node, features, depth + 1))
            return false;
    }
    return true;
}

/// Counts the steps and the height of a feature that is `depth` features away from the first one.
/// False when there are too many, or a cycle. The result for a whole description does not depend on
/// the order of the counting: a chain that is too long exceeds the limit by its height or its
/// depth.
bool count(Feature &feature, Features &features, std::size_t depth)
{
    if (feature.isOpen || depth >= kDeepest)
        return false;
    if (feature.steps != 0)
        return depth + feature.height <= kDeepest;
    feature.isOpen = true;
    std::size_t steps = 1;
    std::size_t height = 1;
    for (const std::string &part : feature.parts) {
        const auto found = features.find(part);
        if (found == features.end()) {
            ++steps;
            continue;
        }
        if (!count(found->second, features, depth + 1))
            return false;
        steps += found->second.steps;
        height = std::max(height, found->second.height + 1);
        if (steps > kMostSteps)
            return false;
    }
    feature.isOpen = false;
    feature.steps = steps;
    feature.height = height;
    return true;
}

constexpr std::size_t kHeader = 4;

struct FeatureRow {
    const char *name;
    FeatureType type;
};

// In the order of the ids.
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

bool hasType(ArvGcNode *node, FeatureType type)
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

std::optional<DescriptionLocation> parseLocation(const std::string &location)
{
    if (strncasecmp(location.c_str(), kLocal.data(), kLocal.size()) != 0)
        return std::nullopt;
    std::string_view rest(location);
    rest.remove_prefix(kLocal.size());
    rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
    const std::string_view name = rest.substr(0, rest.find(';'));
    if (name.size() >= rest.size() || !isPlain(name) || name.find('.') == std::string_view::npos)
        return std::nullopt;
    rest.remove_prefix(name.size() + 1);
    std::uint32_t address = 0;
    std::uint32_t size = 0;
    if (!takeNumber(rest, address) || !takeNumber(rest, size) || size == 0 ||
        size > kLargestDescription || address > UINT32_MAX - size)
        return std::nullopt;
    const bool isArchive = name.size() >= 4 && strncasecmp(&name.back() - 3, ".zip", 4) == 0;
    return DescriptionLocation{address, size, isArchive};
}

bool isDescriptionTooLarge(const std::uint8_t *bytes, std::size_t size)
{
    const std::string_view all(reinterpret_cast<const char *>(bytes), size);
    if (all.substr(0, kArchive.size()) != kArchive)
        return false;
    for (std::size_t at = all.find(kEntry); at != std::string_view::npos;
         at = all.find(kEntry, at + 1)) {
        if (size - at < kEntryBytes)
            return true;
        std::size_t content = 0;
        for (std::size_t i = 4; i-- > 0;)
            content = content << 8U | bytes[at + kEntrySize + i];
        if (content > kLargestDescription)
            return true;
    }
    return false;
}

bool isComputable(ArvGc &features)
{
    ArvDomElement *root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(&features));
    Features found;
    if (root == nullptr || !collect(ARV_DOM_NODE(root), found, 0))
        return false;
    return std::all_of(found.begin(), found.end(),
                       [&](auto &feature) { return count(feature.second, found, 0); });
}

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
    if (!hasType(node, request.type) || (request.type == FeatureType::kCommand && !request.isWrite))
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
    kReporter.error(request.name + ": " + error.text());
    return statusOf(error);
}

}  // namespace nubrix::net
