// What a camera tells of where its GenICam description lies, and how large it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace nubrix {

/// Larger ones are refused: Aravis ends the process when it has no memory for one.
constexpr std::size_t kLargestDescription = 16U << 20U;

struct Description {
    std::uint32_t place;
    std::uint32_t size;
    bool isArchive;
};

/// Where a description lies in the camera, from what it told, "Local:name;place;size"; nothing for
/// any other. Descriptions elsewhere, in files of this machine or in the web, are not read: a
/// camera must not choose what the application opens. Thread-safe.
std::optional<Description> localDescription(const std::string &told);

/// The bytes are an archive whose content says that it is larger than kLargestDescription.
/// Thread-safe.
bool isDescriptionTooLarge(const std::uint8_t *bytes, std::size_t size);

}  // namespace nubrix
