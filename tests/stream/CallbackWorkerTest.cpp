#include "stream/CallbackWorker.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <utility>

#include "base/CallbackScope.h"
#include "tests/fakes/HangGuard.h"

namespace nubrix {
namespace {

/// A worker whose callback, one for each frame, is a function of the test.
struct Worker {
    explicit Worker(std::function<void()> function)
        : callback(std::move(function)), worker(&Worker::pass, this)
    {
    }
    ~Worker()
    {
        worker.close();
        worker.awaitEnd();
    }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    void runWithAFrame()
    {
        worker.run();
        worker.notify();
    }

    std::function<void()> callback;
    CallbackWorker worker;

private:
    static bool pass(void *self)
    {
        auto *const worker = static_cast<Worker *>(self);
        if (!worker->worker.awaitFrame())
            return false;
        const CallbackScope inCallback(&worker->worker);
        worker->callback();
        return true;
    }
};

TEST(CallbackWorkerTest, ItsThreadEndsOnRequest)
{
    const HangGuard guard("the end of a worker");
    Counter calls;
    Worker worker([&] { calls.add(); });
    worker.runWithAFrame();
    ASSERT_TRUE(calls.reaches(1));
    EXPECT_FALSE(worker.worker.hasEnded());
    worker.worker.requestEnd();
    worker.worker.notify();
    EXPECT_TRUE(worker.worker.awaitEnd());
    EXPECT_TRUE(worker.worker.hasEnded());
    EXPECT_EQ(calls.value(), 1);
}

TEST(CallbackWorkerTest, WhoeverWaitsForItsEndIsWokenWhenItIsWantedAgain)
{
    const HangGuard guard("the wait for a worker that is wanted again");
    Latch waited;
    Worker *target = nullptr;
    std::atomic<int> waiterId{0};
    Worker waiter([&] {
        waiterId = ::gettid();
        target->worker.requestEnd();
        EXPECT_TRUE(target->worker.awaitEnd());
        waited.open();
    });
    Worker awaited([&] {
        waiter.runWithAFrame();
        EXPECT_TRUE(eventually([&] { return waiterId != 0 && hasFallenAsleep(waiterId); }));
        awaited.worker.run();
        EXPECT_TRUE(waited.pass());
    });
    target = &awaited;
    awaited.runWithAFrame();
    EXPECT_TRUE(waited.pass());
    EXPECT_FALSE(awaited.worker.hasEnded());
}

}  // namespace
}  // namespace nubrix
