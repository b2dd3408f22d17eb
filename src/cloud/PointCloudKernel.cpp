#include "cloud/PointCloudKernel.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "image/ColorBoard.h"

namespace nubrix {

namespace {

constexpr int kRawValues = 65536;

// How the depth lies in the raw value, by the pixel type.
int fractionBits(unsigned int pixelType)
{
    switch (pixelType) {
        case 1:
            return 4;
        case 2:
            return 3;
        default:
            return 2;
    }
}

CloudJob jobOf(const CloudCamera &camera)
{
    CloudJob job = {};
    job.s = camera.s;
    job.fx = camera.fx;
    job.fy = camera.fy;
    job.cx = camera.cx;
    job.cy = camera.cy;
    return job;
}

bool shouldStream(const CloudJob &job, std::size_t pixelBytes)
{
    return std::size_t{job.rowEnd - job.rowBegin} * job.width * pixelBytes >= streamingThreshold();
}

bool isOrdinary(float value)
{
    return value >= 0x1p-20F && value <= 0x1p20F;
}

// Whether nothing on the way to a point overflows or comes near the smallest floats: depths are 0
// or 1 to 2^16, differences of coordinates 0 or at least 2^-43, so what is divided is 0 or at least
// 2^-63, and a remainder, 47 bits below that, is still above 2^-126.
bool hasOrdinaryNumbers(const CloudJob &job)
{
    return isOrdinary(job.s) && isOrdinary(job.fx) && isOrdinary(job.fy) &&
           (isOrdinary(job.cx) || job.cx == 0.0F) && (isOrdinary(job.cy) || job.cy == 0.0F);
}

float depthLimit(unsigned int pixelType)
{
    switch (pixelType) {
        case 1:
            return 4095.0F;
        case 2:
            return 8191.0F;
        default:
            return 16383.0F;
    }
}

// 0: there is none.
unsigned int wholeDepthOf(unsigned int raw, unsigned int pixelType)
{
    switch (pixelType) {
        case 1:
            return raw >> 4 == 4095 ? 0 : raw >> 4;
        case 2:
            // Kept: 4000, though without colours depths reach to 8191. See docs/oddities.md.
            return raw >> 3 >= 4000 ? 0 : raw >> 3;
        default:
            return raw >> 2 == 16383 ? 0 : raw >> 2;
    }
}

/// The value, or 0 where it is not to be kept. Without a branch: with scattered holes, a processor
/// would foresee it wrongly at each of them.
float kept(float value, bool isKept)
{
    return std::bit_cast<float>(std::bit_cast<std::uint32_t>(value) & -std::uint32_t{isKept});
}

}  // namespace

CloudJob cloudJob(const unsigned short *depth, unsigned int width, unsigned int height,
                  const CloudCamera &camera, typedefNubrixPoint3D *points, unsigned int pixelType,
                  bool limitRange)
{
    const CloudOffset offset = cloudOffset(width);
    const int fraction = fractionBits(pixelType);
    CloudJob job = jobOf(camera);
    job.depth = depth;
    job.points = points;
    job.width = width;
    job.rowEnd = height;
    job.columnOffset = offset.column;
    job.rowOffset = offset.row;
    // The limit is the depth whose whole bits are all ones.
    job.rawLimit = limitRange ? kRawValues - (1 << fraction) : kRawValues;
    job.s *= static_cast<float>(1 << fraction);  // exact, being a power of two
    job.streaming = shouldStream(job, sizeof(*points));
    return job;
}

CloudJob cloudJobWithColours(const unsigned short *depth, unsigned int width, unsigned int rowBegin,
                             unsigned int rowEnd, const CloudCamera &camera,
                             typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                             unsigned int pixelType)
{
    const int fraction = fractionBits(pixelType);
    CloudJob job = jobOf(camera);
    job.depth = depth;
    job.points = points;
    job.colours = colours;
    job.palette = colorBoard();
    job.width = width;
    job.rowBegin = rowBegin;
    job.rowEnd = rowEnd;
    job.shift = fraction;
    job.rawLimit = pixelType == 2 ? 4000 << fraction : kRawValues - (1 << fraction);
    job.streaming = shouldStream(job, sizeof(*points) + sizeof(*colours));
    return job;
}

const CloudKernel *cloudKernelOf(InstructionSet set)
{
    if (!supports(set))
        return nullptr;
    switch (set) {
#ifdef __x86_64__
        case InstructionSet::kSse41:
            return &kCloudSse41;
        case InstructionSet::kAvx2:
            return &kCloudAvx2;
        case InstructionSet::kAvx512:
        case InstructionSet::kAvx512Vbmi:
            return &kCloudAvx512;
#endif
#ifdef __arm__
        case InstructionSet::kNeon:
            return hasNeonFusedMultiplyAdd() ? &kCloudNeon : nullptr;
#endif
        default:
            return nullptr;
    }
}

bool runCloudKernel(const CloudKernel *kernel, const CloudJob &job)
{
    constexpr unsigned int kMaxWidth = 1U << 30;  // columns are counted in int
    if (!kernel || job.width < kernel->lanes || job.width > kMaxWidth || !hasOrdinaryNumbers(job))
        return false;
    const auto convert = job.colours ? kernel->cloudWithColours : kernel->cloud;
    convert(job);
    return true;
}

CloudOffset cloudOffset(unsigned int width)
{
    // Kept: these widths are cut-outs of a larger image. See docs/oddities.md.
    switch (width) {
        case 284:
            return {25, 12};
        case 568:
            return {50, 25};
        case 1136:
            return {100, 50};
        default:
            return {0, 0};
    }
}

void plainCloud(const unsigned short *depth, unsigned int width, unsigned int height,
                const CloudCamera &camera, typedefNubrixPoint3D *points, unsigned int pixelType,
                bool limitRange)
{
    const CloudOffset offset = cloudOffset(width);
    const CloudCamera by = camera;  // in no memory that the points could share
    const float unit = 1.0F / static_cast<float>(1 << fractionBits(pixelType));
    const float limit = limitRange ? depthLimit(pixelType) : std::numeric_limits<float>::infinity();
    for (unsigned int row = 0; row < height; ++row, depth += width, points += width) {
        const auto v = static_cast<float>(row + offset.row);
        for (unsigned int column = 0; column < width; ++column) {
            const auto u = static_cast<float>(column + offset.column);
            const float d = static_cast<float>(depth[column]) * unit;  // exact, as all depths are
            const float z = d / by.s;
            const float x = z * (u - by.cx) / by.fx;
            const float y = z * (v - by.cy) / by.fy;
            const bool isValid = (d > 0.0F) & (d < limit);
            points[column] = {kept(x, isValid), kept(y, isValid), kept(z, isValid)};
        }
    }
}

void plainCloudWithColours(const unsigned short *depth, unsigned int width, unsigned int rowBegin,
                           unsigned int rowEnd, const CloudCamera &camera,
                           typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                           unsigned int pixelType)
{
    const typedefNubrixRGBA *const board = colorBoard();
    for (unsigned int row = rowBegin; row < rowEnd; ++row) {
        const auto r = static_cast<float>(row);
        for (unsigned int column = 0; column < width; ++column) {
            const std::size_t i = std::size_t{row} * width + column;
            const auto c = static_cast<float>(column);
            const unsigned int q = wholeDepthOf(depth[i], pixelType);
            if (q == 0) {
                points[i] = {0.0F, 0.0F, 0.0F};
                colours[i] = {0.0F, 0.0F, 0.0F, 1.0F};
                continue;
            }
            const float w = static_cast<float>(q) / camera.s;
            // Kept: y and z are negated here, unlike in plainCloud. See docs/oddities.md.
            points[i] = {w * (c - camera.cx) / camera.fx, -((r - camera.cy) * w) / camera.fy, -w};
            if (q > 4094)
                colours[i] = {1.0F, 0.0F, 0.0F, 1.0F};
            else
                colours[i] = board[q];
        }
    }
}

}  // namespace nubrix
