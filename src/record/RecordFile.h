// A record file that is open for reading, and the pixels that were read from it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace nubrix {

/// The pixels of a record, counted by whoever looks at them. Thread-safe.
class RecordPixels final {
public:
    RecordPixels(const RecordPixels &) = delete;
    RecordPixels &operator=(const RecordPixels &) = delete;

    /// With one user, who releases it. Throws std::bad_alloc.
    static RecordPixels *create(std::size_t sizeBytes) { return new RecordPixels(sizeBytes); }
    /// Null stays null.
    static RecordPixels *share(RecordPixels *pixels);
    /// The last one to release it deletes it. Does nothing for null.
    static void release(RecordPixels *pixels);

    /// Whether the caller, who is one, is the only user.
    bool hasOneUser() const { return m_count.load(std::memory_order_acquire) == 1; }
    unsigned char *data() { return m_bytes.get(); }
    std::size_t capacityBytes() const { return m_capacityBytes; }

private:
    explicit RecordPixels(std::size_t sizeBytes);
    ~RecordPixels() = default;

    const std::size_t m_capacityBytes;
    const std::unique_ptr<unsigned char[]> m_bytes;
    std::atomic<int> m_count{1};
};

/// Not thread-safe. Failures are thrown as std::system_error.
class RecordFile final {
public:
    explicit RecordFile(const char *path);
    ~RecordFile();
    RecordFile(const RecordFile &) = delete;
    RecordFile &operator=(const RecordFile &) = delete;

    /// At this moment.
    std::uint64_t size() const;
    /// Fewer bytes than asked for only at the end of the file.
    std::size_t read(std::uint64_t offset, unsigned char *out, std::size_t sizeBytes) const;

private:
    const int m_descriptor;
};

}  // namespace nubrix
