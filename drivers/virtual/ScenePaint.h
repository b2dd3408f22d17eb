// Turns what a ray meets in the scene into the bytes of a pixel.
#pragma once

#include <cstddef>
#include <cstdint>

#include "virtual/Scene.h"

namespace nubrix {

/// Bytes of one pixel of a stream of the scene: colour 3, depth 2, ir and light ir 1.
std::size_t scenePixelSize(unsigned int streamType);

/// Writes the pixel of one stream. `lit` tells whether the lamp reaches the place. Thread-safe.
void paintScenePixel(unsigned int streamType, const Scene &scene, const Scene::Hit &hit, bool lit,
                     std::uint8_t *pixel);

}  // namespace nubrix
