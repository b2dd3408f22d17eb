#include "cloud/PointCloudKernel.h"

#include "cloud/PointCloudPlain.h"
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
        case InstructionSet::kAvx2:
            return &kCloudAvx2;
        case InstructionSet::kAvx512:
            return &kCloudAvx512;
#endif
#ifdef __arm__
        case InstructionSet::kNeon:
            return &kCloudNeon;
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

}  // namespace nubrix
