// A record file that is open for reading, and the pieces of it that are mapped.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace nubrix {

/// A mapped piece of a file, with a count of its users. Thread-safe.
class RecordWindow final {
public:
    RecordWindow(const RecordWindow &) = delete;
    RecordWindow &operator=(const RecordWindow &) = delete;

    /// Null stays null.
    static RecordWindow *share(RecordWindow *window);
    /// The last one to release it unmaps it. Does nothing for null.
    static void release(RecordWindow *window);

    /// The bytes of the file from `offset` on; null if the window does not hold all of them.
    const unsigned char *find(std::uint64_t offset, std::size_t sizeBytes) const;

private:
    friend class RecordFile;

    RecordWindow(void *base, std::uint64_t offset, std::size_t sizeBytes);
    ~RecordWindow();

    void *const m_base;
    const std::uint64_t m_offset;
    const std::size_t m_sizeBytes;
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
    /// Reads fewer bytes than requested only at the end of the file.
    std::size_t read(std::uint64_t offset, unsigned char *out, std::size_t sizeBytes) const;
    /// Maps these bytes, which the file must have, and some that follow. The caller releases it.
    RecordWindow *map(std::uint64_t offset, std::size_t sizeBytes) const;

private:
    const int m_descriptor;
};

}  // namespace nubrix
