// How far away is what the camera looks at? Prints the distance at the middle of depth frames.
//
//     distance_at_middle [FRAMES]        30 frames without a number
#include <nubrix/client.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

using namespace nubrix::client;

// The median of the 5 x 5 pixels around (x, y) in millimetres, or 0 when none of them has a
// distance. One pixel alone may have none: black, shiny and near surfaces cannot be measured.
static double distanceAround(const Frame &frame, int x, int y)
{
    std::vector<double> distances;
    for (int down = -2; down <= 2; ++down) {
        for (int right = -2; right <= 2; ++right) {
            const double distance = frame.millimetres(x + right, y + down);
            if (distance > 0)
                distances.push_back(distance);
        }
    }
    if (distances.empty())
        return 0;
    std::sort(distances.begin(), distances.end());
    return distances[distances.size() / 2];
}

int main(int argc, char **argv)
{
    const int frames = argc > 1 ? std::atoi(argv[1]) : 30;
    try {
        Camera camera = Session().open();  // the first one that is attached
        Stream depth = camera.start(StreamType::kDepth);
        for (int i = 0; i < frames; ++i) {
            // Waits for at most 5 seconds. Skips frames of which a part was lost on the way.
            const Frame frame = depth.nextComplete();
            const double distance = distanceAround(frame, frame.width() / 2, frame.height() / 2);
            if (distance > 0)
                std::printf("frame %u: %.2f mm\n", frame.index(), distance);
            else
                std::printf("frame %u: nothing was measured\n", frame.index());
        }
    } catch (const std::exception &error) {
        // No camera, or it was unplugged: the text has the cause and a remedy.
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
