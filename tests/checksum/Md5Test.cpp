// MD5 in its three calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/checksum.h"
#include "tests/GuardedBytes.h"

namespace nubrix {

namespace {

constexpr std::size_t kLongest = 4200;

using Digest = std::vector<unsigned char>;

std::array<std::uint32_t, 64> sines()
{
    std::array<std::uint32_t, 64> sines;
    for (int i = 0; i < 64; ++i)
        sines[static_cast<std::size_t>(i)] =
            static_cast<std::uint32_t>(std::fabs(std::sin(i + 1)) * 0x1p32);
    return sines;
}

void addDefinedBlock(std::uint32_t (&state)[4], const unsigned char *block)
{
    constexpr int kTurns[4][4] = {
        {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    static const std::array<std::uint32_t, 64> kSines = sines();
    auto [a, b, c, d] = state;
    for (int i = 0; i < 64; ++i) {
        std::uint32_t mixed;
        int word;
        switch (i / 16) {
            case 0:
                mixed = (b & c) | (~b & d);
                word = i;
                break;
            case 1:
                mixed = (b & d) | (c & ~d);
                word = (5 * i + 1) % 16;
                break;
            case 2:
                mixed = b ^ c ^ d;
                word = (3 * i + 5) % 16;
                break;
            default:
                mixed = c ^ (b | ~d);
                word = 7 * i % 16;
        }
        std::uint32_t input;
        std::memcpy(&input, block + 4 * word, sizeof(input));
        const std::uint32_t sum = a + mixed + input + kSines[static_cast<std::size_t>(i)];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, kTurns[i / 16][i % 4]);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

Digest definedMd5(const unsigned char *data, std::size_t size)
{
    std::vector<unsigned char> message(data, data + size);
    message.push_back(0x80);
    while (message.size() % 64 != 56)
        message.push_back(0);
    for (int i = 0; i < 8; ++i)
        message.push_back(static_cast<unsigned char>(std::uint64_t{size} * 8 >> (8 * i)));
    std::uint32_t state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    for (std::size_t i = 0; i < message.size(); i += 64)
        addDefinedBlock(state, message.data() + i);
    Digest digest(sizeof(state));
    std::memcpy(digest.data(), state, sizeof(state));
    return digest;
}

Digest finished(MD5_CTX &context)
{
    MD5Final(&context);
    return {std::begin(context.digest), std::end(context.digest)};
}

Digest md5(unsigned char *data, std::size_t size)
{
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, data, static_cast<unsigned int>(size));
    return finished(context);
}

TEST(Md5, BeginsWithTheStandardsState)
{
    MD5_CTX context;
    std::memset(&context, 0xee, sizeof(context));
    MD5Init(&context);
    EXPECT_EQ(context.count[0], 0U);
    EXPECT_EQ(context.count[1], 0U);
    EXPECT_EQ(context.state[0], 0x67452301U);
    EXPECT_EQ(context.state[1], 0xefcdab89U);
    EXPECT_EQ(context.state[2], 0x98badcfeU);
    EXPECT_EQ(context.state[3], 0x10325476U);
}

TEST(Md5, IsTheDefinedOneForEveryLength)
{
    const GuardedBytes bytes(randomBytes(kLongest, 1));
    for (std::size_t size = 0; size <= kLongest; ++size)
        ASSERT_EQ(md5(bytes.last(size), size), definedMd5(bytes.last(size), size)) << size;
}

TEST(Md5, IsTheSameInPiecesOfEveryLength)
{
    const GuardedBytes bytes(randomBytes(kLongest, 1));
    const Digest whole = md5(bytes.last(kLongest), kLongest);
    for (std::size_t piece = 1; piece <= 200; ++piece) {
        MD5_CTX context;
        MD5Init(&context);
        for (std::size_t left = kLongest; left > 0; left -= std::min(piece, left))
            MD5Update(&context, bytes.last(left), static_cast<unsigned int>(std::min(piece, left)));
        ASSERT_EQ(finished(context), whole) << piece;
    }
}

TEST(Md5, IsTheSameInPiecesOfRandomLengths)
{
    const GuardedBytes bytes(randomBytes(kLongest, 1));
    const Digest whole = md5(bytes.last(kLongest), kLongest);
    std::mt19937 random(1);
    for (int i = 0; i < 200; ++i) {
        MD5_CTX context;
        MD5Init(&context);
        for (std::size_t left = kLongest; left > 0;) {
            const std::size_t piece = std::min<std::size_t>(random() % 300, left);
            MD5Update(&context, bytes.last(left), static_cast<unsigned int>(piece));
            left -= piece;
        }
        ASSERT_EQ(finished(context), whole);
    }
}

TEST(Md5, NothingMayBeAddedAsNull)
{
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, nullptr, 0);
    EXPECT_EQ(finished(context), definedMd5(nullptr, 0));
}

TEST(Md5, CountsBitsInTwoWords)
{
    unsigned char bytes[64] = {};
    MD5_CTX context;
    MD5Init(&context);
    context.count[0] = 0xfffffe00;
    MD5Update(&context, bytes, sizeof(bytes));
    EXPECT_EQ(context.count[0], 0U);
    EXPECT_EQ(context.count[1], 1U);
    MD5Update(&context, bytes, 3);
    EXPECT_EQ(context.count[0], 24U);
    EXPECT_EQ(context.count[1], 1U);
}

TEST(Md5, CanBeginAgainAfterItsEnd)
{
    const GuardedBytes bytes(randomBytes(100, 1));
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, bytes.last(100), 100);
    const Digest first = finished(context);
    MD5Init(&context);
    MD5Update(&context, bytes.last(100), 100);
    EXPECT_EQ(finished(context), first);
}

}  // namespace

}  // namespace nubrix
