#include "checksum/Crc32.h"

#include "checksum/Crc32Kernel.h"
#include "checksum/Crc32Plain.h"
#include "cpu/CpuFeatures.h"

namespace nubrix {

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
