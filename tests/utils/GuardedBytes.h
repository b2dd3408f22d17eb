// Bytes with nothing behind them: to read past their end is to crash.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <random>
#include <stdexcept>

namespace nubrix {

class GuardedBytes {
public:
    /// Random bytes, the same every time.
    explicit GuardedBytes(std::size_t size) : m_size(size)
    {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t usable = (size / page + 1) * page;
        m_mappedBytes = usable + page;
        m_mapped = mmap(nullptr, m_mappedBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                        -1, 0);
        if (m_mapped == MAP_FAILED)
            throw std::runtime_error("cannot map");
        m_end = static_cast<unsigned char *>(m_mapped) + usable;
        mprotect(m_end, page, PROT_NONE);
        std::mt19937 random(1);
        for (std::size_t i = 0; i < size; ++i)
            last(size)[i] = static_cast<unsigned char>(random());
    }
    ~GuardedBytes() { munmap(m_mapped, m_mappedBytes); }
    GuardedBytes(const GuardedBytes &) = delete;
    GuardedBytes &operator=(const GuardedBytes &) = delete;

    std::size_t size() const { return m_size; }
    /// The last `count` of them.
    unsigned char *last(std::size_t count) const { return m_end - count; }

private:
    std::size_t m_size;
    std::size_t m_mappedBytes;
    void *m_mapped;
    unsigned char *m_end;
};

}  // namespace nubrix
