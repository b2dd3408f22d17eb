// A file without a place on a disk: quick to write for every input, and gone with the process.
#pragma once

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "tests/fuzz/FuzzTarget.h"

namespace nubrix {

/// Other code opens it by its path.
class MemoryFile {
public:
    explicit MemoryFile(std::string_view content)
        : m_descriptor(memfd_create("nubrix-fuzz", MFD_CLOEXEC)),
          m_path("/proc/self/fd/" + std::to_string(m_descriptor))
    {
        require(m_descriptor >= 0, "a memory file can be made");
        write(content);
    }
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    const char *path() const { return m_path.c_str(); }
    /// In place of what was in it.
    void write(std::string_view content) const
    {
        resize(0);
        append(content);
    }
    void append(std::string_view content) const
    {
        const off_t end = lseek(m_descriptor, 0, SEEK_END);
        const ssize_t done = pwrite(m_descriptor, content.data(), content.size(), end);
        require(done == static_cast<ssize_t>(content.size()), "a memory file can be written");
    }
    void resize(std::size_t sizeBytes) const
    {
        require(ftruncate(m_descriptor, static_cast<off_t>(sizeBytes)) == 0,
                "a memory file can be resized");
    }
    std::string content() const
    {
        std::string all(static_cast<std::size_t>(lseek(m_descriptor, 0, SEEK_END)), '\0');
        const ssize_t done = pread(m_descriptor, all.data(), all.size(), 0);
        require(done == static_cast<ssize_t>(all.size()), "a memory file can be read");
        return all;
    }

private:
    const int m_descriptor;
    const std::string m_path;
};

}  // namespace nubrix
