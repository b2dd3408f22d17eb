// CRC-32 and MD5 of frames of 16 bits a pixel, and the CRC-32 of a file, compared with memcpy and
// the libraries that are installed.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/Frames.h"
#include "checksum/Crc32.h"
#include "nubrix/checksum.h"

#ifdef NUBRIX_BENCH_ISAL
#include <isa-l/crc.h>
#endif
#ifdef NUBRIX_BENCH_DEFLATE
#include <libdeflate.h>
#endif
#ifdef NUBRIX_BENCH_OPENSSL
#include <openssl/evp.h>
#endif

namespace {

using nubrix::bench::Frame;
using nubrix::bench::Frames;

using Job = void (*)(unsigned char *data, std::size_t size);

void crc32(unsigned char *data, std::size_t size)
{
    benchmark::DoNotOptimize(nubrix::crc32(nubrix::kCrc32Start, data, size));
}

void md5(unsigned char *data, std::size_t size)
{
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, data, static_cast<unsigned int>(size));
    MD5Final(&context);
    benchmark::DoNotOptimize(context);
}

void copy(unsigned char *data, std::size_t size)
{
    static std::vector<unsigned char> place;
    place.resize(size);
    std::memcpy(place.data(), data, size);
    benchmark::ClobberMemory();
}

template <Job kOurs, Job kPeer>
void BM_Checksum(benchmark::State &state)
{
    Frames frames(state);
    const std::size_t size = 2 * frames.pixels();
    nubrix::bench::compare(
        state, frames, [size](Frame &frame) { kOurs(frame.source.data(), size); },
        [size](Frame &frame) { kPeer(frame.source.data(), size); });
}

/// What a frame is not: from an odd address on, and some bytes longer than what is taken at a time.
/// Small ones are headers, where the start and the end are all there is.
template <Job kOurs, Job kPeer>
void BM_ChecksumUnaligned(benchmark::State &state)
{
    constexpr int kTimes = 1000;
    const auto size = static_cast<std::size_t>(state.range(0));
    std::vector<unsigned char> bytes = nubrix::bench::randomBytes(size + 1);
    const int times = size < 65536 ? kTimes : 1;
    const auto run = [&](Job job) {
        for (int i = 0; i < times; ++i)
            job(bytes.data() + 1, size);
    };
    nubrix::bench::measureAgainst(
        state, times, [&] { run(kOurs); }, [&] { run(kPeer); });
    state.SetLabel(nubrix::nameOf(nubrix::instructionSet()));
}

void unalignedSizes(benchmark::internal::Benchmark *bench)
{
    bench->ArgName("bytes")->Arg(13)->Arg(77)->Arg(1411)->Arg(614413)->UseManualTime()->Unit(
        benchmark::kMicrosecond);
}

BENCHMARK(BM_Checksum<crc32, copy>)->Name("BM_Crc32_Memcpy")->Apply(nubrix::bench::sizes);
BENCHMARK(BM_Checksum<md5, copy>)->Name("BM_Md5_Memcpy")->Apply(nubrix::bench::sizes);

#ifdef NUBRIX_BENCH_DEFLATE
void deflateCrc32(unsigned char *data, std::size_t size)
{
    benchmark::DoNotOptimize(libdeflate_crc32(0, data, size));
}
BENCHMARK(BM_Checksum<crc32, deflateCrc32>)
    ->Name("BM_Crc32_Libdeflate")
    ->Apply(nubrix::bench::sizes);
#endif

#ifdef NUBRIX_BENCH_OPENSSL
void opensslMd5(unsigned char *data, std::size_t size)
{
    static const EVP_MD *const kMd5 = EVP_md5();
    unsigned char digest[EVP_MAX_MD_SIZE];
    EVP_Digest(data, size, digest, nullptr, kMd5, nullptr);
    benchmark::DoNotOptimize(digest);
}
BENCHMARK(BM_Checksum<md5, opensslMd5>)->Name("BM_Md5_Openssl")->Apply(nubrix::bench::sizes);
BENCHMARK(BM_ChecksumUnaligned<md5, opensslMd5>)
    ->Name("BM_Md5_Unaligned_Openssl")
    ->Apply(unalignedSizes);
#endif

#ifdef NUBRIX_BENCH_ISAL
void isalCrc32(unsigned char *data, std::size_t size)
{
    benchmark::DoNotOptimize(crc32_ieee(0, data, size));
}
BENCHMARK(BM_Checksum<crc32, isalCrc32>)->Name("BM_Crc32_Isal")->Apply(nubrix::bench::sizes);
BENCHMARK(BM_ChecksumUnaligned<crc32, isalCrc32>)
    ->Name("BM_Crc32_Unaligned_Isal")
    ->Apply(unalignedSizes);

unsigned int isalCrc32OfFile(const char *path, std::vector<unsigned char> &piece)
{
    const int file = open(path, O_RDONLY);
    unsigned int crc = 0;
    for (ssize_t done; (done = read(file, piece.data(), piece.size())) > 0;)
        crc = crc32_ieee(crc, piece.data(), static_cast<std::size_t>(done));
    close(file);
    return ~crc;
}

// A file that the system holds in its memory.
void BM_Crc32_File_Isal(benchmark::State &state)
{
    char path[] = "/tmp/nubrix-bench-XXXXXX";
    const int file = mkstemp(path);
    const std::vector<unsigned char> bytes =
        nubrix::bench::randomBytes(static_cast<std::size_t>(state.range(0)));
    if (file < 0 || write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        state.SkipWithError("cannot write a file");
    std::vector<unsigned char> piece(256 * 1024);
    unsigned int ours = 0;
    unsigned int theirs = 0;
    nubrix::bench::measureAgainst(
        state, 1, [&] { calculateCRC32(path, ours); },
        [&] { theirs = isalCrc32OfFile(path, piece); });
    if (ours != theirs)
        state.SkipWithError("the checksums differ");
    close(file);
    unlink(path);
}
BENCHMARK(BM_Crc32_File_Isal)
    ->ArgName("bytes")
    ->Arg(64 << 10)
    ->Arg(1 << 20)
    ->Arg(16 << 20)
    ->Arg(128 << 20)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
