// What the benchmarks of streams share: the library with the driver of BenchDriver.h, and the bare
// hand-over that they compare with.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "bench/Baton.h"
#include "bench/stream/BenchDriver.h"
#include "nubrix/nubrix.h"

namespace nubrix::bench {

/// A relay of `hops` threads, each passing the baton on; the last one gives it back.
class Relay {
public:
    explicit Relay(int hops) : m_batons(static_cast<std::size_t>(hops) + 1)
    {
        for (int i = 0; i < hops; ++i) {
            m_threads.emplace_back([this, i] {
                for (;;) {
                    m_batons[static_cast<std::size_t>(i)].take();
                    const bool ending = m_ending;
                    m_batons[static_cast<std::size_t>(i) + 1].pass();
                    if (ending)
                        return;
                }
            });
        }
    }
    ~Relay()
    {
        m_ending = true;
        roundTrip();
        for (std::thread &thread : m_threads)
            thread.join();
    }
    void roundTrip()
    {
        m_batons.front().pass();
        m_batons.back().take();
    }

private:
    std::vector<Baton> m_batons;
    std::vector<std::thread> m_threads;
    std::atomic<bool> m_ending{false};
};

struct Library {
    Library()
    {
        context = ContextFactory();
        if (context->initialize() != 0)
            std::abort();
        deliver = symbol<BenchDeliver>("benchDeliver");
    }
    /// For frames of `side` pixels in each direction.
    explicit Library(int side) : Library() { symbol<BenchSetSize>("benchSetSize")(side, side); }
    ~Library()
    {
        symbol<BenchSetSize>("benchSetSize")(640, 480);
        context->destroy();
        deleteContext(context);
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
    /// A function of the driver.
    template <class Function>
    static Function symbol(const char *name)
    {
        return reinterpret_cast<Function>(dlsym(libUvcDriverHandle, name));
    }
    NubrixStream *open(unsigned int index, NubrixFrameCallback callback, void *user)
    {
        static const unsigned int kTypes[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH,
                                              NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR};
        if (index % 4 == 0) {
            typedefNubrixeviceAttribute *list = nullptr;
            unsigned int count = 0;
            context->nubrixGetDeviceList(&list, &count);
            if (context->openDevice(list[index / 4].uri, &device) != 0)
                std::abort();
        }
        NubrixStream *stream = nullptr;
        if (context->openStream(device, kTypes[index % 4], &stream, callback, user) != 0)
            std::abort();
        return stream;
    }

    NubrixBaseContext *context;
    NubrixDevice *device = nullptr;
    BenchDeliver deliver;
};

/// Returns each frame and passes the baton.
struct Receiver {
    NubrixBaseContext *context;
    Baton back;

    static void onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        auto *const self = static_cast<Receiver *>(user);
        self->context->releaseFrame(frame);
        self->back.pass();
    }
};

}  // namespace nubrix::bench
