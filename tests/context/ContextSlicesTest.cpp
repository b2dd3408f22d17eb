// The slices that a wait for streams is made of.
#include <cerrno>
#include <cmath>
#include <thread>
#include <vector>

#include "base/ErrorNumber.h"
#include "tests/context/ContextInside.h"
#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

class Slices : public InsideOf<Context> {
protected:
    Slices()
    {
        m_context.openStream(open("usb:1"), NUBRIX_STREAM_COLOR, &m_stream, nullptr, nullptr);
    }

    /// Waits without waiting: every slice ends at once with `result`. Gives the lengths of the
    /// slices in milliseconds.
    std::vector<long> slicesOf(int timeoutMs, int result = ETIMEDOUT)
    {
        std::vector<long> slices;
        const std::thread::id waiter = std::this_thread::get_id();
        SystemCalls calls;
        calls.condTimedWait = [&](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                  const timespec *deadline) {
            if (std::this_thread::get_id() != waiter)
                return RealCalls::condTimedWait(condition, mutex, deadline);
            timespec now = {};
            clock_gettime(CLOCK_MONOTONIC, &now);
            const double ms = static_cast<double>(deadline->tv_sec - now.tv_sec) * 1e3 +
                              static_cast<double>(deadline->tv_nsec - now.tv_nsec) / 1e6;
            // A machine that is late by less than 100 ms changes nothing.
            slices.push_back(std::lround(std::ceil(ms / 100)) * 100);
            return result;
        };
        const SystemCallsInForce force(calls);
        m_status = m_context.waitForStreams(&m_stream, 1, nullptr, timeoutMs);
        return slices;
    }

    NubrixStream *m_stream = nullptr;
    int m_status = 0;
};

TEST_F(Slices, AreOfASecondAndTheRest)
{
    EXPECT_THAT(slicesOf(2500), ElementsAre(1000, 1000, 500));
    EXPECT_EQ(m_status, -11);
    EXPECT_THAT(slicesOf(1300), ElementsAre(1000, 300));
    EXPECT_THAT(slicesOf(1000), ElementsAre(1000));
    EXPECT_THAT(slicesOf(200), ElementsAre(200));
}

TEST_F(Slices, ThatFailEndTheWaitAtOnce)
{
    setErrorNumber(12345);
    for (const int timeoutMs : {2500, -1}) {
        EXPECT_EQ(slicesOf(timeoutMs, EINVAL).size(), 1U);
        EXPECT_EQ(m_status, -1);
    }
    EXPECT_EQ(g_nubrixErrno, 12345U) << "no error number";
}

}  // namespace
}  // namespace nubrix
