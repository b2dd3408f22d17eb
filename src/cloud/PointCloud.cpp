#include "cloud/PointCloud.h"

#include <system_error>
#include <thread>

#include "cloud/PointCloudKernel.h"
#include "image/ColorBoard.h"

namespace nubrix {

namespace {

constexpr CloudCamera kDefaultCamera = {1000.0F, 425.0F, 425.0F, 200.0F, 320.0F};
constexpr CloudCamera kWideCamera = {1.0F, 836.11438F, 836.11438F, 634.63403F, 400.85229F};
constexpr CloudCamera kNarrowCamera = {1.0F, 418.05719F, 418.05719F, 317.31702F, 200.42615F};

bool isUsable(const CloudCamera &camera)
{
    // Each of them greater than 0, which a NaN is not.
    return camera.s > 0.0F && camera.fx > 0.0F && camera.fy > 0.0F && camera.cx > 0.0F &&
           camera.cy > 0.0F;
}

// Runs rows of a conversion in a thread of their own, or here when the system gives no thread.
template <class Rows>
std::thread startThread(const Rows &rows)
{
    try {
        return std::thread(rows);
    } catch (const std::system_error &) {
        rows();
        return {};
    }
}

}  // namespace

void convertToPointCloud(const unsigned short *depth, unsigned int width, unsigned int height,
                         const CloudCamera &camera, typedefNubrixPoint3D *points,
                         unsigned int pixelType, bool limitRange, InstructionSet set)
{
    const CloudCamera &used = isUsable(camera) ? camera : kDefaultCamera;
    const CloudJob job = cloudJob(depth, width, height, used, points, pixelType, limitRange);
    if (!runCloudKernel(cloudKernelOf(set), job))
        plainCloud(depth, width, height, used, points, pixelType, limitRange);
}

void convertRowsWithColours(const unsigned short *depth, unsigned int width, unsigned int rowBegin,
                            unsigned int rowEnd, const CloudCamera &camera,
                            typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                            unsigned int pixelType, InstructionSet set)
{
    const CloudJob job =
        cloudJobWithColours(depth, width, rowBegin, rowEnd, camera, points, colours, pixelType);
    if (!runCloudKernel(cloudKernelOf(set), job))
        plainCloudWithColours(depth, width, rowBegin, rowEnd, camera, points, colours, pixelType);
}

void cloudProject2(unsigned short *depth, unsigned int width, unsigned int rowBegin,
                   unsigned int rowEnd, float s, float fx, float fy, float cx, float cy,
                   typedefNubrixPoint3D *points, typedefNubrixRGBA *colours, unsigned int pixelType)
{
    convertRowsWithColours(depth, width, rowBegin, rowEnd, {s, fx, fy, cx, cy}, points, colours,
                           pixelType, instructionSet());
}

void convertToPointCloudWithColours(const unsigned short *depth, unsigned int width,
                                    unsigned int height, float s, typedefNubrixPoint3D *points,
                                    typedefNubrixRGBA *colours, unsigned int pixelType)
{
    createColorBoardOnce();
    const CloudCamera &camera = width > 640 ? kWideCamera : kNarrowCamera;
    const auto rows = [=, &camera](unsigned int begin, unsigned int end) {
        return [=, &camera] {
            cloudProject2(const_cast<unsigned short *>(depth), width, begin, end, s, camera.fx,
                          camera.fy, camera.cx, camera.cy, points, colours, pixelType);
        };
    };
    std::thread upper = startThread(rows(0, height / 2));
    std::thread lower = startThread(rows(height / 2, height));
    for (std::thread *each : {&upper, &lower}) {
        if (each->joinable())
            each->join();
    }
}

}  // namespace nubrix
