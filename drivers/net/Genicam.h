// The GenICam description of a camera: its location, whether it can be used, and its features.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "net/Aravis.h"

namespace nubrix::net {

/// From this id on, a property stands for a feature of the camera.
constexpr unsigned int kFirstFeature = 0x5c00;
constexpr unsigned int kFeatureCount = 14;

/// Larger ones are refused: Aravis ends the process when it has no memory for one, and reading and
/// parsing it must end within the time for opening.
constexpr std::size_t kLargestDescription = 4U << 20U;

struct Description {
    std::uint32_t place;
    std::uint32_t size;
    bool isArchive;
};

/// Where a description lies in the camera, from the location that it reports,
/// "Local:name;place;size"; nothing for any other. Descriptions elsewhere, in files of the host or
/// in the web, are not read: a camera must not choose what the application opens. Thread-safe.
std::optional<Description> localDescription(const std::string &location);

/// The bytes are an archive whose directory states a content larger than kLargestDescription.
/// Thread-safe.
bool isDescriptionTooLarge(const std::uint8_t *bytes, std::size_t size);

/// No value depends on itself, or on so many others that nobody would wait for it, and no register
/// is so long that there may be no memory for it. Aravis follows whatever a description says until
/// the process ends. Not thread-safe.
bool isComputable(ArvGc &features);

enum class FeatureType : std::uint8_t {
    kInteger = 0,  ///< 8 bytes, signed; booleans are 0 and 1, choices the standard's codes
    kFloat = 1,    ///< 8 bytes
    kText = 2,     ///< without an end mark; choices are their names
    kCommand = 3,  ///< no bytes
};

using Bytes = std::vector<unsigned char>;

/// A request to a feature.
struct FeatureRequest {
    bool isWrite = false;  ///< commands are written
    FeatureType type = FeatureType::kInteger;
    std::string name;
    Bytes value;  ///< of a write
};

/// The request in the bytes that README.md describes; nothing when there is none. Thread-safe.
std::optional<FeatureRequest> parseFeatureRequest(const unsigned char *in, std::size_t size);

/// The feature that a property's id stands for, to be read; nothing for other ids. Thread-safe.
std::optional<FeatureRequest> featureOfProperty(unsigned int id);

/// Does it, and puts what was read into `value`. -8 for a feature that the camera lacks, -4 for a
/// type or a value that is not its. Driver thread only.
int accessFeature(ArvCamera &camera, const FeatureRequest &request, Bytes &value);

}  // namespace nubrix::net
