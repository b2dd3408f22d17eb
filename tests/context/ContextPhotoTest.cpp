// Photos: the newest colour frame as a bitmap.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <numeric>
#include <thread>
#include <utility>

#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

constexpr int kWidth = 4;
constexpr int kHeight = 3;

class Photo : public DeviceFixture {
protected:
    Photo() { m_usb.frameBufferSize = kWidth * kHeight * 3; }

    static FakeFrame colourFrame()
    {
        FakeFrame frame;
        frame.width = kWidth;
        frame.height = kHeight;
        frame.pixels.resize(kWidth * kHeight * 3);
        std::iota(frame.pixels.begin(), frame.pixels.end(), static_cast<unsigned char>(1));
        return frame;
    }
    Outcome taking(const std::string &path)
    {
        return outcome([&] { return context().takePhoto(path.c_str()); });
    }
    static std::string header(unsigned int pixelBytes)
    {
        const std::array<unsigned char, 54> bytes = {'B',
                                                     'M',
                                                     static_cast<unsigned char>(pixelBytes + 54),
                                                     0,
                                                     0,
                                                     0,
                                                     0,
                                                     0,
                                                     0,
                                                     0,
                                                     54,
                                                     0,
                                                     0,
                                                     0,
                                                     40,
                                                     0,
                                                     0,
                                                     0,
                                                     kWidth,
                                                     0,
                                                     0,
                                                     0,
                                                     kHeight,
                                                     0,
                                                     0,
                                                     0,
                                                     1,
                                                     0,
                                                     24,
                                                     0,
                                                     0,
                                                     0,
                                                     0,
                                                     0,
                                                     static_cast<unsigned char>(pixelBytes)};
        return {bytes.begin(), bytes.end()};
    }
    static std::string bottomUpBgr(const FakeFrame &frame)
    {
        std::string pixels;
        for (int row = kHeight - 1; row >= 0; --row) {
            for (int column = 0; column < kWidth; ++column) {
                for (int component = 2; component >= 0; --component) {
                    const int place = (row * kWidth + column) * 3 + component;
                    pixels += static_cast<char>(frame.pixels[static_cast<std::size_t>(place)]);
                }
            }
        }
        return pixels;
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("photo.bmp");
};

TEST_F(Photo, IsTheNewestColourFrameByteByByte)
{
    NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, colourFrame()));
    EXPECT_EQ(taking(m_path), (Outcome{0, 0, {}}));
    EXPECT_EQ(readFile(m_path), header(kWidth * kHeight * 3) + bottomUpBgr(colourFrame()));
    typedefNubrixFrame *frame = nullptr;
    EXPECT_EQ(context().readFrame(stream, &frame, 0), 0) << "it stays in the stream";
    context().releaseFrame(frame);
}

TEST_F(Photo, IsReadBackByAnotherProgram)
{
    opened(NUBRIX_STREAM_COLOR);
    const FakeFrame sent = colourFrame();
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, sent));
    ASSERT_EQ(taking(m_path).status, 0);
    const std::string command = "'" + std::string(paths::kReadBitmap) + "' '" + m_path + "' > '" +
                                m_folder.file("text") + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    std::string expected = "4 3 ";
    for (const unsigned char byte : sent.pixels) {
        char hex[3];
        std::snprintf(hex, sizeof(hex), "%02x", byte);
        expected += hex;
    }
    EXPECT_EQ(readFile(m_folder.file("text")), expected + "\n");
}

TEST_F(Photo, DelaysNoOtherThreadWhileItIsWritten)
{
    NubrixStream *const stream = opened(NUBRIX_STREAM_COLOR);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, colourFrame()));
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    std::atomic<int> threadId{0};
    std::atomic<int> result{1};
    std::thread photo([&] {
        threadId = ::gettid();
        result = context().takePhoto(m_path.c_str());
    });
    // It waits for somebody who reads the pipe.
    ASSERT_TRUE(eventually([&] { return threadId != 0 && hasFallenAsleep(threadId); }));
    EXPECT_EQ(context().closeStream(stream), 0);
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_EQ(result, 1) << "it is not done yet";
    EXPECT_EQ(readFile(m_path), header(kWidth * kHeight * 3) + bottomUpBgr(colourFrame()));
    photo.join();
    EXPECT_EQ(result, 0);
}

TEST_F(Photo, WaitsForAFrame)
{
    opened(NUBRIX_STREAM_COLOR);
    // A wake-up goes to the stream's own thread or to one of these, and the others wait in vain.
    constexpr int kPhotos = 8;
    std::array<std::atomic<int>, kPhotos> threadIds = {};
    std::atomic<int> done{0};
    std::atomic<int> taken{0};
    std::vector<std::thread> photos;
    for (std::atomic<int> &threadId : threadIds) {
        photos.emplace_back([&] {
            threadId = ::gettid();
            if (context().takePhoto(m_path.c_str()) == 0)
                ++taken;
            ++done;
        });
    }
    EXPECT_TRUE(eventually([&] {
        return std::any_of(threadIds.begin(), threadIds.end(),
                           [](int id) { return id != 0 && hasFallenAsleep(id); });
    })) << "none waits";
    while (done < kPhotos) {
        EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, colourFrame()));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    for (std::thread &photo : photos)
        photo.join();
    EXPECT_GE(taken, 1);
    EXPECT_EQ(readFile(m_path), header(kWidth * kHeight * 3) + bottomUpBgr(colourFrame()));
}

