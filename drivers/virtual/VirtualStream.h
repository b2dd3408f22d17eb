// One stream of an opened virtual camera.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "common/DriverStream.h"
#include "common/DriverThreads.h"

namespace nubrix {

class StreamRun;
class VirtualDevice;

/// The operations come one at a time; the queries and wake may be used on any thread.
class VirtualStream final : public DriverStream {
public:
    VirtualStream(VirtualDevice &device, unsigned int streamType);
    /// May be called from within the frame callback, as stop.
    ~VirtualStream() override;

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, lacks allocator or callback, or the camera is being upgraded, -9 when the
    /// camera has been unplugged, -1 when there is no thread or memory to be had, or what a fault
    /// says.
    int start() override;
    /// 0, also when it does not run. From within the frame callback it does not wait: the frame
    /// that is being delivered is the last one, and is held until the callback returns.
    int stop() override;

    /// The frame that comes next while it runs.
    std::uint32_t nextFrame() const;
    /// Has it look at once whether another place was sought or the camera is being upgraded.
    void wake();

private:
    int begin(const typedefNubrixFrameMode &mode, unsigned int upgrades);

    VirtualDevice &m_device;
    mutable std::mutex m_lock;
    std::shared_ptr<StreamRun>
        m_run;                       // of the last start; written, and read elsewhere, under m_lock
    DriverThreads::Handle m_thread;  // as m_run
};

}  // namespace nubrix
