// A video node without a kernel: it answers as the test describes, and captures a frame when the
// test requests one.
#pragma once

#include <linux/videodev2.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/DriverThreads.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

/// The properties and the state of a node. Thread-safe.
class FakeCamera {
public:
    struct Size {
        unsigned int width;
        unsigned int height;
        std::vector<unsigned int> rates;
    };
    struct Format {
        std::uint32_t code;
        std::vector<Size> sizes;
    };
    struct Shot {
        std::vector<std::uint8_t> bytes;
        std::uint32_t flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
        std::uint64_t timestampUs = 0;
    };

    // Set before the camera is used.
    std::vector<Format> formats;
    std::uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    bool takesUserMemory = true;
    bool enumeratesSizes = true;
    unsigned int paddingBytes = 0;  // at the end of each row
    unsigned int spareBytes = 0;    // in each buffer, beyond an image
    unsigned int missingBytes = 0;  // by which the buffer size that it reports is too small
    unsigned int leastBuffers = 0;  // the smallest number of buffers that it accepts
    unsigned int mostBuffers = 32;  // the largest number of buffers that it grants
    unsigned int givenRate = 0;     // the rate that it always sets; 0: the requested rate
    std::uint32_t tooMuch = 0;      // a format for which the bus has too little bandwidth
    std::map<std::uint32_t, std::int32_t> controls;
    std::vector<std::uint8_t> extension;  // the one control of extension unit 4, selector 2

    /// Lets a request fail with an error from now on, 0 for success.
    void fail(unsigned long request, int error);
    /// From now on this request, and no other, blocks until the camera is unblocked.
    void block(unsigned long request);
    void unblock();
    /// Waits until a call is blocked; false after the deadline.
    bool awaitBlocked();
    /// Number of open files of the node.
    int openFiles() const { return m_openFiles; }
    void count(int files) { m_openFiles += files; }
    /// From now on it delivers another size than requested.
    void changeModes();
    /// Fills the oldest buffer, or drops the frame if there is none; the frame is counted in both
    /// cases.
    void capture(const Shot &shot);
    /// Captures a complete frame, each byte of which has the value.
    void captureAll(std::uint8_t value);
    /// Counts frames without delivering them.
    void lose(unsigned int frames);
    void unplug();

    v4l2_pix_format format() const;
    v4l2_fract interval() const;
    bool isStreaming() const;
    /// Whether the driver has set the node up and not released it, so that nobody else may.
    bool isClaimed() const;
    /// Number of buffers that the driver has requested.
    std::size_t buffers() const;
    std::uint32_t memory() const;
    unsigned int mappings() const;
    /// How often a buffer got an address that it did not have, so that a kernel would pin its
    /// pages.
    unsigned int pins() const;
    /// Number of buffers that wait for a frame.
    std::size_t queued() const;

    /// The operations of a file of the node.
    int control(unsigned long request, void *argument);
    void *map(std::size_t length, std::uint32_t offset);
    void unmap();
    int descriptor() const { return m_filled.descriptor(); }

private:
    struct Buffer {
        std::vector<std::uint8_t> own;
        std::uint8_t *memory;
        std::size_t length;
        std::uint32_t used;
        std::uint32_t sequence;
        std::uint32_t flags;
        std::uint64_t timestampUs;
    };

    int enumerateFormats(v4l2_fmtdesc &answer) const;
    int enumerateSizes(v4l2_frmsizeenum &answer) const;
    int enumerateIntervals(v4l2_frmivalenum &answer) const;
    void adjust(v4l2_pix_format &format) const;
    int requestBuffers(v4l2_requestbuffers &request);
    int queue(const v4l2_buffer &buffer);
    void pin(Buffer &buffer, std::uint8_t *memory);
    int dequeue(v4l2_buffer &buffer);
    int useFormat(unsigned long request, v4l2_pix_format &format);
    int useInterval(unsigned long request, v4l2_fract &interval);
    int useBuffers(unsigned long request, void *argument);
    int useControl(unsigned long request, v4l2_control &control);
    int useExtension(void *argument);

    void waitWhileBlocked(unsigned long request);

    std::atomic<int> m_openFiles{0};
    mutable std::mutex m_lock;
    std::condition_variable m_blocking;
    EventFd m_filled;  // everything below is under m_lock
    unsigned long m_blocked = 0;
    bool m_isInside = false;
    std::map<unsigned long, int> m_errors;
    v4l2_pix_format m_format = {};
    v4l2_fract m_interval = {1, 30};
    bool m_streaming = false;
    bool m_claimed = false;
    bool m_gone = false;
    bool m_changed = false;
    unsigned int m_mappings = 0;
    unsigned int m_pins = 0;
    std::uint32_t m_memory = 0;
    std::uint32_t m_sequence = 0;
    std::vector<Buffer> m_buffers;
    std::deque<std::uint32_t> m_empty;
    std::deque<std::uint32_t> m_ready;
};

/// A file of the node; the camera must outlive it.
class FakeNode final : public NodeIo {
public:
    explicit FakeNode(FakeCamera &camera) : m_camera(camera) { m_camera.count(1); }
    ~FakeNode() override { m_camera.count(-1); }

    int control(unsigned long request, void *argument) override
    {
        return m_camera.control(request, argument);
    }
    void *map(std::size_t length, std::uint32_t offset) override
    {
        return m_camera.map(length, offset);
    }
    void unmap(void * /*memory*/, std::size_t /*length*/) override { m_camera.unmap(); }
    int descriptor() const override { return m_camera.descriptor(); }

private:
    FakeCamera &m_camera;
};

}  // namespace nubrix::uvc
