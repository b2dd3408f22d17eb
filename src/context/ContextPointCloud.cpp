// Point clouds: two conversions by the library, one by the camera's driver.
#include "cloud/PointCloud.h"
#include "context/ContextGuards.h"

namespace nubrix {

int Context::convertDepthToPointCloud(const unsigned short *depth, unsigned int width,
                                      unsigned int height, float s, float fx, float fy, float cx,
                                      float cy, typedefNubrixPoint3D *points,
                                      unsigned int pixelType, bool limitRange)
{
    return guarded([&] {
        convertToPointCloud(depth, width, height, {s, fx, fy, cx, cy}, points, pixelType,
                            limitRange);
        return 0;
    });
}

int Context::convertDepthToPointCloud2(NubrixDevice *handle, const unsigned short *depth,
                                       unsigned int width, unsigned int height, float s, float fx,
                                       float fy, float cx, float cy, typedefNubrixPoint3D *points,
                                       unsigned int pixelType, bool limitRange)
{
    return inside([&] {
        if (!m_initialized)  // before the lock: without a context there is no waiting
            return refuseUninitialized();
        return onDevice(handle, [&](Device &device) {
            return device.convertDepthToPointCloud2(depth, width, height, s, fx, fy, cx, cy, points,
                                                    pixelType, limitRange);
        });
    });
}

int Context::convertDepthToPointCloudWithRGBA(const unsigned short *depth, unsigned int width,
                                              unsigned int height, float s, float /*fx*/,
                                              float /*fy*/, float /*cx*/, float /*cy*/,
                                              typedefNubrixPoint3D *points,
                                              typedefNubrixRGBA *colours, unsigned int pixelType,
                                              bool /*limitRange*/)
{
    // Kept: only s is used of the camera, and depths are not limited. See docs/oddities.md.
    return guarded([&] {
        convertToPointCloudWithColours(depth, width, height, s, points, colours, pixelType);
        return 0;
    });
}

}  // namespace nubrix
