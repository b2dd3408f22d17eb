// Any bytes at all as a JPEG: what is decoded is within its limits, and what is decoded without
// damage is so however strict the reader is.
#include <cstdint>
#include <vector>

#include "common/JpegDecoder.h"
#include "tests/fuzz/FuzzTarget.h"

namespace nubrix {
namespace {

constexpr unsigned int kMostPixels = 1U << 16U;  // so that runs are short
constexpr std::uint8_t kUntouched = 0xa5;
constexpr std::size_t kGuard = 64;

struct Result {
    bool done = false;
    bool damaged = false;
    std::vector<std::uint8_t> pixels;
};

Result decode(const std::uint8_t *jpeg, std::size_t bytes, JpegDecoder::Damage damage)
{
    Result result;
    JpegDecoder decoder(damage, {std::chrono::milliseconds(60000)});
    if (!decoder.readHeader(jpeg, bytes)) {
        require(!decoder.error().empty(), "what is refused has a fault");
        return result;
    }
    const std::uint64_t pixels = std::uint64_t{decoder.width()} * decoder.height();
    require(decoder.width() != 0 && decoder.height() != 0, "an image has pixels");
    if (pixels > kMostPixels)
        return result;
    const std::size_t size = 3 * static_cast<std::size_t>(pixels);
    result.pixels.assign(size + kGuard, kUntouched);
    result.done = decoder.decode(result.pixels.data());
    result.damaged = decoder.isDamaged();
    require(result.done == decoder.error().empty(), "what is refused has a fault, and only that");
    for (std::size_t i = size; i < result.pixels.size(); ++i)
        require(result.pixels[i] == kUntouched, "nothing is written beyond the image");
    return result;
}

}  // namespace
}  // namespace nubrix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix;
    const Result strict = decode(data, sizeBytes, JpegDecoder::Damage::kRefused);
    const Result tolerant = decode(data, sizeBytes, JpegDecoder::Damage::kTolerated);
    require(!strict.damaged, "who refuses damage has none");
    require(!strict.done || (tolerant.done && !tolerant.damaged), "what the strict take, all take");
    require(!strict.done || strict.pixels == tolerant.pixels,
            "a complete image is the same either way");
    return 0;
}
