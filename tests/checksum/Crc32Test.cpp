// Every form of the CRC against the definition, bit by bit.
#include "checksum/Crc32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "cpu/CpuFeatures.h"
#include "tests/GuardedBytes.h"
#include "tests/checksum/SoftCrc32.h"

namespace nubrix {

namespace {

constexpr std::size_t kLongest = 4200;

// What is left of a division by the polynomial, one bit after the other.
unsigned int definedCrc32(unsigned int crc, unsigned char byte)
{
    for (unsigned int mask = 0x80; mask != 0; mask >>= 1) {
        const bool top = (crc >> 31 != 0) != ((byte & mask) != 0);
        crc = crc << 1 ^ (top ? 0x04c11db7 : 0);
    }
    return crc;
}

struct NamedFold {
    std::string name;
    Crc32Fold *fold;

    friend std::ostream &operator<<(std::ostream &out, const NamedFold &named)
    {
        return out << named.name;
    }
};

std::vector<NamedFold> availableFolds()
{
    std::vector<NamedFold> folds = {{"plain", nullptr},
                                    {"soft16", kSoftCrc32Folds[0]},
                                    {"soft32", kSoftCrc32Folds[1]},
                                    {"soft64", kSoftCrc32Folds[2]}};
    const std::size_t widest = carrylessBytes(chooseInstructionSet(nullptr));
    for (const std::size_t bytes : {16U, 32U, 64U}) {
        if (bytes <= widest)
            folds.push_back({"clmul" + std::to_string(bytes), crc32FoldOf(bytes)});
    }
    return folds;
}

class Crc32Test : public testing::TestWithParam<NamedFold> {
protected:
    static unsigned int crcOf(const unsigned char *data, std::size_t size,
                              unsigned int crc = kCrc32Start)
    {
        return crc32By(GetParam().fold, crc, data, size);
    }
    static unsigned int crcOf(const std::string &text)
    {
        return crcOf(reinterpret_cast<const unsigned char *>(text.data()), text.size());
    }
};

INSTANTIATE_TEST_SUITE_P(All, Crc32Test, testing::ValuesIn(availableFolds()),
                         testing::PrintToStringParamName());

TEST_P(Crc32Test, IsThePublishedOne)
{
    EXPECT_EQ(crcOf("123456789"), 0x0376e6e7U);
    EXPECT_EQ(crcOf(""), 0xffffffffU);
}

TEST_P(Crc32Test, IsTheDefinedOneForEveryLength)
{
    const GuardedBytes bytes(randomBytes(kLongest, 1));
    const std::vector<unsigned char> message(bytes.last(kLongest), bytes.last(0));
    unsigned int defined = kCrc32Start;
    for (std::size_t size = 0; size <= kLongest; ++size) {
        unsigned char *const data = bytes.last(size);
        std::copy_n(message.begin(), size, data);
        ASSERT_EQ(crcOf(data, size), defined) << size;
        if (size < kLongest)
            defined = definedCrc32(defined, message[size]);
    }
}

TEST_P(Crc32Test, ContinuesFromAnyOther)
{
    const GuardedBytes bytes(randomBytes(kLongest, 1));
    const unsigned char *const data = bytes.last(kLongest);
    const unsigned int whole = crcOf(data, kLongest);
    for (std::size_t head = 0; head <= kLongest; ++head) {
        const unsigned int crc = crcOf(data, head);
        ASSERT_EQ(crcOf(data + head, kLongest - head, crc), whole) << head;
    }
}

TEST_P(Crc32Test, ChangesWithEverySingleBit)
{
    constexpr std::size_t kSize = 1040;
    const GuardedBytes bytes(randomBytes(kSize, 1));
    unsigned char *const data = bytes.last(kSize);
    std::memset(data, 0, kSize);
    // A one with n zeros behind it is x^(n + 32) modulo the polynomial.
    unsigned int power = 0x04c11db7;
    for (std::size_t bit = 0; bit < 8 * kSize; ++bit) {
        unsigned char &byte = data[kSize - 1 - bit / 8];
        byte = static_cast<unsigned char>(1 << bit % 8);
        ASSERT_EQ(crcOf(data, kSize, 0), power) << bit;
        byte = 0;
        power = power << 1 ^ (power >> 31 != 0 ? 0x04c11db7 : 0);
    }
}

TEST(Crc32, TheOneInUseIsOneOfThem)
{
    const GuardedBytes bytes(randomBytes(kLongest, 1));
    for (std::size_t size = 0; size <= kLongest; size += 7) {
        const unsigned char *const data = bytes.last(size);
        ASSERT_EQ(crc32(kCrc32Start, data, size), crc32Plain(kCrc32Start, data, size)) << size;
    }
}

TEST(Crc32, EveryWidthThatTheProcessorHasHasItsForm)
{
    EXPECT_EQ(crc32FoldOf(carrylessBytes(InstructionSet::kScalar)), nullptr);
    for (const InstructionSet set : kInstructionSets) {
        const std::size_t bytes = carrylessBytes(set);
        EXPECT_EQ(crc32FoldOf(bytes) != nullptr, bytes != 0) << nameOf(set);
    }
}

}  // namespace

}  // namespace nubrix
