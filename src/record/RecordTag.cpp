#include "record/RecordTag.h"

#include <climits>
#include <cstring>

namespace nubrix {

namespace {

constexpr unsigned int kMaxStreamType = 63;  // a device has sensors for no more
constexpr unsigned int kMaxPixels = 0xffff;  // a mode has 16 bits for width and height
constexpr unsigned int kMaxSize = INT_MAX;   // nothing larger is written in one piece
constexpr std::size_t kHeaderSlots = 5;
constexpr std::size_t kSlotSize = 14;
constexpr std::size_t kTopOfDataSize = 17;  // the offset of its most significant byte

unsigned int get16(const unsigned char *bytes)
{
    return bytes[0] | static_cast<unsigned int>(bytes[1]) << 8;
}

unsigned int get32(const unsigned char *bytes)
{
    return get16(bytes) | get16(bytes + 2) << 16;
}

bool isZero(const unsigned char *bytes, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] != 0)
            return false;
    }
    return true;
}

bool isSlotOf(const unsigned char *slot, unsigned int streamType)
{
    const unsigned int width = get16(slot + 10);
    const unsigned int height = get16(slot + 12);
    return get16(slot) == streamType && width != 0 && height != 0;
}

}  // namespace

RecordTag RecordTag::read(const unsigned char *bytes)
{
    const std::uint64_t high = get32(bytes + 10);
    return {get16(bytes),      get32(bytes + 2),  high << 32 | get32(bytes + 6),
            get32(bytes + 14), get32(bytes + 18), get32(bytes + 22)};
}

RecordTag RecordTag::readPrefix(const unsigned char *bytes, std::size_t sizeBytes)
{
    unsigned char whole[kRecordTagSize] = {};
    whole[kTopOfDataSize] = 1;
    std::memcpy(whole, bytes, sizeBytes);
    return read(whole);
}

bool RecordTag::isValid() const
{
    return streamType != 0 && streamType <= kMaxStreamType && dataSize != 0 &&
           dataSize <= kMaxSize && width <= kMaxPixels && height <= kMaxPixels;
}

std::string RecordTag::fault() const
{
    if (streamType == 0 || streamType > kMaxStreamType)
        return "there is no stream type " + std::to_string(streamType);
    if (dataSize == 0)
        return "a frame has no pixels";
    if (dataSize > kMaxSize)
        return "a frame has " + std::to_string(dataSize) + " bytes";
    return "a frame has " + std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

bool isRecordHeader(const unsigned char *bytes)
{
    // Colour has the first slot, depth the second; the rest is never used.
    const unsigned char *const depth = bytes + kSlotSize;
    const bool hasColour = isSlotOf(bytes, 1);
    const bool hasDepth = isSlotOf(depth, 2);
    return (hasColour || hasDepth) && (hasColour || isZero(bytes, kSlotSize)) &&
           (hasDepth || isZero(depth, kSlotSize)) &&
           isZero(bytes + 2 * kSlotSize, (kHeaderSlots - 2) * kSlotSize);
}

}  // namespace nubrix
