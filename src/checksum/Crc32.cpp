#include "checksum/Crc32.h"

#include <array>

#include "cpu/CpuFeatures.h"

namespace nubrix {

namespace {

constexpr unsigned int kPolynomial = 0x04c11db7;
constexpr std::size_t kSlices = 8;

using Table = std::array<unsigned int, 256>;

// Table 0 holds the CRC of each byte; table n that of the byte followed by n zero bytes.
consteval std::array<Table, kSlices> makeTables()
{
    std::array<Table, kSlices> tables = {};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        unsigned int crc = byte << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ (crc >> 31 ? kPolynomial : 0);
        tables[0][byte] = crc;
    }
    for (std::size_t n = 1; n < kSlices; ++n) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const unsigned int before = tables[n - 1][byte];
            tables[n][byte] = (before << 8) ^ tables[0][before >> 24];
        }
    }
    return tables;
}

constexpr std::array<Table, kSlices> kTables = makeTables();

unsigned int addByte(unsigned int crc, unsigned char byte)
{
    return kTables[0][(crc >> 24) ^ byte] ^ (crc << 8);
}

unsigned int wordOf(const unsigned char *bytes)
{
    return static_cast<unsigned int>(bytes[0]) << 24 | static_cast<unsigned int>(bytes[1]) << 16 |
           static_cast<unsigned int>(bytes[2]) << 8 | bytes[3];
}

// The same as eight times addByte: a CRC is linear, so each byte is looked up on its own.
unsigned int addEightBytes(unsigned int crc, const unsigned char *bytes)
{
    const unsigned int first = crc ^ wordOf(bytes);
    const unsigned int second = wordOf(bytes + 4);
    return kTables[7][first >> 24] ^ kTables[6][first >> 16 & 0xff] ^
           kTables[5][first >> 8 & 0xff] ^ kTables[4][first & 0xff] ^ kTables[3][second >> 24] ^
           kTables[2][second >> 16 & 0xff] ^ kTables[1][second >> 8 & 0xff] ^
           kTables[0][second & 0xff];
}

}  // namespace

unsigned int crc32Plain(unsigned int crc, const unsigned char *data, std::size_t size)
{
    for (; size >= kSlices; size -= kSlices, data += kSlices)
        crc = addEightBytes(crc, data);
    for (; size > 0; --size, ++data)
        crc = addByte(crc, *data);
    return crc;
}

Crc32Fold *crc32FoldOf(std::size_t bytes)
{
    switch (bytes) {
#ifdef __x86_64__
        case 16:
            return foldCrc32Clmul;
        case 32:
            return foldCrc32Avx2;
        case 64:
            return foldCrc32Avx512;
#endif
#ifdef __arm__
        case 16:
            return foldCrc32Neon;
#endif
        default:
            return nullptr;
    }
}

unsigned int crc32By(Crc32Fold *fold, unsigned int crc, const unsigned char *data, std::size_t size)
{
    if (fold && size >= kCrc32Piece) {
        unsigned char folded[kCrc32Piece];
        const std::size_t whole = size - size % kCrc32Piece;
        fold(crc, data, whole, folded);
        crc = crc32Plain(0, folded, kCrc32Piece);
        data += whole;
        size -= whole;
    }
    return crc32Plain(crc, data, size);
}

unsigned int crc32(unsigned int crc, const void *data, std::size_t size)
{
    static Crc32Fold *const kFold = crc32FoldOf(carrylessBytes(instructionSet()));
    return crc32By(kFold, crc, static_cast<const unsigned char *>(data), size);
}

}  // namespace nubrix
