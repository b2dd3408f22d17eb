// Signals that are used, and destroyed, by several threads at once.
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <barrier>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "base/sigslot.h"
#include "tests/fakes/HangGuard.h"
#include "tests/fakes/SystemCalls.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {
namespace {

// Counts the locks, and with them the signals and receivers, that have not been destroyed; and how
// often two of them were taken one under the other in both orders, which could end in a deadlock.
class CountedLock : public sigslot::multi_threaded_local {
public:
    CountedLock() { ++s_living; }
    ~CountedLock() override { --s_living; }
    void lock() override
    {
        {
            const std::lock_guard<std::mutex> guard(s_mutex);
            for (const int held : t_held) {
                s_orders.insert({held, m_number});
                s_inversions += s_orders.contains({m_number, held}) ? 1 : 0;
            }
        }
        sigslot::multi_threaded_local::lock();
        t_held.push_back(m_number);
    }
    void unlock() override
    {
        std::erase(t_held, m_number);
        sigslot::multi_threaded_local::unlock();
    }
    static int living() { return s_living; }
    static int inversions() { return s_inversions; }

private:
    inline static std::atomic<int> s_living{0};
    inline static std::atomic<int> s_inversions{0};
    inline static std::atomic<int> s_made{0};
    inline static std::mutex s_mutex;
    inline static std::set<std::pair<int, int>> s_orders;  // under s_mutex
    inline static thread_local std::vector<int> t_held;

    const int m_number = s_made++;
};

using Policy = CountedLock;
using Signal = sigslot::signal1<int, Policy>;

class Receiver final : public sigslot::has_slots<Policy> {
public:
    explicit Receiver(std::function<void()> slot = {}) : m_slot(std::move(slot)) {}
    ~Receiver() override { disconnect_all(); }
    void onValue(int /*value*/)
    {
        if (m_slot)
            m_slot();
    }

private:
    const std::function<void()> m_slot;
};

thread_local pthread_mutex_t *t_lastLocked = nullptr;

// A slot that stays in its call until another thread stands before the signal's lock, or has gone
// past it unhindered.
class RunningEmissionTest : public testing::Test {
protected:
    RunningEmissionTest()
    {
        m_calls.mutexLock = [this](pthread_mutex_t *mutex) {
            t_lastLocked = mutex;
            if (mutex == m_signalMutex.load() && !m_inLockHook.exchange(true))
                m_atTheLock.open();
            return RealCalls::mutexLock(mutex);
        };
    }
    std::unique_ptr<Receiver> makeReceiver()
    {
        return std::make_unique<Receiver>([this] {
            m_signalMutex = t_lastLocked;
            m_running.open();
            EXPECT_TRUE(m_atTheLock.pass());
            m_done = true;
        });
    }
    void whileASlotRuns(const std::function<void()> &action)
    {
        const SystemCallsInForce inForce(m_calls);
        std::thread emitter([this] { m_signal->emit(1); });
        ASSERT_TRUE(m_running.pass());
        action();
        m_doneAtReturn = m_done.load();
        m_atTheLock.open();
        emitter.join();
    }

    std::unique_ptr<Signal> m_signal = std::make_unique<Signal>();
    std::atomic<pthread_mutex_t *> m_signalMutex{nullptr};
    std::atomic<bool> m_inLockHook{false};
    Latch m_running;
    Latch m_atTheLock;
    std::atomic<bool> m_done{false};
    bool m_doneAtReturn = false;
    SystemCalls m_calls;
};

TEST_F(RunningEmissionTest, DisconnectingAReceiverWaitsForIt)
{
    const auto receiver = makeReceiver();
    m_signal->connect(receiver.get(), &Receiver::onValue);
    whileASlotRuns([&] { m_signal->disconnect(receiver.get()); });
    EXPECT_TRUE(m_doneAtReturn);
}

TEST_F(RunningEmissionTest, AReceiverThatLeavesItsSignalsWaitsForIt)
{
    const auto receiver = makeReceiver();
    m_signal->connect(receiver.get(), &Receiver::onValue);
    whileASlotRuns([&] { receiver->disconnect_all(); });
    EXPECT_TRUE(m_doneAtReturn);
}

TEST_F(RunningEmissionTest, DestroyingAReceiverWaitsForIt)
{
    auto receiver = makeReceiver();
    m_signal->connect(receiver.get(), &Receiver::onValue);
    whileASlotRuns([&] { receiver.reset(); });
    EXPECT_TRUE(m_doneAtReturn);
}

TEST_F(RunningEmissionTest, ConnectingAnotherReceiverWaitsForIt)
{
    const auto receiver = makeReceiver();
    std::atomic<int> calls{0};
    Receiver late([&] { ++calls; });
    m_signal->connect(receiver.get(), &Receiver::onValue);
    whileASlotRuns([&] { m_signal->connect(&late, &Receiver::onValue); });
    EXPECT_TRUE(m_doneAtReturn);
    EXPECT_EQ(calls, 0);
}

// Two threads that meet at the start of each round.
template <class First, class Second>
void race(int rounds, First first, Second second)
{
    std::barrier<> meeting(2);
    std::thread other([&] {
        for (int i = 0; i < rounds; ++i) {
            meeting.arrive_and_wait();
            second();
            meeting.arrive_and_wait();
        }
    });
    for (int i = 0; i < rounds; ++i) {
        first.before();
        meeting.arrive_and_wait();
        first();
        meeting.arrive_and_wait();
        first.after();
    }
    other.join();
}

struct Pair {
    std::unique_ptr<Signal> signal;
    std::unique_ptr<Receiver> receiver;
    std::atomic<int> calls{0};

