// What a camera reports about the place and size of its GenICam description.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace nubrix::net {

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

}  // namespace nubrix::net
