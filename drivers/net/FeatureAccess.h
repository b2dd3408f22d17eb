// Reads, writes and executes the features of a camera by their names in the GenICam standard.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "net/GLibPtr.h"

namespace nubrix::net {

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
