// The 26 bytes before the pixels of a recorded frame, and the header that can begin a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace nubrix {

inline constexpr unsigned int kRecordTagSize = 26;
inline constexpr unsigned int kRecordHeaderSize = 70;

struct RecordTag {
    unsigned int streamType;
    unsigned int index;
    std::uint64_t timestampUs;
    unsigned int dataSize;
    unsigned int width;
    unsigned int height;

    static RecordTag read(const unsigned char *bytes);
    /// As read, with harmless values in place of the bytes that are missing.
    static RecordTag readPrefix(const unsigned char *bytes, std::size_t sizeBytes);

    /// Whether a recorder can have written it.
    bool isValid() const;
    /// What is wrong with a tag that is not valid.
    std::string fault() const;
};

/// Whether these kRecordHeaderSize bytes are a header.
bool isRecordHeader(const unsigned char *bytes);

}  // namespace nubrix
