#include "record/RecordFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace nubrix {

namespace {

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

// The bytes are not written before they are read from the file.
RecordPixels::RecordPixels(std::size_t sizeBytes)
    : m_capacityBytes(sizeBytes), m_bytes(new unsigned char[sizeBytes])
{
}

RecordPixels *RecordPixels::share(RecordPixels *pixels)
{
    if (pixels)
        pixels->m_count.fetch_add(1, std::memory_order_relaxed);
    return pixels;
}

void RecordPixels::release(RecordPixels *pixels)
{
    if (pixels && pixels->m_count.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete pixels;
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

}  // namespace nubrix
