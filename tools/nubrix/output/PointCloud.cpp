#include "output/PointCloud.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include "output/OutputFile.h"

namespace nubrix::tool {

namespace {

void putFloat(std::string &bytes, float value)
{
    unsigned int word = 0;
    std::memcpy(&word, &value, sizeof(word));
    putLittle(bytes, word, 4);
}

char byteOf(float component)
{
    return static_cast<char>(static_cast<unsigned char>(std::lround(component * 255)));
}

std::string plyHeader(const PointCloudFile &cloud, std::size_t count)
{
    std::string header = "ply\nformat binary_little_endian 1.0\n";
    for (const std::string &comment : cloud.comments)
        header += "comment " + comment + '\n';
    header += "element vertex " + std::to_string(count) +
              "\nproperty float x\nproperty float y\nproperty float z\n";
    if (!cloud.colours.empty())
        header += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    return header + "end_header\n";
}

std::string numberText(float value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%g", static_cast<double>(value));
    return buffer;
}

/// The depth format of this unit; for other units the one with the largest range.
unsigned int fractionFormatOf(float unitMm)
{
    for (const unsigned int format : {NUBRIX_PIXEL_DEPTH_12_4, NUBRIX_PIXEL_DEPTH_13_3}) {
        if (depthUnitMm(format) == unitMm)
            return format;
    }
    return NUBRIX_PIXEL_DEPTH_14_2;
}

}  // namespace

float depthUnitMm(unsigned int pixelFormat)
{
    switch (pixelFormat) {
        case NUBRIX_PIXEL_DEPTH_12_4:
            return 0.0625F;
        case NUBRIX_PIXEL_DEPTH_13_3:
            return 0.125F;
        case NUBRIX_PIXEL_DEPTH_14_2:
            return 0.25F;
        default:
            return 1;
    }
}

PointCloudFile pinholeCloud(NubrixBaseContext &context, const DepthImage &image, float scale,
                            const Pinhole &camera)
{
    const unsigned int format = fractionFormatOf(image.unitMm);
    PointCloudFile cloud;
    cloud.points.resize(std::size_t{image.width} * image.height);
    context.convertDepthToPointCloud(
        image.depth, image.width, image.height, scale * depthUnitMm(format) / image.unitMm,
        camera.fx, camera.fy, camera.cx, camera.cy, cloud.points.data(), format, true);
    cloud.comments = {axesComment(scale, "x right, y down, z away from the camera"),
                      "fx " + numberText(camera.fx) + ", fy " + numberText(camera.fy) + ", cx " +
                          numberText(camera.cx) + ", cy " + numberText(camera.cy) + " pixels"};
    return cloud;
}

std::string axesComment(float scale, const std::string &axes)
{
    return "millimetres / " + numberText(scale) + ", " + axes;
}

std::size_t writePly(const std::string &path, const PointCloudFile &cloud)
{
    std::string body;
    std::size_t count = 0;
    for (std::size_t i = 0; i < cloud.points.size(); ++i) {
        const typedefNubrixPoint3D &point = cloud.points[i];
        if (point.x == 0 && point.y == 0 && point.z == 0)
            continue;
        ++count;
        putFloat(body, point.x);
        putFloat(body, point.y);
        putFloat(body, point.z);
        if (!cloud.colours.empty()) {
            const typedefNubrixRGBA &colour = cloud.colours[i];
            body += {byteOf(colour.r), byteOf(colour.g), byteOf(colour.b)};
        }
    }
    writeFile(path, plyHeader(cloud, count) + body);
    return count;
}

}  // namespace nubrix::tool
