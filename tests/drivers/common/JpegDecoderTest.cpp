#include "common/JpegDecoder.h"

#include <gmock/gmock.h>

#include "tests/drivers/common/JpegImages.h"

namespace nubrix {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr unsigned int kWidth = 64;
constexpr unsigned int kHeight = 48;

struct Result {
    bool done;
    bool damaged;
    std::string error;
    std::vector<std::uint8_t> pixels;
};

Result decode(const Jpeg &jpeg, JpegDecoder::Damage damage = JpegDecoder::Damage::kTolerated,
              const JpegDecoder::Limits &limits = {})
{
    JpegDecoder decoder(damage, limits);
    Result result = {};
    result.done = decoder.readHeader(jpeg.data(), jpeg.size());
    if (result.done) {
        result.pixels.resize(std::size_t{3} * decoder.width() * decoder.height());
        result.done = decoder.decode(result.pixels.data());
    }
    result.damaged = decoder.isDamaged();
    result.error = decoder.error();
    return result;
}

TEST(JpegDecoderTest, AnImageIsTheSameInOneScanAndInMany)
{
    const Result plain = decode(plainJpeg(kWidth, kHeight));
    ASSERT_TRUE(plain.done) << plain.error;
    EXPECT_FALSE(plain.damaged);
    ASSERT_EQ(plain.pixels.size(), std::size_t{3} * kWidth * kHeight);
    EXPECT_NE(plain.pixels.front(), plain.pixels.back());
    for (const int scans : {2, 10, 64}) {
        const Result progressive = decode(progressiveJpeg(kWidth, kHeight, scans));
        EXPECT_TRUE(progressive.done) << progressive.error;
        EXPECT_FALSE(progressive.damaged);
        EXPECT_EQ(progressive.pixels, plain.pixels);
    }
}

TEST(JpegDecoderTest, AnImageOfTooManyScansIsRefused)
{
    const Jpeg ten = progressiveJpeg(kWidth, kHeight, 10);
    EXPECT_TRUE(decode(withScansRepeated(ten, JpegDecoder::kMostScans - 10)).done);
    for (const std::size_t scans :
         {std::size_t{JpegDecoder::kMostScans} - 9, std::size_t{100000}}) {
        const Result refused = decode(withScansRepeated(ten, scans));
        EXPECT_FALSE(refused.done);
        EXPECT_EQ(refused.error, "it has more than 100 scans");
    }
}

TEST(JpegDecoderTest, AnImageThatTakesTooLongIsRefused)
{
    const JpegDecoder::Limits limits = {milliseconds(1), nullptr};
    // A hundred times 64 MiB of pixels from a small file.
    const Jpeg slow = withScansRepeated(withSize(progressiveJpeg(8, 8, 10), 8192, 8192), 90);
    for (const Jpeg &jpeg : {slow, plainJpeg(4096, 4096)}) {
        const Result refused = decode(jpeg, JpegDecoder::Damage::kTolerated, limits);
        EXPECT_FALSE(refused.done);
        EXPECT_EQ(refused.error, "it takes longer than 1 ms to decode");
    }
}

TEST(JpegDecoderTest, TheStopFlagEndsTheDecoding)
{
    const std::atomic<bool> stop = true;
    for (const Jpeg &jpeg : {plainJpeg(kWidth, kHeight), progressiveJpeg(kWidth, kHeight, 10)}) {
        const Result ended =
            decode(jpeg, JpegDecoder::Damage::kTolerated, {milliseconds(60000), &stop});
        EXPECT_FALSE(ended.done);
        EXPECT_EQ(ended.error, "it was given up");
    }
}

TEST(JpegDecoderTest, TheHeaderHasTheSizeBeforeAnythingIsReserved)
{
    const Jpeg lying = withSize(progressiveJpeg(kWidth, kHeight, 10), 65500, 65500);
    JpegDecoder decoder(JpegDecoder::Damage::kTolerated, {});
    ASSERT_TRUE(decoder.readHeader(lying.data(), lying.size()));
    EXPECT_EQ(decoder.width(), 65500U);
    EXPECT_EQ(decoder.height(), 65500U);
}

TEST(JpegDecoderTest, WrongSizesAreDamagedOrRefused)
{
    for (const Jpeg &jpeg : {plainJpeg(kWidth, kHeight), progressiveJpeg(kWidth, kHeight, 10)}) {
        const Jpeg larger = withSize(jpeg, kWidth, 2 * kHeight);
        EXPECT_TRUE(decode(larger).damaged);
        EXPECT_FALSE(decode(larger, JpegDecoder::Damage::kRefused).done);
        EXPECT_FALSE(decode(withSize(jpeg, 0, kHeight)).done);
        EXPECT_FALSE(decode(withSize(jpeg, 65535, kHeight)).done);
    }
}

TEST(JpegDecoderTest, TruncatedImagesAreDamagedOrRefusedWhereverTheyEnd)
{
    for (const Jpeg &whole : {plainJpeg(kWidth, kHeight), progressiveJpeg(kWidth, kHeight, 10)}) {
        for (std::size_t size = 0; size < whole.size() - 2; size += 1 + whole.size() / 199) {
            const Jpeg cut(whole.begin(), whole.begin() + static_cast<Jpeg::difference_type>(size));
            const Result tolerated = decode(cut);
            EXPECT_TRUE(!tolerated.done || tolerated.damaged) << size;
            const Result refused = decode(cut, JpegDecoder::Damage::kRefused);
            EXPECT_FALSE(refused.done) << size;
            EXPECT_NE(refused.error, "") << size;
        }
    }
}

TEST(JpegDecoderTest, DataThatIsNoJpegIsRefusedWithTheReason)
{
    EXPECT_THAT(decode({}).error, HasSubstr("mpty"));
    EXPECT_THAT(decode({'B', 'M', 1, 2}).error, HasSubstr("Not a JPEG file"));
}

}  // namespace
}  // namespace nubrix
