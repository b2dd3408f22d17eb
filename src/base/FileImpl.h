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
    bool seekTo(std::uint64_t position, Transfer transfer);
    std::size_t writeAt(std::uint64_t position, const void *buffer, std::size_t sizeBytes);
    /// Notes that `done` of `wanted` bytes were transferred.
    void noteTransfer(Transfer transfer, std::size_t done, std::size_t wanted);

    const std::unique_ptr<CriticalSectionWrapper> m_lock;
    std::string m_name;  // everything below is under m_lock
    std::unique_ptr<FILE, StreamCloser> m_stream;
    bool m_open = false;
    bool m_wrapRead = false;
    std::uint64_t m_endPosition = 0;  // size of the file when it was opened
    std::uint64_t m_readPosition = 0;
    std::uint64_t m_writePosition = 0;
    std::uint64_t m_maxSize = kNoLimit;
    std::uint64_t m_limitedBytes = 0;  // written while there was a limit
    std::uint64_t m_streamPosition = kUnknown;
    Transfer m_lastTransfer = Transfer::kNone;
};

}  // namespace nubrix
