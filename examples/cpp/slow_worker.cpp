// How is slow work done next to a fast camera? Two threads work on the newest frames. What they
// cannot manage is dropped and counted, and nothing waits for them.
//
//     slow_worker [FRAMES]               works on 20 frames without a number
#include <nubrix/client.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

using namespace nubrix::client;

int main(int argc, char **argv)
{
    std::atomic<int> left{argc > 1 ? std::atoi(argv[1]) : 20};
    try {
        Camera camera = Session().open();
        // A stream is a queue: 2 frames wait in it for whoever calls next, then the oldest is
        // dropped for a new one. A longer queue (up to 5) makes frames older, not the work faster.
        Stream depth = camera.start(StreamType::kDepth, std::nullopt, 2);

        std::mutex lock;  // guards kept
        std::deque<Frame> kept;
        const auto work = [&] {
            while (left-- > 0) {
                const Frame frame = depth.next();  // any thread may call it
                std::this_thread::sleep_for(std::chrono::milliseconds(150));  // your work goes here
                std::printf("worked on frame %u\n", frame.index());
                // What is kept for long is kept as a clone, which has memory of its own: of the 10
                // frames of a camera an application may hold 6, those that wait included.
                const std::lock_guard<std::mutex> guard(lock);
                kept.push_back(frame.clone());
                if (kept.size() > 5)
                    kept.pop_front();
            }
        };
        std::future<void> first = std::async(std::launch::async, work);
        std::future<void> second = std::async(std::launch::async, work);
        // This thread is free for other things until then.
        first.get();  // throws what the work has thrown, when the camera is gone for example
        second.get();
        depth.stop();

        const StreamFigures figures = depth.figures();
        std::printf("%llu frames came, %llu were dropped from the queue, %zu are kept\n",
                    static_cast<unsigned long long>(figures.frames),
                    static_cast<unsigned long long>(figures.dropped), kept.size());
        for (const std::string &loss : depth.losses())  // every loss, with its cause
            std::printf("lost: %s\n", loss.c_str());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
