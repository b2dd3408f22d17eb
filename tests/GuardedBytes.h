// Memory for an image that detects reads and writes around it.
#pragma once

#include <cstddef>
#include <vector>

namespace nubrix {

/// A read or a write behind the image (at kEnd) or in front of it (at kBegin) ends the process; a
/// write at the other side is found by `intact`.
class GuardedBytes {
public:
    enum class Place { kBegin, kEnd };

    explicit GuardedBytes(std::size_t capacity);
    /// ... with this image at its end.
    explicit GuardedBytes(const std::vector<unsigned char> &image);
    ~GuardedBytes();
    GuardedBytes(const GuardedBytes &) = delete;
    GuardedBytes &operator=(const GuardedBytes &) = delete;

    /// Puts an image of `size` bytes at one side of the memory.
    void place(std::size_t size, Place place);
    /// ... and fills it.
    void fill(const std::vector<unsigned char> &bytes);
    void fill(unsigned char byte);

    unsigned char *data() { return m_data; }
    /// The last `count` bytes of the memory.
    unsigned char *last(std::size_t count) const { return m_end - count; }
    template <class T>
    T *as()
    {
        return static_cast<T *>(static_cast<void *>(m_data));
    }
    bool holds(const std::vector<unsigned char> &bytes) const;
    bool intact() const;

private:
    unsigned char *m_mapping = nullptr;  // a page without access, the memory, another such page
    std::size_t m_mappingSize = 0;
    unsigned char *m_begin = nullptr;
    unsigned char *m_end = nullptr;
    unsigned char *m_data = nullptr;
    std::size_t m_size = 0;
};

/// `count` bytes that look random, the same for the same seed.
std::vector<unsigned char> randomBytes(std::size_t count, unsigned int seed);

}  // namespace nubrix
