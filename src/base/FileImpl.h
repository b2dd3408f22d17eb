// The file interface over 64-bit stdio streams.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "base/CriticalSectionWrapper.h"
#include "base/FileWrapper.h"

namespace nubrix {

class FileImpl final : public FileWrapper {
public:
    FileImpl();

    bool open() const override;
    int openFile(const char *name, bool readOnly, bool wrapRead, bool text) override;
    void closeFile() override;
    void setMaxFileSize(unsigned int maxSizeBytes) override;
    int flush() override;
    int fileName(char *buffer, unsigned int sizeBytes) const override;
    std::int64_t fileSize() override;
    std::int64_t writeText(const char *format, ...) override __attribute__((format(printf, 2, 3)));
    int read(void *buffer, int sizeBytes) override;
    int write(const void *buffer, int sizeBytes) override;
    int writetohead(const void *buffer, int sizeBytes) override;
    int rewind() override;
    std::string getFileName() override;

private:
    enum class Transfer { kNone, kRead, kWrite };

    static constexpr std::uint64_t kNoLimit = UINT64_MAX;
    static constexpr std::uint64_t kUnknown = UINT64_MAX;

    struct StreamCloser {
        void operator()(FILE *stream) const;
    };

    /// Brings the stream to `position`, ready for `transfer`. It asks the system only when the
    /// stream is not there already: seeking flushes, and most transfers follow one another.
    bool seekTo(std::uint64_t position, Transfer transfer) NUBRIX_REQUIRES(*m_lock);
    std::size_t writeAt(std::uint64_t position, const void *buffer, std::size_t sizeBytes)
        NUBRIX_REQUIRES(*m_lock);
    /// Notes that `done` of `wanted` bytes were transferred.
    void noteTransfer(Transfer transfer, std::size_t done, std::size_t wanted)
        NUBRIX_REQUIRES(*m_lock);

    const std::unique_ptr<CriticalSectionWrapper> m_lock;
    std::string m_name NUBRIX_GUARDED_BY(*m_lock);
    std::unique_ptr<FILE, StreamCloser> m_stream NUBRIX_GUARDED_BY(*m_lock);
    bool m_open NUBRIX_GUARDED_BY(*m_lock) = false;
    bool m_wrapRead NUBRIX_GUARDED_BY(*m_lock) = false;
    // The size of the file when it was opened.
    std::uint64_t m_endPosition NUBRIX_GUARDED_BY(*m_lock) = 0;
    std::uint64_t m_readPosition NUBRIX_GUARDED_BY(*m_lock) = 0;
    std::uint64_t m_writePosition NUBRIX_GUARDED_BY(*m_lock) = 0;
    std::uint64_t m_maxSize NUBRIX_GUARDED_BY(*m_lock) = kNoLimit;
    // Written while there was a limit.
    std::uint64_t m_limitedBytes NUBRIX_GUARDED_BY(*m_lock) = 0;
    std::uint64_t m_streamPosition NUBRIX_GUARDED_BY(*m_lock) = kUnknown;
    Transfer m_lastTransfer NUBRIX_GUARDED_BY(*m_lock) = Transfer::kNone;
};

}  // namespace nubrix
