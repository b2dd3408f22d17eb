// library_cost: what a stream costs through the library, next to v4l2-ctl on the same node.
#include <nubrix/nubrix.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "Expected.h"

namespace {

constexpr unsigned int kWarmUp = 10;  // frames that do not count

double secondsOf(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void require(int result, const char *what)
{
    if (result != 0) {
        throw std::runtime_error(std::string(what) + " gives " + std::to_string(result));
    }
}

struct Cost {
    std::mutex lock;
    std::condition_variable done;
    NubrixBaseContext *context = nullptr;
    unsigned int wanted = 0;
    unsigned int frames = 0;  // from here on under the lock
    double begin = 0;
    double end = 0;
    double driver = 0;
    std::vector<double> agesMs;
};

// Seconds that the driver's thread for the stream has run; 0 when there is none.
double secondsOfDriver()
{
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        double nanoseconds = 0;
        if (name == "nubrix-usb-cam" && std::ifstream(task.path() / "schedstat") >> nanoseconds) {
            return nanoseconds / 1e9;
        }
    }
    return 0;
}

// Everything of the process counts, as it does for the other program.
void onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
{
    using std::chrono::duration;
    const duration<double, std::milli> now = std::chrono::steady_clock::now().time_since_epoch();
    auto &cost = *static_cast<Cost *>(user);
    const std::lock_guard<std::mutex> lock(cost.lock);
    const unsigned long long captured =
        static_cast<unsigned long long>(frame->timestampHigh) << 32 | frame->timestampLow;
    cost.context->releaseFrame(frame);
    ++cost.frames;
    if (cost.frames == kWarmUp) {
        cost.driver = -secondsOfDriver();
        cost.begin = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
    } else if (cost.frames > kWarmUp && cost.frames <= kWarmUp + cost.wanted) {
        cost.agesMs.push_back(now.count() - static_cast<double>(captured) / 1000);
        if (cost.frames == kWarmUp + cost.wanted) {
            cost.end = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
            cost.driver += secondsOfDriver();
            cost.done.notify_all();
        }
    }
}

void measure(Cost &cost, const nubrix::vm::Kind &kind)
{
    NubrixBaseContext &context = *cost.context;
    require(context.initialize(), "initialize");
    NubrixDevice *camera = nullptr;
    require(context.openDevice(nullptr, &camera), "openDevice");
    typedefNubrixFrameMode mode = {kind.pixelFormat, 640, 480, 30};
    require(context.setFrameMode(camera, kind.streamType, mode), "setFrameMode");
    NubrixStream *stream = nullptr;
    require(context.openStream(camera, kind.streamType, &stream, onFrame, &cost), "openStream");
    std::unique_lock<std::mutex> lock(cost.lock);
    if (!cost.done.wait_for(lock, std::chrono::seconds(60),
                            [&] { return cost.frames >= kWarmUp + cost.wanted; })) {
        throw std::runtime_error("only " + std::to_string(cost.frames) + " frames");
    }
    if (cost.driver <= 0) {
        throw std::runtime_error("the driver has no thread for the stream");
    }
}

// The other program writes a "<" for each frame.
double secondsOfOther(const std::string &node, const std::string &format, unsigned int frames)
{
    const std::string command = "exec v4l2-ctl -d " + node +
                                " --set-fmt-video=width=640,height=480,pixelformat='" + format +
                                "' --set-parm=30 --stream-mmap=4 2>&1";
    int ends[2] = {-1, -1};
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    clockid_t clock = 0;
    const bool timed = clock_getcpuclockid(child, &clock) == 0;
    double begin = 0;
    unsigned int seen = 0;
    char letter = 0;
    while (seen < kWarmUp + frames && read(ends[0], &letter, 1) == 1) {
        seen += letter == '<' ? 1 : 0;
        if (letter == '<' && seen == kWarmUp) {
            begin = secondsOf(clock);
        }
    }
    const double end = secondsOf(clock);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ends[0]);
    if (!timed || seen < kWarmUp + frames) {
        throw std::runtime_error("v4l2-ctl gave " + std::to_string(seen) + " frames");
    }
    return end - begin;
}

}  // namespace

int main(int argc, char **argv)
{
    CLI::App app(
        "Streams 640x480 at 30 frames/s through the library and by v4l2-ctl, and prints the "
        "processor time of both. Fails when the library needs more than --limit times as much.");
    std::string stream;
    std::string node;
    std::string format;
    double limit = 0;
    Cost cost;
    cost.wanted = 90;
    app.add_option("stream", stream, "depth, color or ir")->required();
    app.add_option("node", node, "The node that gives it")->required();
    app.add_option("format", format, "What v4l2-ctl is to ask for")->required();
    app.add_option("--limit", limit, "0: none")->capture_default_str();
    app.add_option("--count", cost.wanted, "Frames")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    cost.context = ContextFactory();
    int status = 0;
    try {
        measure(cost, nubrix::vm::kindOf(stream, "usual"));
    } catch (const std::exception &error) {
        std::printf("%s: %s\n", stream.c_str(), error.what());
        status = 1;
    }
    cost.context->destroy();
    deleteContext(cost.context);
    if (status != 0) {
        return status;
    }
    try {
        const double other = secondsOfOther(node, format, cost.wanted);
        const double own = cost.end - cost.begin;
        std::sort(cost.agesMs.begin(), cost.agesMs.end());
        std::printf(
            "figure: %s: %.3f ms of processor time a frame, v4l2-ctl %.3f ms, ratio %.2f, of the "
            "driver's thread alone %.2f; from capture to callback %.1f ms (median), %.1f ms (99 "
            "%%)\n",
            stream.c_str(), own * 1000 / cost.wanted, other * 1000 / cost.wanted, own / other,
            cost.driver / other, cost.agesMs[cost.agesMs.size() / 2],
            cost.agesMs[cost.agesMs.size() * 99 / 100]);
        return limit > 0 && own > limit * other ? 1 : 0;
    } catch (const std::exception &error) {
        std::printf("%s\n", error.what());
        return 1;
    }
}
