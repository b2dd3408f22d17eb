// The GenICam description of a camera: its location, whether it can be used, and its features.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "net/Aravis.h"

namespace nubrix::net {

/// Properties from this id on stand for features of the camera.
constexpr unsigned int kFirstFeature = 0x5c00;
constexpr unsigned int kFeatureCount = 14;

/// The largest description that is read, in bytes. Aravis ends the process when it has no memory
/// for one, and reading and parsing it must take no longer than opening may.
constexpr std::size_t kLargestDescription = 4U << 20U;

/// Where in the memory of a camera its description is.
struct DescriptionLocation {
    std::uint32_t address;
    std::uint32_t size;
    bool isArchive;
};

/// Parses the location that a camera reports, "Local:name;address;size"; nothing for any other
/// text. Descriptions in files of the host or in the web are not read: a camera must not choose
/// what the application opens. Thread-safe.
std::optional<DescriptionLocation> parseLocation(const std::string &location);

/// Whether the bytes are an archive whose directory contains an entry larger than
/// kLargestDescription. Thread-safe.
bool isDescriptionTooLarge(const std::uint8_t *bytes, std::size_t size);

/// Whether the values of all features can be computed: none depends on itself or on too many
/// others, and no register is too long for the memory. Aravis does not check that, and would
/// recurse or allocate until the process ends. Not thread-safe.
bool isComputable(ArvGc &features);

enum class FeatureType : std::uint8_t {
    kInteger = 0,  ///< 8 bytes, signed; booleans are 0 and 1, choices the standard's codes
    kFloat = 1,    ///< 8 bytes
    kText = 2,     ///< without a terminating zero; choices are their names
    kCommand = 3,  ///< no bytes
};

using Bytes = std::vector<unsigned char>;

/// A request to read, write or execute a feature.
struct FeatureRequest {
    bool isWrite = false;  ///< also the execution of a command
    FeatureType type = FeatureType::kInteger;
    std::string name;
    Bytes value;  ///< to be written
};

/// Parses a request in the format that README.md describes; nothing when it is invalid.
/// Thread-safe.
std::optional<FeatureRequest> parseFeatureRequest(const unsigned char *in, std::size_t size);

/// The request to read the feature that a property stands for; nothing for other ids. Thread-safe.
std::optional<FeatureRequest> featureOfProperty(unsigned int id);

/// Executes a request and stores what it reads in `value`. -8 when the camera does not have the
/// feature, -4 when the feature does not have the type or the value. Driver thread only.
int accessFeature(ArvCamera &camera, const FeatureRequest &request, Bytes &value);

}  // namespace nubrix::net
