// Which frames of several streams, and of several cameras, show the same moment? Prints sets of one
// frame of each stream of all cameras, with the time between the first and the last of a set.
//
//     matched_streams [SETS]             30 sets without a number
#include <nubrix/client.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <vector>

using namespace nubrix::client;

int main(int argc, char **argv)
{
    const int wanted = argc > 1 ? std::atoi(argv[1]) : 30;
    // Half of the time between two frames of 30 frames/s: nearer ones there cannot be for certain,
    // as cameras without a common trigger begin whenever they are started. The streams of one
    // camera usually have the same time to the microsecond.
    constexpr std::chrono::microseconds kTogether(17000);
    try {
        const Session session;
        std::vector<Stream> streams;
        for (const CameraInfo &info : session.cameras()) {
            Camera camera = session.open(info.uri);  // its streams keep it open
            streams.push_back(camera.start(StreamType::kColor));
            streams.push_back(camera.start(StreamType::kDepth));
            std::printf("%zu: color, %zu: depth of %s\n", streams.size() - 2, streams.size() - 1,
                        info.uri.c_str());
        }
        if (streams.empty())
            throw std::runtime_error("no camera is attached");
        std::vector<Frame> frames;  // one of each stream
        for (Stream &stream : streams)
            frames.push_back(stream.next());
        const auto isEarlier = [](const Frame &a, const Frame &b) { return a.time() < b.time(); };
        for (int sets = 0; sets < wanted;) {
            const auto [first, last] = std::minmax_element(frames.begin(), frames.end(), isEarlier);
            const auto apart = last->time() - first->time();
            if (apart >
                kTogether) {  // the earliest has no partner: go on to the next of its stream
                *first = streams[static_cast<std::size_t>(first - frames.begin())].next();
                continue;
            }
            const auto us = std::chrono::duration_cast<std::chrono::microseconds>(apart).count();
            std::printf("set %d, %lld us apart:", sets, static_cast<long long>(us));
            for (std::size_t i = 0; i < frames.size(); ++i) {
                std::printf(" %zu:%u", i, frames[i].index());  // your work goes here
                frames[i] = streams[i].next();
            }
            std::printf("\n");
            ++sets;
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
