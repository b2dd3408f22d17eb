// CRC-32/MPEG-2 with PCLMULQDQ: 16 bytes at a time.
#include "checksum/Crc32Clmul.h"

namespace nubrix {

namespace {

struct Local;

}  // namespace

void foldCrc32Clmul(unsigned int crc, const unsigned char *data, std::size_t size,
                    unsigned char *folded)
{
    Crc32Folding<Crc32ClmulPiece<Local>>::run(crc, data, size, folded);
}

}  // namespace nubrix
