#include "base/FileImpl.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "base/CriticalSectionWrapper.h"

namespace nubrix {

FileWrapper *FileWrapper::create()
{
    return new FileImpl;
}

void FileImpl::StreamCloser::operator()(FILE *stream) const
{
    std::fclose(stream);
}

FileImpl::FileImpl() : m_lock(CriticalSectionWrapper::create())
{
}

bool FileImpl::open() const
{
    CriticalSectionScoped guard(*m_lock);
    return m_open;
}

int FileImpl::openFile(const char *name, bool readOnly, bool wrapRead, bool text)
{
    CriticalSectionScoped guard(*m_lock);
    if (m_open)
        return 0;
    if (!name)
        return -1;

    m_name = name;
    m_wrapRead = wrapRead;
    std::string mode = readOnly ? "r" : "w";
    if (!text)
        mode += "b";
    m_stream.reset(fopen64(name, mode.c_str()));
    if (!m_stream)
        return -1;

    fseeko64(m_stream.get(), 0, SEEK_END);
    m_endPosition = static_cast<std::uint64_t>(ftello64(m_stream.get()));
    m_streamPosition = m_endPosition;
    m_lastTransfer = Transfer::kNone;
    m_open = true;
    return 0;
}

void FileImpl::closeFile()
{
    CriticalSectionScoped guard(*m_lock);
    m_stream.reset();
    m_open = false;
}

void FileImpl::setMaxFileSize(unsigned int maxSizeBytes)
{
    CriticalSectionScoped guard(*m_lock);
    m_maxSize = maxSizeBytes == 0 ? kNoLimit : maxSizeBytes;
}

int FileImpl::flush()
{
    CriticalSectionScoped guard(*m_lock);
    if (!m_stream)
        return -5;
    std::fflush(m_stream.get());
    return 0;
}

int FileImpl::fileName(char *buffer, unsigned int sizeBytes) const
{
    CriticalSectionScoped guard(*m_lock);
    if (!buffer || sizeBytes == 0)
        return 0;
    const std::size_t length = std::min<std::size_t>(m_name.size(), sizeBytes - 1);
    std::memcpy(buffer, m_name.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length + 1);
}

std::int64_t FileImpl::fileSize()
{
    CriticalSectionScoped guard(*m_lock);
    if (!m_stream)
        return -1;
    m_streamPosition = kUnknown;
    if (fseeko64(m_stream.get(), 0, SEEK_END) != 0)
        return 0;
    m_streamPosition = static_cast<std::uint64_t>(ftello64(m_stream.get()));
    m_lastTransfer = Transfer::kNone;
    return static_cast<std::int64_t>(m_streamPosition);
}

std::int64_t FileImpl::writeText(const char *format, ...)
{
    CriticalSectionScoped guard(*m_lock);
    if (!m_stream)
        return -1;
    if (seekTo(m_writePosition, Transfer::kWrite)) {
        va_list arguments;
        va_start(arguments, format);
        const int printed = std::vfprintf(m_stream.get(), format, arguments);
        va_end(arguments);
        const auto done = static_cast<std::size_t>(std::max(printed, 0));
        noteTransfer(Transfer::kWrite, done, printed < 0 ? done + 1 : done);
        m_writePosition += done;
    }
    return static_cast<std::int64_t>(m_writePosition);
}

int FileImpl::read(void *buffer, int sizeBytes)
{
    CriticalSectionScoped guard(*m_lock);
    if (!m_stream || !buffer || sizeBytes < 0)
        return -1;
    if (m_wrapRead && m_readPosition == m_endPosition)
        m_readPosition = 0;
    if (!seekTo(m_readPosition, Transfer::kRead))
        return 0;
    const auto wanted = static_cast<std::size_t>(sizeBytes);
    const std::size_t done = std::fread(buffer, 1, wanted, m_stream.get());
    noteTransfer(Transfer::kRead, done, wanted);
    m_readPosition += done;
    return static_cast<int>(done);
}

int FileImpl::write(const void *buffer, int sizeBytes)
{
    CriticalSectionScoped guard(*m_lock);
    if (!m_stream || !buffer || sizeBytes < 0)
        return -1;
    auto wanted = static_cast<std::uint64_t>(sizeBytes);
    if (m_maxSize != kNoLimit) {
        if (m_limitedBytes >= m_maxSize)
            return 0;
        wanted = std::min(wanted, m_maxSize - m_limitedBytes);
    }
    const std::size_t done = writeAt(m_writePosition, buffer, static_cast<std::size_t>(wanted));
    if (m_maxSize != kNoLimit)
        m_limitedBytes += done;
    m_writePosition += done;
    return static_cast<int>(done);
}

int FileImpl::writetohead(const void *buffer, int sizeBytes)
{
    CriticalSectionScoped guard(*m_lock);
    if (!m_stream || !buffer || sizeBytes < 0)
        return -1;
    const auto wanted = static_cast<std::size_t>(sizeBytes);
    const std::size_t done = writeAt(0, buffer, wanted);
    if (wanted >= m_writePosition)
        m_writePosition = wanted;
    else
        seekTo(m_writePosition, Transfer::kWrite);
    return static_cast<int>(done);
}

int FileImpl::rewind()
{
    CriticalSectionScoped guard(*m_lock);
    if (!m_stream)
        return -13;
    m_readPosition = 0;
    m_streamPosition = kUnknown;
    return seekTo(0, Transfer::kNone) ? 0 : -1;
}

std::string FileImpl::getFileName()
{
    CriticalSectionScoped guard(*m_lock);
    return m_name;
}

bool FileImpl::seekTo(std::uint64_t position, Transfer transfer)
{
    // Standard C requires a seek between reading and writing.
    const bool turned = m_lastTransfer != Transfer::kNone && m_lastTransfer != transfer;
    if (m_streamPosition == position && !turned)
        return true;
    m_streamPosition = kUnknown;
    if (fseeko64(m_stream.get(), static_cast<off64_t>(position), SEEK_SET) != 0)
        return false;
    m_streamPosition = position;
    m_lastTransfer = Transfer::kNone;
    return true;
}

std::size_t FileImpl::writeAt(std::uint64_t position, const void *buffer, std::size_t sizeBytes)
{
    if (!seekTo(position, Transfer::kWrite))
        return 0;
    const std::size_t done = std::fwrite(buffer, 1, sizeBytes, m_stream.get());
    noteTransfer(Transfer::kWrite, done, sizeBytes);
    return done;
}

void FileImpl::noteTransfer(Transfer transfer, std::size_t done, std::size_t wanted)
{
    m_lastTransfer = transfer;
    // After a short transfer the next one seeks: that also clears a remembered end of the file, so
    // that what was appended meanwhile is read.
    m_streamPosition = done == wanted ? m_streamPosition + done : kUnknown;
}

int getFullPathName(const char *path, char *out, unsigned int size)
{
    if (!path || !out)
        return -1;
    char resolved[PATH_MAX];
    if (!realpath(path, resolved))
        return -1;
    const std::size_t length = std::strlen(resolved);
    // Kept: a path of exactly `size` characters passes, though it fills size + 1 bytes.
    if (length > size)
        return -1;
    std::memcpy(out, resolved, length + 1);
    return 0;
}

}  // namespace nubrix
