// Point clouds as PLY files.
#pragma once

#include <string>
#include <vector>

#include "nubrix/types.h"

namespace nubrix {

struct PointCloudFile {
    std::vector<typedefNubrixPoint3D> points;
    std::vector<typedefNubrixRGBA> colours;  // empty, or one for each point
    std::vector<std::string> comments;       // one line each
};

/// Writes a binary PLY file: x, y, z as 32-bit floats, with colours also red, green and blue as
/// bytes. Points at (0, 0, 0), which stand for pixels without depth, are left out. Returns the
/// number of points written; throws a Failure.
std::size_t writePly(const std::string &path, const PointCloudFile &cloud);

}  // namespace nubrix
