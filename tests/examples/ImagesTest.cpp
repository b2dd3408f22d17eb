// The images that save_images writes, read by another program.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "tests/examples/ExampleFixture.h"

namespace nubrix {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

struct SavedImage {
    std::string file;
    std::string stream;
    unsigned int index = 0;
    long long time = 0;
    double unit = 0;
};

class SaveImagesTest : public ExampleTest {
protected:
    /// The time of day and that of the clock that never jumps, in microseconds.
    struct Clocks {
        long long day = micros(std::chrono::system_clock::now());
        long long steady = micros(std::chrono::steady_clock::now());

        template <class Time>
        static long long micros(const Time &time)
        {
            const auto since = time.time_since_epoch();
            return std::chrono::duration_cast<std::chrono::microseconds>(since).count();
        }
    };
    std::vector<SavedImage> list() const
    {
        std::vector<SavedImage> all;
        std::istringstream table(readFile(m_images + "/images.csv"));
        std::string line;
        std::getline(table, line);
        EXPECT_EQ(line, "file,microseconds since 1970,millimetres per unit");
        while (std::getline(table, line)) {
            SavedImage image;
            char stream[16] = {};
            const int fields = std::sscanf(line.c_str(), "%15[a-z]-%u.png,%lld,%lf", stream,
                                           &image.index, &image.time, &image.unit);
            image.stream = stream;
            EXPECT_EQ(fields, image.stream == "depth" ? 4 : 3) << line;
            image.file = m_images + "/" + line.substr(0, line.find(','));
            all.push_back(image);
        }
        return all;
    }
    /// The samples of an image as read_image.py prints them.
    static std::string hex(const Frame &frame)
    {
        static const char *const digits = "0123456789abcdef";
        std::string text;
        for (std::size_t i = 0; i < frame.size(); ++i) {
            text += digits[frame.data()[i] >> 4];
            text += digits[frame.data()[i] & 15];
        }
        return text;
    }
    const std::string m_images = m_folder.file("new/images");
};

TEST_F(SaveImagesTest, EveryPixelIsThatOfTheFrame)
{
    const ToolResult result = run("save_images", {m_images, "2"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("4 images in " + m_images));
    const std::vector<SavedImage> images = list();
    ASSERT_THAT(images, SizeIs(4));
    for (const SavedImage &image : images) {
        const bool isDepth = image.stream == "depth";
        std::istringstream read(readBy(paths::kReadImage, image.file));
        std::string mode;
        int width = 0;
        int height = 0;
        std::string samples;
        read >> mode >> width >> height >> samples;
        EXPECT_EQ(mode, isDepth ? "I" : "RGB");
        EXPECT_EQ(width, kWidth);
        EXPECT_EQ(height, kHeight);
        EXPECT_EQ(image.unit, isDepth ? 1.0 / 16 : 0);
        const Frame frame =
            sceneFrame(isDepth ? StreamType::kDepth : StreamType::kColor, image.index);
        ASSERT_EQ(frame.index(), image.index);
        EXPECT_TRUE(samples == hex(frame)) << image.file;
    }
}

TEST_F(SaveImagesTest, TheTimesAreThoseOfTheCaptures)
{
    constexpr long long kSecond = 1000000;
    Clocks before;
    Clocks after;
    for (int i = 0; i < 5; ++i) {  // again when somebody has set the time of day meanwhile
        before = Clocks();
        const ToolResult result = run("save_images", {m_images, "10"});
        after = Clocks();
        ASSERT_EQ(result.status, 0) << result.err;
        if (std::abs((after.day - before.day) - (after.steady - before.steady)) < kSecond)
            break;
    }
    const std::vector<SavedImage> images = list();
    ASSERT_THAT(images, SizeIs(20));
    const SavedImage &first = images[0];
    for (const SavedImage &image : images) {
        EXPECT_GT(image.time, before.day - kSecond);
        EXPECT_LT(image.time, after.day + kSecond);
        // Frames of one index are captured at the same time, those of the next 1/30 s later.
        const double frames = static_cast<double>(image.index) - static_cast<double>(first.index);
        EXPECT_NEAR(static_cast<double>(image.time - first.time), frames * 1e6 / 30, 3)
            << image.file;
    }
}

TEST_F(SaveImagesTest, AFolderThatCannotBeWrittenIsNamed)
{
    writeFile(m_folder.file("new"), "a file");
    const ToolResult result = run("save_images", {m_images});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr(m_images));
}

}  // namespace
}  // namespace nubrix