TEST_F(Photo, WithoutAFrameInTimeThereIsNone)
{
    opened(NUBRIX_STREAM_COLOR);
    EXPECT_EQ(taking(m_path), (Outcome{-1, NUBRIX_ERR_FRAME_UNAVAILABLE, {}}));
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(Photo, IsOfTheFirstColourStream)
{
    NubrixStream *const depth = opened(NUBRIX_STREAM_DEPTH);
    NubrixStream *const first = opened(NUBRIX_STREAM_COLOR);
    NubrixDevice *const other = open("net:1");
    m_net.frameBufferSize = kWidth * kHeight * 3;
    NubrixStream *const second = opened(NUBRIX_STREAM_COLOR, other);
    ASSERT_NE(depth, first);
    ASSERT_NE(first, second);
    FakeFrame darker = colourFrame();
    std::fill(darker.pixels.begin(), darker.pixels.end(), static_cast<unsigned char>(0));
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, colourFrame()));
    ASSERT_TRUE(m_net.deliver(NUBRIX_STREAM_COLOR, darker));
    EXPECT_EQ(taking(m_path).status, 0);
    EXPECT_EQ(readFile(m_path), header(kWidth * kHeight * 3) + bottomUpBgr(colourFrame()));
}

TEST_F(Photo, SizesThatLieAreRefused)
{
    opened(NUBRIX_STREAM_COLOR);
    for (const auto &[width, height] : {std::pair(-1, -1), std::pair(65536, 65536),
                                        std::pair(-4, 3), std::pair(kWidth, kHeight + 1)}) {
        FakeFrame frame = colourFrame();
        frame.width = width;
        frame.height = height;
        ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, frame));
        EXPECT_EQ(taking(m_path), (Outcome{-8, 0, {}})) << width << "x" << height;
    }
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(Photo, WithoutAColourStreamThereIsNone)
{
    opened(NUBRIX_STREAM_DEPTH);
    EXPECT_EQ(taking(m_path), (Outcome{-8, NUBRIX_ERR_INVALID_STREAM, {}}));
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(Photo, WithoutAFrameTheStreamsResultIsTheAnswer)
{
    created(NUBRIX_STREAM_COLOR);
    EXPECT_EQ(taking(m_path), (Outcome{-2, 0, {"2 Stream Not Stared"}}));
}

TEST_F(Photo, OtherPixelsThanRgbAreRefused)
{
    opened(NUBRIX_STREAM_COLOR);
    FakeFrame grey = colourFrame();
    grey.pixelFormat = NUBRIX_PIXEL_GREY8;
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, grey));
    EXPECT_EQ(taking(m_path), (Outcome{-8, 0, {}}));
    FakeFrame tooShort = colourFrame();
    tooShort.pixels.pop_back();
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, tooShort));
    EXPECT_EQ(taking(m_path), (Outcome{-8, 0, {}}))
        << "the frame has fewer pixels than its size states";
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(Photo, AFileThatCannotBeMadeIsAnError)
{
    opened(NUBRIX_STREAM_COLOR);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, colourFrame()));
    EXPECT_EQ(taking(m_folder.file("missing/photo.bmp")),
              (Outcome{-4, NUBRIX_ERR_URI_NOT_FOUND, {}}));
    EXPECT_EQ(taking("/dev/full"), (Outcome{-4, NUBRIX_ERR_URI_NOT_FOUND, {}}));
}

TEST_F(Photo, WithoutANameItIsCalledAfterTheTimeInTheCurrentFolder)
{
    opened(NUBRIX_STREAM_COLOR);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, colourFrame()));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.path());
    const auto nameOfNow = [] {
        const std::time_t now = std::time(nullptr);
        char text[32];
        std::strftime(text, sizeof(text), "%Y%m%d%H%M%S.bmp", std::localtime(&now));
        return std::string(text);
    };
    const std::string earliest = nameOfNow();
    EXPECT_EQ(taking("").status, 0);
    EXPECT_EQ(context().takePhoto(nullptr), 0);
    const std::string latest = nameOfNow();
    std::filesystem::current_path(before);
    int photos = 0;
    for (const auto &entry : std::filesystem::directory_iterator(m_folder.path())) {
        const std::string name = entry.path().filename().string();
        EXPECT_GE(name, earliest);
        EXPECT_LE(name, latest);
        ++photos;
    }
    EXPECT_THAT(photos, testing::AnyOf(1, 2));
}

}  // namespace
}  // namespace nubrix