    void make()
    {
        signal = std::make_unique<Signal>();
        receiver = std::make_unique<Receiver>([this] { ++calls; });
        signal->connect(receiver.get(), &Receiver::onValue);
    }
};

constexpr int kRounds = 500;

struct OnFirstThread {
    std::function<void()> before = [] {};
    std::function<void()> action = [] {};
    std::function<void()> after = [] {};
    void operator()() const { action(); }
};

TEST(SignalRaceTest, ASignalAndItsReceiverMayDieAtTheSameTime)
{
    const HangGuard hangGuard("a signal that dies together with its receiver");
    Pair pair;
    Receiver otherReceiver;
    Signal otherSignal;
    const int others = CountedLock::living();
    const auto make = [&] {
        pair.make();
        pair.signal->connect(&otherReceiver, &Receiver::onValue);
        otherSignal.connect(pair.receiver.get(), &Receiver::onValue);
    };
    const auto check = [&] {
        EXPECT_EQ(CountedLock::living(), others) << "a receiver still knows the signal";
        otherSignal.emit(1);
        EXPECT_EQ(pair.calls, 0);
    };
    race(kRounds, OnFirstThread{make, [&] { pair.signal.reset(); }, check},
         [&] { pair.receiver.reset(); });
}

TEST(SignalRaceTest, AReceiverMayDieWhileTheSignalIsEmitted)
{
    Pair pair;
    race(kRounds,
         OnFirstThread{[&] { pair.make(); }, [&] { pair.signal->emit(1); },
                       [&] {
                           const int calls = pair.calls;
                           pair.signal->emit(2);
                           EXPECT_EQ(pair.calls, calls);
                       }},
         [&] { pair.receiver.reset(); });
    EXPECT_LE(pair.calls, kRounds);
}

// The two orders in which locks could be taken: signal then receiver, and receiver then signal.
TEST(SignalRaceTest, LeavingFromBothEndsDoesNotLockUp)
{
    const HangGuard hangGuard("leaving a signal from both ends");
    std::atomic<int> calls{0};
    std::atomic<int> otherCalls{0};
    Receiver receiver([&] { ++calls; });
    Receiver otherReceiver([&] { ++otherCalls; });
    const int receivers = CountedLock::living();
    std::array<std::unique_ptr<Signal>, 3> signals;
    const auto emitAll = [&] {
        calls = 0;
        otherCalls = 0;
        for (const auto &each : signals)
            each->emit(1);
    };
    const auto connect = [&] {
        for (const auto &each : signals)
            each->connect(&receiver, &Receiver::onValue);
        signals[0]->connect(&otherReceiver, &Receiver::onValue);
        emitAll();
        EXPECT_EQ(calls, 3);
        EXPECT_EQ(otherCalls, 1);
    };
    const auto leave = [&] {
        signals[0]->disconnect_all();
        signals[1]->disconnect(&receiver);
    };
    const auto check = [&] {
        emitAll();
        EXPECT_EQ(calls, 0);
        EXPECT_EQ(otherCalls, 0);
    };
    for (int set = 0; set < 10; ++set) {
        for (auto &each : signals)
            each = std::make_unique<Signal>();
        race(kRounds / 10, OnFirstThread{connect, leave, check},
             [&] { receiver.disconnect_all(); });
        signals = {};
        EXPECT_EQ(CountedLock::living(), receivers) << "a receiver still knows a signal";
    }
    EXPECT_EQ(CountedLock::inversions(), 0);
}

TEST(SignalRaceTest, ManyMayConnectAndEmitAtOnce)
{
    Signal signal;
    std::atomic<int> calls{0};
    const auto useIt = [&] {
        for (int i = 0; i < kRounds; ++i) {
            Receiver receiver([&] { ++calls; });
            signal.connect(&receiver, &Receiver::onValue);
            signal.emit(i);
        }
    };
    std::thread other(useIt);
    useIt();
    other.join();
    const int before = calls;
    EXPECT_GE(before, 2 * kRounds);
    signal.emit(0);
    EXPECT_EQ(calls, before);
}

TEST(SignalRaceTest, OneReceiverMayConnectToManySignalsAtOnce)
{
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kSignals = 200;
    // Not Signal: its counting would put the threads in an order.
    struct Plain final : sigslot::has_slots<sigslot::multi_threaded_local> {
        void onValue(int) { ++calls; }
        std::size_t calls = 0;
    } receiver;
    using PlainSignal = sigslot::signal1<int, sigslot::multi_threaded_local>;
    std::vector<PlainSignal> signals(kThreads * kSignals);
    std::barrier begin(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, own = &signals[i * kSignals]] {
            begin.arrive_and_wait();
            for (std::size_t k = 0; k < kSignals; ++k)
                own[k].connect(&receiver, &Plain::onValue);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (PlainSignal &signal : signals)
        signal.emit(0);
    EXPECT_EQ(receiver.calls, kThreads * kSignals);
    receiver.disconnect_all();  // of all that it knows
    for (PlainSignal &signal : signals)
        signal.emit(0);
    EXPECT_EQ(receiver.calls, kThreads * kSignals);
}

}  // namespace
}  // namespace nubrix
