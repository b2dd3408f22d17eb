// The workers of a driver, from their start until they are joined.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "common/DriverThreads.h"
#include "net/CameraWorker.h"

namespace nubrix::net {

/// Thread-safe.
class CameraWorkers {
public:
    CameraWorkers() = default;
    CameraWorkers(const CameraWorkers &) = delete;
    CameraWorkers &operator=(const CameraWorkers &) = delete;
    /// Joins all, which have been retired; not from within a frame callback.
    ~CameraWorkers() = default;

    /// Throws std::system_error when there is no thread to be had, std::bad_alloc.
    std::shared_ptr<CameraWorker> start(const std::string &address,
                                        std::shared_ptr<CameraState> state);
    /// Joins the retired workers that are done by their ends, which pass at the same time. The
    /// others are those in whose frame callback their camera was closed, and that has not returned.
    void joinFinished() noexcept;

private:
    struct Entry {
        std::uint64_t number;
        std::shared_ptr<CameraWorker> worker;
        DriverThreads::Handle thread;
    };

    Entry nextRetired(std::uint64_t after);
    void remove(std::uint64_t number);

    DriverThreads m_threads;
    std::mutex m_lock;
    std::uint64_t m_last = 0;    // both under m_lock
    std::list<Entry> m_entries;  // by number
};

}  // namespace nubrix::net
