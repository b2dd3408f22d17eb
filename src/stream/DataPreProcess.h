// A stage between a sensor and its streams that handles frames on a thread of its own.
#pragma once

#include <atomic>
#include <deque>
#include <memory>

#include "base/CriticalSectionImpl.h"
#include "base/EventImpl.h"
#include "base/ThreadWrapper.h"
#include "nubrix/driver.h"

namespace nubrix {

class Sensor;

/// A queue of at most four frames; a fifth replaces the oldest. Built, but not
/// used in this release: see Sensor. onNewRawFrame: any thread. start and stop: one caller at a
/// time.
class DataPreProcess {
public:
    DataPreProcess() = default;
    DataPreProcess(const DataPreProcess &) = delete;
    DataPreProcess &operator=(const DataPreProcess &) = delete;
    virtual ~DataPreProcess();

    int start(Sensor *sensor);
    void stop();
    /// Queues a frame and takes a reference to it; does nothing while stopped.
    void onNewRawFrame(NubrixFrameRef *frame);
    /// One pass: waits up to 100 ms for frames and emits them through the sensor. False ends the
    /// worker.
    bool newFrameProcess();

private:
    static bool threadFunc(void *self);
    bool emitFront();

    Sensor *m_sensor = nullptr;
    EventImpl m_newFrame;
    CriticalSectionImpl m_queueLock;
    // Each entry holds a reference.
    std::deque<NubrixFrameRef *> m_queue NUBRIX_GUARDED_BY(m_queueLock);
    std::atomic<bool> m_running{false};
    std::unique_ptr<ThreadWrapper> m_worker;  // null while stopped
};

}  // namespace nubrix
