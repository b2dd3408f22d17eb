// Operations that this release does not offer yet: recording, photos, point clouds, upgrades, GMSL.
#include "context/Context.h"

namespace nubrix {

namespace {

constexpr int kUnsupported = -8;

}  // namespace

int Context::nubrixGetGmslDeviceList(_NubrixGmslDeviceInfo ** /*list*/, unsigned int * /*count*/)
{
    return kUnsupported;
}

int Context::setDufDeviceFd(unsigned int /*a*/, unsigned int /*b*/, unsigned int /*c*/,
                            const char * /*d*/)
{
    return kUnsupported;
}

int Context::createRecorder(const char * /*path*/, NubrixRecord ** /*recorder*/)
{
    return kUnsupported;
}

int Context::recorderAttachStream(NubrixRecord * /*recorder*/, NubrixStream * /*stream*/)
{
    return kUnsupported;
}

int Context::recorderStart(NubrixRecord * /*recorder*/)
{
    return kUnsupported;
}

int Context::recorderStop(NubrixRecord * /*recorder*/)
{
    return kUnsupported;
}

int Context::destroyRecorder(NubrixRecord * /*recorder*/)
{
    return kUnsupported;
}

int Context::takePhoto(const char * /*path*/)
{
    return kUnsupported;
}

int Context::convertDepthToPointCloud(const unsigned short * /*depth*/, unsigned int /*width*/,
                                      unsigned int /*height*/, float /*s*/, float /*fx*/,
                                      float /*fy*/, float /*cx*/, float /*cy*/,
                                      typedefNubrixPoint3D * /*points*/, unsigned int /*pixelType*/,
                                      bool /*limitRange*/)
{
    return kUnsupported;
}

int Context::convertDepthToPointCloud2(NubrixDevice * /*device*/, const unsigned short * /*depth*/,
                                       unsigned int /*width*/, unsigned int /*height*/, float /*s*/,
                                       float /*fx*/, float /*fy*/, float /*cx*/, float /*cy*/,
                                       typedefNubrixPoint3D * /*points*/,
                                       unsigned int /*pixelType*/, bool /*limitRange*/)
{
    return kUnsupported;
}

int Context::convertDepthToPointCloudWithRGBA(const unsigned short * /*depth*/,
                                              unsigned int /*width*/, unsigned int /*height*/,
                                              float /*s*/, float /*fx*/, float /*fy*/, float /*cx*/,
                                              float /*cy*/, typedefNubrixPoint3D * /*points*/,
                                              typedefNubrixRGBA * /*colours*/,
                                              unsigned int /*pixelType*/, bool /*limitRange*/)
{
    return kUnsupported;
}

int Context::deviceStartUpgradeOffLine(NubrixDevice * /*device*/,
                                       const typedefNubrixUpgradeCallbacks * /*callbacks*/,
                                       const char * /*file*/)
{
    return kUnsupported;
}

int Context::setDeviceStatusChange(int /*a*/, int /*b*/, const char * /*path*/, unsigned int /*d*/)
{
    return kUnsupported;
}

int Context::setGmslI2CStats(bool /*on*/)
{
    return kUnsupported;
}

int Context::setGmslI2CAddress(std::string /*address*/)
{
    return kUnsupported;
}

}  // namespace nubrix
