#include <optional>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/client/ClientFixture.h"

namespace nubrix {
namespace {

class ClientFrameTest : public ClientTest {};

TEST_F(ClientFrameTest, ItKeepsAliveWhatItNeeds)
{
    Frame frame;
    {
        Camera camera = Session().open();
        frame = camera.start(StreamType::kDepth).next(kLong);
    }
    EXPECT_TRUE(isInUse());
    EXPECT_GT(frame.millimetres(frame.width() / 2, frame.height() / 2), 100);
    const Frame copy = frame;
    std::thread([last = std::move(frame)] {}).join();
    EXPECT_TRUE(isInUse());
    EXPECT_EQ(copy.type(), StreamType::kDepth);
}

TEST_F(ClientFrameTest, TheLastOneEndsTheUseOfTheContextOnAnyThread)
{
    std::optional<Frame> frame = Session().open().start(StreamType::kColor).next(kLong);
    EXPECT_TRUE(isInUse());
    std::thread([&] { frame.reset(); }).join();
    EXPECT_FALSE(isInUse());
}

TEST_F(ClientFrameTest, AnImageIsOfTheTypeOfItsPixels)
{
    Camera camera = Session().open();
    const Frame depth = camera.start(StreamType::kDepth).next(kLong);
    const auto image = depth.image<unsigned short>();
    EXPECT_EQ(image.width, 640);
    EXPECT_EQ(image.bytesPerRow, 1280U);
    EXPECT_EQ(&image(3, 2), image.data + 2 * 640 + 3);
    EXPECT_EQ(depth.millimetres(3, 2), image(3, 2) / 16.0);
    EXPECT_THROW(depth.image<unsigned char>(), client::Unsupported);
    EXPECT_THROW(depth.millimetres(640, 0), Error);
    EXPECT_THROW(depth.millimetres(0, -1), Error);
    const Frame color = camera.start(StreamType::kColor).next(kLong);
    EXPECT_EQ(color.image<RGB888Pixel>().bytesPerRow, 1920U);
    EXPECT_THROW(color.millimetres(0, 0), client::Unsupported);
}

template <class T, class = void>
struct GivesAnImage : std::false_type {
};
template <class T>
struct GivesAnImage<T, std::void_t<decltype(std::declval<T>().template image<unsigned char>())>>
    : std::true_type {
};
template <class T, class = void>
struct GivesData : std::false_type {
};
template <class T>
struct GivesData<
    T, std::void_t<decltype(std::declval<T>().data()), decltype(std::declval<T>().record())>>
    : std::true_type {
};

TEST_F(ClientFrameTest, WhatPointsIntoAFrameIsNotGivenByATemporaryOne)
{
    EXPECT_TRUE(GivesAnImage<const Frame &>::value && GivesData<Frame &>::value);
    EXPECT_FALSE(GivesAnImage<Frame>::value || GivesAnImage<const Frame>::value);
    EXPECT_FALSE(GivesData<Frame>::value || GivesData<const Frame>::value);
}

TEST_F(ClientFrameTest, AWaitMayHaveAnyLength)
{
    Stream depth = Session().open().start(StreamType::kDepth);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(depth.next(client::Milliseconds::max()));
    const Frame held = depth.next(kLong);
    EXPECT_THROW(depth.next(client::Milliseconds::min()), client::Timeout);
}

TEST_F(ClientFrameTest, ACloneIsOnItsOwn)
{
    Camera camera = Session().open();
    Stream depth = camera.start(StreamType::kDepth);
    std::vector<Frame> clones;
    for (int i = 0; i < 25; ++i)  // more than a stream has
        clones.push_back(depth.next(kLong).clone());
    for (std::size_t i = 1; i < clones.size(); ++i)
        EXPECT_EQ(clones[i].index(), clones[i - 1].index() + 1);
    EXPECT_EQ(depth.figures().held, 0);
    EXPECT_GT(clones.front().millimetres(320, 240), 100);
}

TEST_F(ClientFrameTest, TheTimeIsThatOfTheMonotonicClock)
{
    const auto before = std::chrono::steady_clock::now();
    const Frame frame = Session().open().start(StreamType::kDepth).next(kLong);
    EXPECT_GE(frame.time(), before - std::chrono::seconds(1));
    EXPECT_LE(frame.time(), std::chrono::steady_clock::now());
}

TEST_F(ClientFrameTest, GreyPixelsHaveOneByte)
{
    const Frame frame = Session().open().start(StreamType::kInfrared).next(kLong);
    EXPECT_EQ(frame.format(), NUBRIX_PIXEL_GREY8);
    const auto image = frame.image<unsigned char>();
    EXPECT_EQ(image.bytesPerRow, 640U);
    EXPECT_EQ(&image(1, 479), frame.data() + 479 * 640 + 1);
    EXPECT_THROW(frame.image<RGB888Pixel>(), client::Unsupported);
}

struct ClientShortFrameTest : ClientTest {
    ClientShortFrameTest()
        : ClientTest(R"({"pacing": "free", "faults": [
            {"type": "short_frame", "at_frame": 0}, {"type": "short_frame", "stream": "color", "at_frame": 0},
            {"type": "short_frame", "stream": "ir", "at_frame": 0, "count": 1000000}]})")
    {
    }
};

