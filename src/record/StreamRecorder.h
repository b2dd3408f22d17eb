// Writes the frames of streams into a record file: the object behind a recorder handle.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "base/CriticalSectionImpl.h"
#include "base/FileWrapper.h"
#include "nubrix/types.h"
#include "stream/StreamFrameBaseListener.h"

namespace nubrix {

/// The state of a stream that is attached to a recorder.
struct tagAttachedStreamInfo {
    unsigned int recordType;  ///< the stream's type code
    unsigned int extra;       ///< always 0
};

/// Appends a tag of 26 bytes and the pixels of every new frame while started; docs/recording.md
/// describes the format. onNewFrame: the streams' threads; everything else: any thread.
class StreamRecorder final : public StreamFrameBaseListener {
public:
    /// Creates or empties the file; isOpened reports the result.
    explicit StreamRecorder(const std::string &path);
    ~StreamRecorder() override;

    /// 0; -4 when attached already; -1 when the device has no current mode. While started nothing
    /// is attached and the result is 0.
    int AttachStream(VideoStream *stream, unsigned int recordType, unsigned int extra);
    /// 0, or -4 when the stream is not attached.
    int DeAttachStream(VideoStream *stream);
    /// The stream is about to be deleted: as DeAttachStream, without a line in the log.
    void forget(VideoStream *stream);
    int Start();
    /// Flushes the file, which stays open.
    int Stop();
    /// The end of recording, also while others still hold the recorder: nothing is written after
    /// it. The destructor does the same unless it has been done.
    void finish();

    /// Overwrites the first 70 bytes of the file with the header. Nothing calls it while recording.
    void writeHeader();
    /// Bytes written; 0 when the file is not open.
    int writeData(const void *data, unsigned int size);
    void onNewFrame(VideoStream *stream) override;

    bool isOpened() const { return m_opened; }
    /// What the application holds: this object's address.
    NubrixRecord *handle() { return reinterpret_cast<NubrixRecord *>(this); }

private:
    // One slot of the header; colour has the first, depth the second, the rest stay unused.
    struct Slot {
        std::uint16_t type;
        std::uint32_t counter;
        std::uint16_t format;
        std::uint16_t frameRate;
        std::uint16_t width;
        std::uint16_t height;
    };

    Slot *slotOf(unsigned int recordType) NUBRIX_REQUIRES(m_lock);
    bool recordTypeOf(VideoStream *stream, unsigned int &recordType);
    bool writeRecord(const typedefNubrixFrame &frame, unsigned int recordType);

    CriticalSectionImpl m_lock;  // keeps a tag and its data together
    const std::unique_ptr<FileWrapper> m_file;
    std::array<Slot, 5> m_header NUBRIX_GUARDED_BY(m_lock) = {};
    std::map<VideoStream *, tagAttachedStreamInfo> m_attachedStreams NUBRIX_GUARDED_BY(m_lock);
    bool m_opened = false;  // fixed after construction
    std::atomic<bool> m_started{false};
    std::atomic<bool> m_finished{false};
};

}  // namespace nubrix
