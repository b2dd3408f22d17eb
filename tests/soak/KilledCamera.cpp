#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/soak/Workers.h"

namespace nubrix::soak {

namespace {

using client::Camera;
using client::Error;
using client::Stream;
using client::StreamType;
using client::Unplugged;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char *kUri = "net:127.0.0.1";
constexpr std::chrono::seconds kDeadline{60};  // to find the camera, and to miss it
constexpr milliseconds kRetry{100};
constexpr std::size_t kMostFrames = 60;

/// The program of a network camera. It ends with the thread that made it.
class Simulator {
public:
    explicit Simulator(const std::string &program)
    {
        const char *const words[] = {"setpriv", "--pdeathsig", "KILL",       program.c_str(),
                                     "--depth", "--mode",      "320x240@30", nullptr};
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        const int failed = ::posix_spawnp(&m_process, words[0], &actions, nullptr,
                                          const_cast<char *const *>(words), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        if (failed)
            throw std::runtime_error("cannot start " + program);
    }
    ~Simulator()
    {
        send(SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    void send(int signal) const { ::kill(m_process, signal); }

private:
    pid_t m_process = -1;
};

/// Waits until the camera can be opened.
Camera openSoon(World &world)
{
    const auto deadline = steady_clock::now() + kDeadline;
    for (;;) {
        const unsigned int before = world.plugChanges(kUri);
        try {
            return world.session.open(kUri);
        } catch (const Error &) {
            if (steady_clock::now() > deadline)
                throw;
        }
        world.awaitPlugChange(kUri, before, kRetry);
    }
}

void count(World &world, const client::Frame &frame)
{
    ++world.counters.frames;
    if (frame.flags() != 0)
        ++world.counters.faulty;
}

/// Reads until the library finds that the camera is gone.
void readToTheEnd(World &world, Stream &stream)
{
    try {
        const auto deadline = steady_clock::now() + kDeadline;
        while (steady_clock::now() < deadline)
            count(world, stream.next(kFrameTimeout));
        world.defect("a network camera that was killed still gives frames");
    } catch (const Unplugged &) {
        ++world.counters.killed;
    }
}

void liveOnce(World &world, Random &random, const std::string &program)
{
    const Simulator simulator(program);
    Camera camera = openSoon(world);
    Stream stream = camera.start(StreamType::kDepth);
    const Booking booking(world, stream.handle());
    for (std::size_t left = 1 + random.below(kMostFrames); left != 0; --left)
        count(world, stream.next(kFrameTimeout));
    // Stopped, it is like a cable that was pulled; killed, its machine refuses packets.
    simulator.send(random.chance(50) ? SIGSTOP : SIGKILL);
    readToTheEnd(world, stream);
}

}  // namespace

void killNetworkCamera(World &world, const std::string &simulator, std::uint64_t seed)
{
    Random random(seed);
    while (!world.rest.isOver()) {
        world.rest.rest();
        try {
            liveOnce(world, random, simulator);
        } catch (const Unplugged &) {
            // On a busy machine the simulator may be late; a run without a kill fails.
        } catch (const std::exception &error) {
            world.defect(std::string("the network camera: ") + error.what());
        }
    }
}

}  // namespace nubrix::soak
