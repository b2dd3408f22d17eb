// MD5 (RFC 1321), which the library exports in three calls.
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

#include "base/LittleEndian.h"
#include "nubrix/checksum.h"

namespace {

constexpr std::size_t kBlockBytes = sizeof(MD5_CTX::buffer);
constexpr std::size_t kLengthBytes = sizeof(MD5_CTX::count);  // of the message, at its very end

// 2^32 times the absolute sine of 1, 2, 3 and so on.
constexpr unsigned int kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr int kTurns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

constexpr std::size_t wordOf(std::size_t step)
{
    constexpr std::size_t kFactor[] = {1, 5, 3, 7};
    constexpr std::size_t kOffset[] = {0, 1, 5, 0};
    return (kFactor[step / 16] * step + kOffset[step / 16]) % 16;
}

unsigned int wordAt(const unsigned char *bytes)
{
    static_assert(std::endian::native == std::endian::little);
    unsigned int word;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

// Each step waits for b of the one before: what does not need b is added first.
template <int kStep>
[[gnu::always_inline]] inline void step(unsigned int &a, unsigned int b, unsigned int c,
                                        unsigned int d, const unsigned char *block)
{
    constexpr int kRound = kStep / 16;
    a += wordAt(block + 4 * wordOf(kStep)) + kSines[kStep];
    if constexpr (kRound == 0) {
        a += d ^ (b & (c ^ d));
    } else if constexpr (kRound == 1) {
        a += c & ~d;  // has no bit in common with the next
        a += b & d;
    } else if constexpr (kRound == 2) {
        a += b ^ (c ^ d);
    } else {
        a += c ^ (b | ~d);
    }
    a = std::rotl(a, kTurns[kRound][kStep % 4]) + b;
}

template <int kFirst>
[[gnu::always_inline]] inline void fourSteps(unsigned int (&s)[4], const unsigned char *block)
{
    step<kFirst>(s[0], s[1], s[2], s[3], block);
    step<kFirst + 1>(s[3], s[0], s[1], s[2], block);
    step<kFirst + 2>(s[2], s[3], s[0], s[1], block);
    step<kFirst + 3>(s[1], s[2], s[3], s[0], block);
}

template <int... kGroups>
void addBlocks(MD5_CTX *context, const unsigned char *blocks, std::size_t count,
               std::integer_sequence<int, kGroups...>)
{
    unsigned int sum[4];
    std::memcpy(sum, context->state, sizeof(sum));
    for (const unsigned char *const end = blocks + count * kBlockBytes; blocks != end;
         blocks += kBlockBytes) {
        unsigned int s[4] = {sum[0], sum[1], sum[2], sum[3]};
        (fourSteps<4 * kGroups>(s, blocks), ...);
        for (int i = 0; i < 4; ++i)
            sum[i] += s[i];
    }
    std::memcpy(context->state, sum, sizeof(sum));
}

void addBlocks(MD5_CTX *context, const unsigned char *blocks, std::size_t count)
{
    addBlocks(context, blocks, count, std::make_integer_sequence<int, 16>());
}

// How many bytes of a block are in the buffer.
std::size_t begunBytes(const MD5_CTX *context)
{
    return context->count[0] / 8 % kBlockBytes;
}

void addLength(MD5_CTX *context, unsigned int bytes)
{
    const unsigned int bits = bytes << 3;
    context->count[0] += bits;
    context->count[1] += (bytes >> 29) + (context->count[0] < bits ? 1 : 0);
}

template <int kWords>
void putWords(unsigned char *to, const unsigned int (&words)[kWords])
{
    nubrix::LittleEndianWriter writer(to);
    for (const unsigned int word : words)
        writer.put32(word);
}

}  // namespace

void MD5Init(MD5_CTX *context)
{
    *context = {{0, 0}, {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, {}, {}};
}

void MD5Update(MD5_CTX *context, unsigned char *data, unsigned int length)
{
    if (length == 0)
        return;
    const std::size_t begun = begunBytes(context);
    const std::size_t missing = kBlockBytes - begun;
    std::size_t left = length;
    addLength(context, length);
    if (begun > 0 && left >= missing) {
        std::memcpy(context->buffer + begun, data, missing);
        addBlocks(context, context->buffer, 1);
        data += missing;
        left -= missing;
    } else if (begun > 0) {
        std::memcpy(context->buffer + begun, data, left);
        return;
    }
    addBlocks(context, data, left / kBlockBytes);
    std::memcpy(context->buffer, data + left - left % kBlockBytes, left % kBlockBytes);
}

void MD5Final(MD5_CTX *context)
{
    std::size_t begun = begunBytes(context);
    context->buffer[begun++] = 0x80;
    if (begun > kBlockBytes - kLengthBytes) {
        std::memset(context->buffer + begun, 0, kBlockBytes - begun);
        addBlocks(context, context->buffer, 1);
        begun = 0;
    }
    std::memset(context->buffer + begun, 0, kBlockBytes - kLengthBytes - begun);
    putWords(context->buffer + kBlockBytes - kLengthBytes, context->count);
    addBlocks(context, context->buffer, 1);
    putWords(context->digest, context->state);
}
