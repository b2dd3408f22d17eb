#include "record/RecordFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

namespace nubrix {

namespace {

// Small enough that many frames can be held on a 32-bit machine, large enough that mapping is rare.
constexpr std::uint64_t kWindowSize = 8 << 20;

[[noreturn]] void fail(int error, const char *what)
{
    throw std::system_error(error, std::generic_category(), what);
}

int openForReading(const char *path)
{
    // Not blocking: a pipe must not hold the caller up before it is refused.
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        fail(errno, "cannot open");
    struct stat status = {};
    const int error = fstat(descriptor, &status) != 0 ? errno : 0;
    if (error == 0 && S_ISREG(status.st_mode))
        return descriptor;
    ::close(descriptor);
    fail(error != 0 ? error : EINVAL, error != 0 ? "cannot read" : "not a regular file");
}

}  // namespace

RecordWindow::RecordWindow(void *base, std::uint64_t offset, std::size_t sizeBytes)
    : m_base(base), m_offset(offset), m_sizeBytes(sizeBytes)
{
}

RecordWindow::~RecordWindow()
{
    munmap(m_base, m_sizeBytes);
}

RecordWindow *RecordWindow::share(RecordWindow *window)
{
    if (window)
        window->m_count.fetch_add(1, std::memory_order_relaxed);
    return window;
}

void RecordWindow::release(RecordWindow *window)
{
    if (window && window->m_count.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete window;
}

const unsigned char *RecordWindow::find(std::uint64_t offset, std::size_t sizeBytes) const
{
    if (offset < m_offset || offset - m_offset > m_sizeBytes ||
        sizeBytes > m_sizeBytes - (offset - m_offset))
        return nullptr;
    return static_cast<const unsigned char *>(m_base) + (offset - m_offset);
}

RecordFile::RecordFile(const char *path) : m_descriptor(openForReading(path))
{
}

RecordFile::~RecordFile()
{
    ::close(m_descriptor);
}

std::uint64_t RecordFile::size() const
{
    struct stat status = {};
    if (fstat(m_descriptor, &status) != 0)
        fail(errno, "cannot read");
    return static_cast<std::uint64_t>(status.st_size);
}

std::size_t RecordFile::read(std::uint64_t offset, unsigned char *out, std::size_t sizeBytes) const
{
    std::size_t done = 0;
    while (done < sizeBytes) {
        const ssize_t got =
            pread(m_descriptor, out + done, sizeBytes - done, static_cast<off_t>(offset + done));
        if (got == 0)
            break;
        if (got > 0)
            done += static_cast<std::size_t>(got);
        else if (errno != EINTR)
            fail(errno, "cannot read");
    }
    return done;
}

RecordWindow *RecordFile::map(std::uint64_t offset, std::size_t sizeBytes) const
{
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    const std::uint64_t start = offset - offset % page;
    const std::uint64_t end = std::min(size(), std::max(start + kWindowSize, offset + sizeBytes));
    const std::uint64_t length = end - start;
    if (length > SIZE_MAX)
        fail(ENOMEM, "cannot map");
    void *const base = mmap(nullptr, static_cast<std::size_t>(length), PROT_READ, MAP_SHARED,
                            m_descriptor, static_cast<off_t>(start));
    if (base == MAP_FAILED)
        fail(errno, "cannot map");
    try {
        return new RecordWindow(base, start, static_cast<std::size_t>(length));
    } catch (...) {
        munmap(base, static_cast<std::size_t>(length));
        throw;
    }
}

}  // namespace nubrix
