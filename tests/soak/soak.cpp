// Uses the library like applications that run for days, and writes what the process needs.
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>
#include <vector>

#include "tests/soak/Resources.h"
#include "tests/soak/Workers.h"

namespace nubrix::soak {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds kRestTimeout{180};     // longer than any deadline of the workers
constexpr seconds kSettlingTimeout{60};  // what is not closed by then is a leak

struct Options {
    std::string folder;
    std::string simulator;
    double seconds = 0;
    double interval = 0;
    std::uint64_t seed = 0;
};

/// The lines of a run: one for each time that all rest.
class Log {
public:
    explicit Log(const std::string &path) : m_file(path)
    {
        if (!m_file)
            throw std::runtime_error("cannot write " + path);
        write(
            "seconds,frames,faulty,recorded,opened,unplugged,recordings,full_disks,photos,clouds,"
            "killed,handed_over,delivered,read,replaced,in_place,discarded,queued,held,refused,"
            "defects,resident_kib,heap_kib,threads,descriptors");
    }

    void add(World &world)
    {
        const Resources now = settledResources();
        const Counters &done = world.counters;
        std::string line =
            std::to_string(std::chrono::duration<double>(steady_clock::now() - m_start).count());
        for (const auto *each :
             {&done.frames, &done.faulty, &done.recorded, &done.opened, &done.unplugged,
              &done.recordings, &done.fullDisks, &done.photos, &done.clouds, &done.killed})
            line += "," + std::to_string(*each);
        std::string problem;
        const NubrixStreamLedger sum = world.ledgers.sum(problem);
        if (!problem.empty())
            world.defect("a ledger at rest: " + problem);
        for (const unsigned long long each :
             {sum.handedOver, sum.delivered, sum.read, sum.replaced, sum.usedInPlace, sum.discarded,
              sum.queued, sum.held, sum.refused})
            line += "," + std::to_string(each);
        line += "," + std::to_string(world.defects()) + "," + text(now.residentKib) + "," +
                std::to_string(now.heapKib) + "," + std::to_string(now.threads) + "," +
                std::to_string(now.descriptors);
        write(line);
    }

private:
    static std::string text(const std::optional<unsigned long> &value)
    {
        return value ? std::to_string(*value) : "";
    }
    /// A thread that was joined shows in /proc for a moment longer, and the search for network
    /// cameras opens a socket now and then: the least of what is seen counts.
    Resources settledResources()
    {
        const auto deadline = steady_clock::now() + kSettlingTimeout;
        Resources now = measureResources();
        while ((now.threads > m_first.threads || now.descriptors > m_first.descriptors) &&
               m_first.threads != 0 && steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            now = measureResources();
        }
        if (m_first.threads == 0)
            m_first = now;
        return now;
    }
    void write(const std::string &line)
    {
        m_file << line << std::endl;
        std::printf("%s\n", line.c_str());
        std::fflush(stdout);
    }

    std::ofstream m_file;
    Resources m_first;
    const steady_clock::time_point m_start = steady_clock::now();
};

void prepare(const Options &options)
{
    const std::string images = options.folder + "/images";
    std::filesystem::create_directories(images);
    SoakImages().write(images);
    const std::string scenario = options.folder + "/scenario.json";
    std::ofstream(scenario) << scenarioText(options.seed, options.seconds);
    ::setenv("NUBRIX_VIRTUAL_SCENARIO", scenario.c_str(), 1);
    ::setenv("NUBRIX_LOG_CONSOLE", "0", 1);
    ::setenv("NUBRIX_LOG_FILE", (options.folder + "/library.log").c_str(), 1);
}

void gather(World &world)
{
    if (!world.rest.gather(kRestTimeout)) {
        std::fprintf(stderr, "soak: a thread hangs\n");
        std::abort();  // the core file shows where
    }
}

int run(const Options &options)
{
    prepare(options);
    Log log(options.folder + "/soak.csv");
    World world(options.folder, kRestingThreads);
    std::promise<void> started;
    std::vector<std::thread> workers;
    workers.emplace_back([&] { readSteadyCamera(world, [&] { started.set_value(); }); });
    if (started.get_future().wait_for(kRestTimeout) != std::future_status::ready) {
        std::fprintf(stderr, "soak: the steady camera does not start\n");
        std::abort();
    }
    workers.emplace_back([&] { visitCamera(world, kLeftUri, options.seed + 1); });
    workers.emplace_back([&] { visitCamera(world, kRightUri, options.seed + 2); });
    workers.emplace_back([&] { recordFilms(world); });
    workers.emplace_back([&] { killNetworkCamera(world, options.simulator, options.seed + 4); });
    const auto start = steady_clock::now();
    const auto lines = static_cast<int>(options.seconds / options.interval);
    for (int line = 1; line <= lines; ++line) {
        std::this_thread::sleep_until(start +
                                      std::chrono::duration_cast<steady_clock::duration>(
                                          line * std::chrono::duration<double>(options.interval)));
        gather(world);
        log.add(world);
        if (line == lines)
            world.rest.end();
        else
            world.rest.resume();
    }
    for (std::thread &worker : workers)
        worker.join();
    return world.defects() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace nubrix::soak

int main(int count, char **words)
{
    if (count != 6) {
        std::fprintf(stderr, "usage: nubrix_soak FOLDER SIMULATOR SECONDS INTERVAL SEED\n");
        return 2;
    }
    // Each arena keeps memory that was freed: with one, resident memory settles within seconds.
    ::mallopt(M_ARENA_MAX, 1);
    try {
        return nubrix::soak::run({words[1], words[2], std::strtod(words[3], nullptr),
                                  std::strtod(words[4], nullptr),
                                  std::strtoull(words[5], nullptr, 10)});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
