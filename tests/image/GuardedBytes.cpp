#include "tests/image/GuardedBytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <random>

namespace nubrix {

namespace {

constexpr std::size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xA5;

bool isGuard(const unsigned char *from, const unsigned char *to)
{
    return std::all_of(from, to, [](unsigned char byte) { return byte == kGuardByte; });
}

}  // namespace

GuardedBytes::GuardedBytes(std::size_t capacity)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t inside = (capacity + kGuard + page - 1) / page * page;
    m_mappingSize = inside + 2 * page;
    void *const mapping =
        mmap(nullptr, m_mappingSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED)
        throw std::bad_alloc();
    m_mapping = static_cast<unsigned char *>(mapping);
    m_begin = m_mapping + page;
    m_end = m_begin + inside;
    if (mprotect(m_mapping, page, PROT_NONE) != 0 || mprotect(m_end, page, PROT_NONE) != 0)
        throw std::bad_alloc();
}

GuardedBytes::~GuardedBytes()
{
    munmap(m_mapping, m_mappingSize);
}

void GuardedBytes::place(std::size_t size, Place place)
{
    m_size = size;
    m_data = place == Place::kEnd ? m_end - size : m_begin;
    unsigned char *const guard = place == Place::kEnd ? m_data - kGuard : m_data + size;
    std::memset(guard, kGuardByte, kGuard);
}

void GuardedBytes::fill(const std::vector<unsigned char> &bytes)
{
    std::copy_n(bytes.begin(), std::min(bytes.size(), m_size), m_data);
}

void GuardedBytes::fill(unsigned char byte)
{
    std::memset(m_data, byte, m_size);
}

bool GuardedBytes::holds(const std::vector<unsigned char> &bytes) const
{
    return bytes.size() == m_size &&
           (m_size == 0 || std::memcmp(bytes.data(), m_data, m_size) == 0);
}

bool GuardedBytes::intact() const
{
    if (m_data == m_begin)
        return isGuard(m_data + m_size, m_data + m_size + kGuard);
    return isGuard(m_data - kGuard, m_data);
}

std::vector<unsigned char> randomBytes(std::size_t count, unsigned int seed)
{
    std::minstd_rand random(seed + 1);
    std::vector<unsigned char> bytes(count);
    for (unsigned char &byte : bytes)
        byte = static_cast<unsigned char>(random() >> 8);
    return bytes;
}

}  // namespace nubrix
