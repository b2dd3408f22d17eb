#include "output/ImageEncoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "tests/TemporaryFolder.h"
#include "tests/tools/ImageFile.h"

namespace nubrix::tool {
namespace {

using testing::HasSubstr;

class ImageEncoderTest : public testing::Test {
protected:
    ImageFile writeAndRead(const Image &image) const
    {
        const std::string path = m_folder.path() / "image.png";
        writePng(path, image);
        return readImage(path);
    }

    std::string failureOf(const std::string &path) const
    {
        try {
            writePng(path, {2, 1, 1, 8, {1, 2}});
        } catch (const std::runtime_error &error) {
            return error.what();
        }
        return "no failure";
    }

    TemporaryFolder m_folder;
};

TEST_F(ImageEncoderTest, ColourComesBackUnchanged)
{
    Image image{5, 3, 3, 8, {}};
    for (unsigned int i = 0; i < 5 * 3 * 3; ++i)
        image.samples.push_back(static_cast<std::uint8_t>(i * 37));
    const ImageFile file = writeAndRead(image);
    ASSERT_TRUE(file.isRgb8());
    EXPECT_EQ(file.width, 5U);
    EXPECT_EQ(file.height, 3U);
    EXPECT_THAT(file.samples, testing::ElementsAreArray(image.samples));
}

TEST_F(ImageEncoderTest, GreyComesBackUnchanged)
{
    const Image image{4, 2, 1, 8, {0, 1, 127, 128, 254, 255, 3, 4}};
    const ImageFile file = writeAndRead(image);
    ASSERT_TRUE(file.isGrey8());
    EXPECT_EQ(file.width, 4U);
    EXPECT_THAT(file.samples, testing::ElementsAreArray(image.samples));
}

TEST_F(ImageEncoderTest, SamplesOf16BitsComeBackUnchanged)
{
    const Image image{
        3, 2, 1, 16, {0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0xff, 0xff, 0x34, 0x12, 0x10, 0x27}};
    const ImageFile file = writeAndRead(image);
    ASSERT_TRUE(file.isGrey16());
    EXPECT_THAT(file.samples, testing::ElementsAre(0, 1, 256, 65535, 0x1234, 10000));
}

TEST_F(ImageEncoderTest, AnExistingFileIsReplaced)
{
    writeAndRead({2, 1, 1, 8, {1, 2}});
    EXPECT_THAT(writeAndRead({1, 1, 1, 8, {9}}).samples, testing::ElementsAre(9));
}

TEST_F(ImageEncoderTest, AMissingFolderIsReportedWithTheCause)
{
    const std::string path = m_folder.path() / "missing" / "image.png";
    EXPECT_EQ(failureOf(path), "cannot write " + path + ": No such file or directory");
}

TEST_F(ImageEncoderTest, AFullDiskIsReportedAndLeavesNoFile)
{
    const std::string path = m_folder.path() / "image.png";
    std::filesystem::create_symlink("/dev/full", path);
    EXPECT_EQ(failureOf(path), "cannot write " + path + ": No space left on device");
    EXPECT_FALSE(std::filesystem::is_symlink(path));
}

TEST_F(ImageEncoderTest, AnImageWithoutPixelsIsAFailureNotACrash)
{
    EXPECT_THROW(writePng(m_folder.path() / "image.png", Image()), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path() / "image.png"));
}

}  // namespace
}  // namespace nubrix::tool
