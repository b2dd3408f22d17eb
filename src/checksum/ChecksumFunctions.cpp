// The checksums of files and texts that the library exports.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "base/ErrorNumber.h"
#include "base/FileWrapper.h"
#include "base/LogCall.h"
#include "checksum/Crc32.h"
#include "nubrix/checksum.h"

namespace {

using nubrix::FileWrapper;

std::unique_ptr<FileWrapper> openForReading(const std::string &path)
{
    std::unique_ptr<FileWrapper> file(FileWrapper::create());
    if (file->openFile(path.c_str(), true, false, false) != 0)
        return nullptr;
    return file;
}

// Hands out the file piece by piece, to its end or up to a size. Kept: what cannot be read is taken
// for the end. See docs/oddities.md.
template <class Use>
void forEachPiece(FileWrapper &file, std::int64_t maxBytes, Use use)
{
    constexpr int kPieceBytes = 256 * 1024;
    const auto piece = std::make_unique_for_overwrite<unsigned char[]>(kPieceBytes);
    for (std::int64_t left = maxBytes; left > 0;) {
        const auto wanted = static_cast<int>(std::min<std::int64_t>(left, kPieceBytes));
        const int done = file.read(piece.get(), wanted);
        if (done <= 0)
            return;
        use(piece.get(), static_cast<unsigned int>(done));
        left -= done;
    }
}

bool isTextLength(unsigned char length)
{
    return length == 2 * sizeof(MD5_CTX::digest) || length == sizeof(MD5_CTX::digest);
}

// The middle of the digest, in as many hexadecimal digits.
std::string textOf(const MD5_CTX &context, unsigned char length)
{
    constexpr char kDigits[] = "0123456789abcdef";
    const std::size_t first = (sizeof(context.digest) - length / 2) / 2;
    std::string text;
    for (std::size_t i = first; i < first + length / 2; ++i) {
        text += kDigits[context.digest[i] >> 4];
        text += kDigits[context.digest[i] & 0xf];
    }
    return text;
}

}  // namespace

int calculateCRC32(const std::string &path, unsigned int &crc)
{
    constexpr int kDone = 1;  // kept: 0 is the success elsewhere. See docs/oddities.md.
    constexpr int kNotOpened = 0;
    const std::unique_ptr<FileWrapper> file = openForReading(path);
    if (!file) {
        nubrix::setErrorNumber(NUBRIX_ERR_FILE_OPEN);
        return kNotOpened;
    }
    unsigned int sum = nubrix::kCrc32Start;
    forEachPiece(*file, file->fileSize(), [&](const unsigned char *piece, unsigned int size) {
        sum = nubrix::crc32(sum, piece, size);
    });
    crc = sum;
    nubrix::logPrint(nubrix::kLogInfo, "Calculate CRC is 0x%x", sum);
    return kDone;
}

char *MD5File(const std::string &path, unsigned char length)
{
    const std::unique_ptr<FileWrapper> file = openForReading(path);
    if (!file || !isTextLength(length))
        return nullptr;
    MD5_CTX context;
    MD5Init(&context);
    forEachPiece(*file, INT64_MAX, [&](unsigned char *piece, unsigned int size) {
        MD5Update(&context, piece, size);
    });
    MD5Final(&context);
    char *const text = new char[std::size_t{length} + 1];
    std::strcpy(text, textOf(context, length).c_str());
    return text;
}

void MD5String(std::string input, unsigned char length, std::string &out)
{
    out.clear();
    if (!isTextLength(length))
        return;
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<unsigned char *>(input.data()),
              static_cast<unsigned int>(input.size()));
    MD5Final(&context);
    out = textOf(context, length);
}