TEST_F(ClientShortFrameTest, OneThatIsNotCompleteCanBeSkipped)
{
    Camera camera = Session().open();
    const Frame frame = camera.start(StreamType::kDepth).nextComplete(kLong);
    EXPECT_EQ(frame.index(), 1U);
    EXPECT_TRUE(frame.isComplete());
    EXPECT_FALSE(camera.start(StreamType::kDepth).next(kLong).isComplete());
    EXPECT_EQ(camera.photo(m_folder.file("photo.bmp"), kLong).index(), 1U);
    try {
        camera.start(StreamType::kInfrared).nextComplete(kShort);
        FAIL() << "none is complete";
    } catch (const client::Timeout &error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("no complete frame in 100 ms"));
    }
}

TEST(ClientImageTest, TheBytesFollowFromTheFormat)
{
    struct Size {
        unsigned int format;
        unsigned int bytes;  // of 4 x 2 pixels
    };
    for (const Size &size :
         {Size{NUBRIX_PIXEL_RGB888, 24}, Size{NUBRIX_PIXEL_DEPTH_12_4, 16},
          Size{NUBRIX_PIXEL_DEPTH_13_3, 16}, Size{NUBRIX_PIXEL_DEPTH_14_2, 16},
          Size{NUBRIX_PIXEL_DEPTH_MM, 16}, Size{NUBRIX_PIXEL_GREY8, 8},
          Size{NUBRIX_PIXEL_GREY16, 16}, Size{NUBRIX_PIXEL_YUYV, 16}, Size{NUBRIX_PIXEL_UYVY, 16},
          Size{NUBRIX_PIXEL_NV21, 12}, Size{NUBRIX_PIXEL_I420, 12}, Size{NUBRIX_PIXEL_JPEG, 1}})
        EXPECT_EQ(client::imageBytes(size.format, 4, 2), size.bytes) << size.format;
    EXPECT_EQ(client::imageBytes(NUBRIX_PIXEL_UYVY, 3, 2), 16U) << "pixels come in pairs";
    EXPECT_EQ(client::imageBytes(NUBRIX_PIXEL_I420, 3, 3), 17U);
    EXPECT_EQ(client::imageBytes(NUBRIX_PIXEL_GREY8, 0x7fffffff, 0x7fffffff), 0x3fffffff00000001U);
}

TEST_F(ClientShortFrameTest, OneThatIsNotCompleteHasNoImage)
{
    Stream depth = Session().open().start(StreamType::kDepth);
    const Frame frame = depth.next(kLong);
    EXPECT_NE(frame.flags(), 0U);
    try {
        frame.image<unsigned short>();
        FAIL() << "it has one";
    } catch (const Error &error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("not complete"));
    }
    EXPECT_THROW(frame.millimetres(0, 479), Error);
    EXPECT_EQ(frame.clone().size(), frame.size());
}

TEST_F(ClientFrameTest, OneWithoutAFrameThrows)
{
    const Frame none;
    EXPECT_FALSE(none);
    EXPECT_THROW(none.width(), Error);
    EXPECT_THROW(none.image<unsigned short>(), Error);
    EXPECT_THROW(none.clone(), Error);
    const Frame copy = none;
    EXPECT_FALSE(copy);
}

TEST_F(ClientFrameTest, ItIsSharedByThreads)
{
    Stream depth = Session().open().start(StreamType::kDepth);
    std::vector<std::thread> threads;
    {
        const Frame frame = depth.next(kLong);
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([frame] {
                for (int n = 0; n < 1000; ++n) {
                    Frame copy = frame;
                    const Frame moved = std::move(copy);
                    EXPECT_EQ(moved.width(), 640);
                }
            });
    }
    for (std::thread &each : threads)
        each.join();
    EXPECT_TRUE(depth.next(kLong)) << "the camera waited for its return";
}

}  // namespace
}  // namespace nubrix
