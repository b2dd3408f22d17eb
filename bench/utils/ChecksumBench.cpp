// CRC-32 and MD5 of pictures of 16 bits a pixel, and of a file, beside memcpy and beside the
// libraries that are installed. The counter "speed" is the peer's time over ours. With "buffers" 8,
// pictures follow one another as they do in a stream. NUBRIX_CPU chooses the instruction set.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/Ratio.h"
#include "nubrix/checksum.h"
#include "utils/CpuFeatures.h"
#include "utils/Crc32.h"

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

using Bytes = std::vector<unsigned char>;

Bytes randomBytes(std::size_t size)
{
    std::mt19937 random(1);
    Bytes bytes(size);
    for (unsigned char &byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

void tellSpeed(benchmark::State &state)
{
    state.counters["speed"] = state.counters["peer_ns"] / state.counters["ns"];
    state.SetLabel(nubrix::nameOf(nubrix::instructionSet()));
}

void crc32(Bytes &bytes)
{
    benchmark::DoNotOptimize(nubrix::crc32(nubrix::kCrc32Start, bytes.data(), bytes.size()));
}

void md5(Bytes &bytes)
{
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, bytes.data(), static_cast<unsigned int>(bytes.size()));
    MD5Final(&context);
    benchmark::DoNotOptimize(context);
}

void copy(Bytes &bytes)
{
    static Bytes place;
    place.resize(bytes.size());
    std::memcpy(place.data(), bytes.data(), bytes.size());
    benchmark::ClobberMemory();
}

template <auto kOurs, auto kPeer>
void BM_Checksum(benchmark::State &state)
{
    const auto size = static_cast<std::size_t>(2 * state.range(0) * state.range(1));
    std::vector<Bytes> buffers(static_cast<std::size_t>(state.range(2)), randomBytes(size));
    std::size_t turns[2] = {};
    nubrix::bench::measureBeside(
        state, 1, [&] { kOurs(buffers[turns[0]++ % buffers.size()]); },
        [&] { kPeer(buffers[turns[1]++ % buffers.size()]); });
    tellSpeed(state);
}

void pictures(benchmark::internal::Benchmark *bench)
{
    bench->ArgNames({"width", "height", "buffers"})
        ->ArgsProduct({{640}, {480}, {1, 8}})
        ->ArgsProduct({{1280}, {800}, {1, 8}})
        ->ArgsProduct({{1920}, {1080}, {1, 8}})
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}
BENCHMARK(BM_Checksum<crc32, copy>)->Name("BM_Crc32_BesideMemcpy")->Apply(pictures);
BENCHMARK(BM_Checksum<md5, copy>)->Name("BM_Md5_BesideMemcpy")->Apply(pictures);

#ifdef NUBRIX_BENCH_DEFLATE
void deflateCrc32(Bytes &bytes)
{
    benchmark::DoNotOptimize(libdeflate_crc32(0, bytes.data(), bytes.size()));
}
BENCHMARK(BM_Checksum<crc32, deflateCrc32>)->Name("BM_Crc32_BesideLibdeflate")->Apply(pictures);
#endif

#ifdef NUBRIX_BENCH_OPENSSL
void opensslMd5(Bytes &bytes)
{
    static const EVP_MD *const kMd5 = EVP_md5();
    unsigned char digest[EVP_MAX_MD_SIZE];
    EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, kMd5, nullptr);
    benchmark::DoNotOptimize(digest);
}
BENCHMARK(BM_Checksum<md5, opensslMd5>)->Name("BM_Md5_BesideOpenssl")->Apply(pictures);
#endif

#ifdef NUBRIX_BENCH_ISAL
void isalCrc32(Bytes &bytes)
{
    benchmark::DoNotOptimize(crc32_ieee(0, bytes.data(), bytes.size()));
}
BENCHMARK(BM_Checksum<crc32, isalCrc32>)->Name("BM_Crc32_BesideIsal")->Apply(pictures);

unsigned int isalCrc32OfFile(const char *path, Bytes &piece)
{
    const int file = open(path, O_RDONLY);
    unsigned int crc = 0;
    for (ssize_t done; (done = read(file, piece.data(), piece.size())) > 0;)
        crc = crc32_ieee(crc, piece.data(), static_cast<std::size_t>(done));
    close(file);
    return ~crc;
}

// A file that the system holds in its memory.
void BM_Crc32_FileBesideIsal(benchmark::State &state)
{
    char path[] = "/tmp/nubrix-bench-XXXXXX";
    const int file = mkstemp(path);
    const Bytes bytes = randomBytes(static_cast<std::size_t>(state.range(0)));
    if (file < 0 || write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        state.SkipWithError("cannot write a file");
    Bytes piece(256 * 1024);
    unsigned int ours = 0;
    unsigned int theirs = 0;
    nubrix::bench::measureBeside(
        state, 1, [&] { calculateCRC32(path, ours); },
        [&] { theirs = isalCrc32OfFile(path, piece); });
    if (ours != theirs)
        state.SkipWithError("the checksums differ");
    tellSpeed(state);
    close(file);
    unlink(path);
}
BENCHMARK(BM_Crc32_FileBesideIsal)
    ->ArgName("bytes")
    ->Arg(64 << 10)
    ->Arg(1 << 20)
    ->Arg(16 << 20)
    ->Arg(128 << 20)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
