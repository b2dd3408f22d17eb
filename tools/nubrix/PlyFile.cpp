#include "PlyFile.h"

#include <cmath>
#include <cstring>

#include "LittleEndian.h"
#include "OutputFile.h"

namespace nubrix {

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

std::string headerOf(const PointCloudFile &cloud, std::size_t count)
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

}  // namespace

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
    writeFile(path, headerOf(cloud, count) + body);
    return count;
}

}  // namespace nubrix
