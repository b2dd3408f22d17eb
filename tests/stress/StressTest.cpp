// Random calls on every kind of thread, with every kind of handle, while the context is destroyed,
// initialized and deleted. What can be set by the environment is described in docs/threads.md.
#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/stress/StressOperations.h"

namespace nubrix::stress {
namespace {

using std::chrono::milliseconds;

// Cameras that leave and come back while they are used, and whose driver fails now and then.
constexpr const char *kCameras = R"([
    {"serial": "STAYS", "faults": [
        {"type": "keep_alive_fail", "at_ms": 40, "duration_ms": 10},
        {"type": "start_fail", "attempt": 4, "status": -22},
        {"type": "buffer_size_change", "start": 2, "count": 1},
        {"type": "short_frame", "at_frame": 3}, {"type": "wrong_type", "at_frame": 5}]},
    {"serial": "LEAVES", "faults": [
        {"type": "unplug", "at_ms": 6}, {"type": "plug", "after_ms": 4},
        {"type": "unplug", "at_ms": 30}, {"type": "plug", "after_ms": 10},
        {"type": "unplug", "at_ms": 70}, {"type": "plug", "after_ms": 5},
        {"type": "unplug", "at_ms": 150}, {"type": "plug", "after_ms": 20},
        {"type": "open_fail", "attempt": 3, "status": -21}]},
    {"serial": "COMES", "plugged": false, "faults": [
        {"type": "plug", "at_ms": 3}, {"type": "unplug", "at_ms": 12},
        {"type": "plug", "at_ms": 17}, {"type": "unplug", "at_ms": 45},
        {"type": "plug", "at_ms": 50}, {"type": "unplug", "at_frame": 20}]}])";

unsigned long numberOf(const char *variable, unsigned long otherwise)
{
    const char *const value = std::getenv(variable);
    return value && *value ? std::strtoul(value, nullptr, 10) : otherwise;
}

unsigned long seedOfThisRun()
{
    return numberOf("NUBRIX_STRESS_SEED", std::random_device{}() % 1000000);
}

class StressTest : public testing::Test {
protected:
    StressTest()
    {
        m_world.firmware = m_library.writeFirmware();
        m_world.uris = {virtualUri("STAYS"), virtualUri("LEAVES"), virtualUri("COMES"),
                        virtualUri("NOWHERE")};
        std::printf("%s, %lu life cycles, %lu threads\n", m_about.c_str(), m_cycles, m_threads);
        std::fflush(stdout);
    }

    /// An ordinary thread of the application.
    void callUntilTheEnd()
    {
        Random random(m_world.nextSeed());
        Caller caller{m_world, Origin::kThread, random};
        while (!m_world.stopping) {
            callSomething(caller);
            if (random.chance(25))
                std::this_thread::sleep_for(std::chrono::microseconds(random.below(2000)));
        }
    }
    void live(Caller &caller)
    {
        callOperation("initialize", caller);
        if (m_world.isOn("state"))
            callOperation("setDeviceStateCallback", caller);
        const std::size_t longest = caller.random.oneOf({5U, 10U, 20U, 40U, 80U, 250U});
        std::this_thread::sleep_for(milliseconds(caller.random.below(longest)));
    }
    void destroyAndDelete(Caller &caller)
    {
        m_world.initializeDoor.close();
        if (callOperation("destroy", caller) == 0) {
            m_world.quiet = true;
            std::this_thread::sleep_for(milliseconds(caller.random.below(5)));
        }
        m_world.contextDoor.close();
        {
            const StallWatch::Call call(m_watch, "deleteContext");
            m_library.deleteContext(m_world.context);
        }
        m_world.context = m_library.context();
        m_world.quiet = false;
        m_world.contextDoor.open();
        m_world.initializeDoor.open();
    }
    void releaseEverything(Caller &caller)
    {
        callOperation("initialize", caller);
        while (typedefNubrixFrame *const frame = m_world.takeFrame(caller.random))
            EXPECT_EQ(m_world.context.load()->releaseFrame(frame), 0);
        destroyAndDelete(caller);
        m_library.deleteContext(m_world.context);
    }

    const unsigned long m_cycles = numberOf("NUBRIX_STRESS_CYCLES", NUBRIX_STRESS_CYCLES);
    const unsigned long m_threads = numberOf("NUBRIX_STRESS_THREADS", 4);
    const unsigned long m_seed = seedOfThisRun();
    const std::string m_about = "stress test: NUBRIX_STRESS_SEED=" + std::to_string(m_seed);
    VirtualLibrary m_library{kCameras};
    StallWatch m_watch{
        std::chrono::seconds(numberOf("NUBRIX_STRESS_STALL_S", NUBRIX_STRESS_STALL_S)), m_about};
    World m_world{m_library, m_seed, m_watch};
};

TEST_F(StressTest, RandomCallsOnEveryKindOfThread)
{
    Random random(m_world.nextSeed());
    Caller caller{m_world, Origin::kThread, random};
    std::vector<std::thread> threads;
    for (unsigned long i = 0; i < m_threads; ++i)
        threads.emplace_back([this] { callUntilTheEnd(); });
    for (unsigned long cycle = 0; cycle < m_cycles && m_world.violations().empty(); ++cycle) {
        live(caller);
        for (const StreamEntry &each : m_world.streams.all())
            m_world.checkLedger(each.handle);
        if (m_world.isOn("delete") && random.chance(30))
            destroyAndDelete(caller);
        else
            callOperation("destroy", caller);
        m_world.retireAllHandles();
    }
    m_world.stopping = true;
    callOperation("destroy", caller);  // wakes a thread that waits for ever
    for (std::thread &thread : threads)
        thread.join();
    releaseEverything(caller);
    if (numberOf("NUBRIX_STRESS_STATISTICS", 0) != 0)
        std::printf("%s", m_world.statistics().c_str());
    EXPECT_THAT(m_world.violations(), testing::IsEmpty()) << m_about;
}

}  // namespace
}  // namespace nubrix::stress
