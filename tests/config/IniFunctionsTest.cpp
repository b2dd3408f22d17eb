#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <string>

#include "nubrix/ini.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

class IniFunctionsTest : public testing::Test {
protected:
    void put(const std::string &content) { writeFile(m_path, content); }
    std::string content() const { return readFile(m_path); }
    const char *path() const { return m_path.c_str(); }

    std::string readString(const char *section, const char *key)
    {
        char value[512] = "untouched";
        const int result = nubrixReadString(path(), section, key, value, sizeof value);
        return result == 0 ? value : std::to_string(result) + " " + value;
    }
    int readInt(const std::string &text)
    {
        put("[A]\nK=" + text + "\n");
        int value = 77;
        EXPECT_EQ(nubrixReadInt(path(), "A", "K", &value), 0);
        return value;
    }
    double readDouble(const std::string &text)
    {
        put("[A]\nK=" + text + "\n");
        double value = 77;
        EXPECT_EQ(nubrixReadDouble(path(), "A", "K", &value), 0);
        return value;
    }
    // 1 and 0 for what was read, the negative result otherwise.
    int readBool(const std::string &text)
    {
        int last = 0;
        for (const bool before : {false, true}) {
            put("[A]\nK=" + text + "\n");
            bool value = before;
            last = nubrixReadBool(path(), "A", "K", &value);
            if (last == 0)
                last = value ? 1 : 0;
            else
                EXPECT_EQ(value, before);
        }
        return last;
    }
    // The file after K of [A] was set to 2.
    std::string written(const std::string &before)
    {
        put(before);
        EXPECT_EQ(nubrixWriteInt(path(), "A", "K", 2), 0);
        return content();
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("test.ini");
};

TEST_F(IniFunctionsTest, AMissingFileSectionOrKeyDoesNotChangeTheOutput)
{
    for (const char *text : {"", "[B]\nK=1\n", "[A]\nL=1\n", "[A]\nK = 1\n", "[A]\n[B]\nK=1\n"}) {
        put(text);
        int number = 77;
        double real = 77;
        bool flag = true;
        EXPECT_EQ(readString("A", "K"), "-1 untouched") << text;
        EXPECT_EQ(nubrixReadInt(path(), "A", "K", &number), -1) << text;
        EXPECT_EQ(nubrixReadDouble(path(), "A", "K", &real), -1) << text;
        EXPECT_EQ(nubrixReadBool(path(), "A", "K", &flag), -1) << text;
        EXPECT_EQ(number, 77);
        EXPECT_EQ(real, 77);
        EXPECT_TRUE(flag);
        EXPECT_EQ(content(), text);
    }
    std::filesystem::remove(m_path);
    EXPECT_EQ(readString("A", "K"), "-1 untouched");
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(IniFunctionsTest, NullPointersAreRefused)
{
    put("[A]\nK=1\n");
    EXPECT_EQ(nubrixReadString(path(), "A", "K", nullptr, 5), -4);
    EXPECT_EQ(nubrixReadInt(path(), "A", "K", nullptr), -4);
    EXPECT_EQ(nubrixReadDouble(path(), "A", "K", nullptr), -4);
    EXPECT_EQ(nubrixReadBool(path(), "A", "K", nullptr), -4);
    EXPECT_EQ(nubrixWriteString(path(), "A", "K", nullptr), -4);
    EXPECT_EQ(nubrixWriteInt(nullptr, "A", "K", 1), -4);
    EXPECT_EQ(nubrixWriteDouble(path(), nullptr, "K", 1), -4);
    EXPECT_EQ(nubrixWriteBool(path(), "A", nullptr, true), -4);
    EXPECT_EQ(content(), "[A]\nK=1\n");
}

TEST_F(IniFunctionsTest, AStringIsCutToItsBuffer)
{
    put("[Net]\nName=\"camera\"\n");
    char value[16] = "###############";
    EXPECT_EQ(nubrixReadString(path(), "Net", "Name", value, 4), 0);
    EXPECT_EQ(std::string(value, 5), std::string("cam\0#", 5));
    EXPECT_EQ(nubrixReadString(path(), "Net", "Name", value, 1), 0);
    EXPECT_EQ(std::string(value, 2), std::string("\0a", 2));
    value[0] = '#';
    EXPECT_EQ(nubrixReadString(path(), "Net", "Name", value, 0), 0);
    EXPECT_EQ(value[0], '#');
    EXPECT_EQ(nubrixReadString(path(), "Net", "Name", value, 7), 0);
    EXPECT_STREQ(value, "camera");
}

TEST_F(IniFunctionsTest, AStringIsWrittenInQuotesAndReadWithoutThem)
{
    EXPECT_EQ(nubrixWriteString(path(), "Net", "Name", "cam"), 0);
    EXPECT_EQ(content(), "[Net]\nName=\"cam\"\n");
    EXPECT_EQ(readString("Net", "Name"), "cam");
    EXPECT_EQ(nubrixWriteString(path(), "Net", "Name", ""), 0);
    EXPECT_EQ(content(), "[Net]\nName=\"\"\n");
    EXPECT_EQ(readString("Net", "Name"), "");
    EXPECT_EQ(nubrixWriteString(path(), "Net", "Name", "say \"yes\""), 0);
    EXPECT_EQ(content(), "[Net]\nName=\"say \"yes\"\"\n");
    EXPECT_EQ(readString("Net", "Name"), "say \"yes\"");
}

TEST_F(IniFunctionsTest, AWrittenStringIsNotCut)
{
    const std::string text(5000, 'x');
    EXPECT_EQ(nubrixWriteString(path(), "A", "K", text.c_str()), 0);
    EXPECT_EQ(content(), "[A]\nK=\"" + text + "\"\n");
}

TEST_F(IniFunctionsTest, AnIntIsReadAsFarAsItIsANumber)
{
    EXPECT_EQ(readInt("5"), 5);
    EXPECT_EQ(readInt("-12"), -12);
    EXPECT_EQ(readInt("+12"), 12);
    EXPECT_EQ(readInt("  8"), 8);
    EXPECT_EQ(readInt("\"9\""), 9);
    EXPECT_EQ(readInt("7abc"), 7);
    EXPECT_EQ(readInt("3.9"), 3);
    EXPECT_EQ(readInt("010"), 10);
    EXPECT_EQ(readInt("0x10"), 0);
    EXPECT_EQ(readInt("abc"), 0);
    EXPECT_EQ(readInt(""), 0);
    EXPECT_EQ(readInt("5\r"), 5);
}

TEST_F(IniFunctionsTest, AnIntOutOfRangeIsTheNearest)
{
    EXPECT_EQ(readInt("2147483647"), INT_MAX);
    EXPECT_EQ(readInt("2147483648"), INT_MAX);
    EXPECT_EQ(readInt("-2147483648"), INT_MIN);
    EXPECT_EQ(readInt("-2147483649"), INT_MIN);
    EXPECT_EQ(readInt("99999999999999999999999"), INT_MAX);
    EXPECT_EQ(readInt("-99999999999999999999999"), INT_MIN);
}

TEST_F(IniFunctionsTest, OnlyThe254FirstCharactersOfATypedValueCount)
{
    EXPECT_EQ(readInt(std::string(253, '0') + "12"), 1);
    EXPECT_EQ(readInt(std::string(252, '0') + "12"), 12);
    EXPECT_EQ(readBool("1" + std::string(300, ' ')), -1);
}

TEST_F(IniFunctionsTest, ADoubleIsReadAsFarAsItIsANumber)
{
    EXPECT_EQ(readDouble("0.5"), 0.5);
    EXPECT_EQ(readDouble("-1e3"), -1000.0);
    EXPECT_EQ(readDouble("\"2.25\""), 2.25);
    EXPECT_EQ(readDouble("1.5x"), 1.5);
    EXPECT_EQ(readDouble("abc"), 0.0);
    EXPECT_EQ(readDouble(""), 0.0);
}

TEST_F(IniFunctionsTest, ABoolIsOneOfFourWordsInAnyCase)
{
    EXPECT_EQ(readBool("true"), 1);
    EXPECT_EQ(readBool("TRUE"), 1);
    EXPECT_EQ(readBool("1"), 1);
    EXPECT_EQ(readBool("\"True\""), 1);
    EXPECT_EQ(readBool("false"), 0);
    EXPECT_EQ(readBool("FaLsE"), 0);
    EXPECT_EQ(readBool("0"), 0);
    EXPECT_EQ(readBool("0\r"), 0);
    EXPECT_EQ(readBool("yes"), -1);
    EXPECT_EQ(readBool(""), -1);
    EXPECT_EQ(readBool("2"), -1);
    EXPECT_EQ(readBool("01"), -1);
    EXPECT_EQ(readBool(" true"), -1);
    EXPECT_EQ(readBool("true "), -1);
    EXPECT_EQ(readBool("truely"), -1);
}

TEST_F(IniFunctionsTest, TypedValuesAreWrittenBare)
{
    EXPECT_EQ(nubrixWriteInt(path(), "T", "K", 5), 0);
    EXPECT_EQ(content(), "[T]\nK=5\n");
    EXPECT_EQ(nubrixWriteInt(path(), "T", "K", INT_MIN), 0);
    EXPECT_EQ(content(), "[T]\nK=-2147483648\n");
    EXPECT_EQ(nubrixWriteDouble(path(), "T", "K", 0.5), 0);
    EXPECT_EQ(content(), "[T]\nK=0.500000\n");
    EXPECT_EQ(nubrixWriteDouble(path(), "T", "K", -1.0 / 3), 0);
    EXPECT_EQ(content(), "[T]\nK=-0.333333\n");
    EXPECT_EQ(nubrixWriteBool(path(), "T", "K", true), 0);
    EXPECT_EQ(content(), "[T]\nK=true\n");
    EXPECT_EQ(nubrixWriteBool(path(), "T", "K", false), 0);
    EXPECT_EQ(content(), "[T]\nK=false\n");
}

TEST_F(IniFunctionsTest, AHugeDoubleIsCutAt255Characters)
{
    EXPECT_EQ(nubrixWriteDouble(path(), "T", "K", DBL_MAX), 0);
    char expected[512];
    std::snprintf(expected, sizeof expected, "%f", DBL_MAX);
    EXPECT_EQ(content(), "[T]\nK=" + std::string(expected, 255) + "\n");
}

TEST_F(IniFunctionsTest, WritingToAMissingFileMakesSectionAndKey)
{
    EXPECT_EQ(nubrixWriteInt(path(), "Log", "LogLevel", 3), 0);
    EXPECT_EQ(content(), "[Log]\nLogLevel=3\n");
}

TEST_F(IniFunctionsTest, ANewKeyBecomesTheFirstOfItsSection)
{
    EXPECT_EQ(nubrixWriteInt(path(), "Log", "LogLevel", 3), 0);
    EXPECT_EQ(nubrixWriteInt(path(), "Log", "LogFile", 0), 0);
    EXPECT_EQ(content(), "[Log]\nLogFile=0\nLogLevel=3\n");
    EXPECT_EQ(written("[B]\nX=1\n[A]\nY=1\n[C]\n"), "[B]\nX=1\n[A]\nK=2\nY=1\n[C]\n");
    EXPECT_EQ(written("[A]"), "[A]\nK=2\n");
    EXPECT_EQ(written("[A] comment\nY=1\n"), "[A]\nK=2 comment\nY=1\n");
    EXPECT_EQ(written("[A]\r\nY=1\r\n"), "[A]\nK=2\r\nY=1\r\n");
}

TEST_F(IniFunctionsTest, TheKeyOfAnotherSectionIsLeftAlone)
{
    EXPECT_EQ(written("[A]\nX=1\n[B]\nK=1\n"), "[A]\nK=2\nX=1\n[B]\nK=1\n");
    EXPECT_EQ(written("[A]\n[B]\nK=1\n"), "[A]\nK=2\n[B]\nK=1\n");
    EXPECT_EQ(written("[B]\nK=1\n[A]\nK=1\n"), "[B]\nK=1\n[A]\nK=2\n");
}

TEST_F(IniFunctionsTest, AnOldValueIsReplacedWithItsLine)
{
    EXPECT_EQ(written("[A]\nX=1\nK=\"old\"\nY=3\n[B]\nZ=4\n"), "[A]\nX=1\nK=2\nY=3\n[B]\nZ=4\n");
    EXPECT_EQ(written("[A]\nK=1"), "[A]\nK=2\n");
    EXPECT_EQ(written("[A]\nK=\nY=1\n"), "[A]\nK=2\nY=1\n");
    EXPECT_EQ(written("[A]\nK=1\nK=1\n"), "[A]\nK=2\nK=1\n");
    EXPECT_EQ(written("[A]\nMyK=1\nK=1\n"), "[A]\nMyK=2\nK=1\n");
}

TEST_F(IniFunctionsTest, TheCarriageReturnOfAReplacedLineIsLost)
{
    EXPECT_EQ(written("[A]\r\nK=1\r\nY=1\r\n"), "[A]\r\nK=2\nY=1\r\n");
}

TEST_F(IniFunctionsTest, TheEndOfTheFileIsNormalised)
{
    EXPECT_EQ(written("[A]\nK=1\n\n\n\n"), "[A]\nK=2\n");
    EXPECT_EQ(written("[A]\nX=1\n\n\n\n"), "[A]\nK=2\nX=1\n");
    EXPECT_EQ(written("[A]\nX=1"), "[A]\nK=2\nX=1\n");
    EXPECT_EQ(written("[A]\nX=1\r\n"), "[A]\nK=2\nX=1\r\n");
    EXPECT_EQ(written("\n\n\n"), "[A]\nK=2\n");
    EXPECT_EQ(written("\r\n"), "\r\n[A]\nK=2\n");
    EXPECT_EQ(written(""), "[A]\nK=2\n");
}

TEST_F(IniFunctionsTest, ANewSectionGoesToTheEnd)
{
    EXPECT_EQ(written("[B]\nX=1\n\n"), "[B]\nX=1\n[A]\nK=2\n");
    EXPECT_EQ(written("[B]\nX=1"), "[B]\nX=1\n[A]\nK=2\n");
}

TEST_F(IniFunctionsTest, TheEntryOfAFileWithThreeEmptyLinesIsReplaced)
{
    put("[A]\nX=1\n\n\n\n");
    EXPECT_EQ(nubrixWriteInt(path(), "A", "X", 2), 0);
    EXPECT_EQ(content(), "[A]\nX=2\n");
}

TEST_F(IniFunctionsTest, AnUnwritablePathIsRefused)
{
    const std::string nowhere = m_folder.file("missing/test.ini");
    EXPECT_EQ(nubrixWriteInt(nowhere.c_str(), "A", "K", 1), -1);
    EXPECT_EQ(nubrixWriteString(nowhere.c_str(), "A", "K", "x"), -1);
}

TEST_F(IniFunctionsTest, EveryTypeReadsBackWhatWasWritten)
{
    EXPECT_EQ(nubrixWriteInt(path(), "T", "Count", -5), 0);
    EXPECT_EQ(nubrixWriteDouble(path(), "T", "Gain", 1.5), 0);
    EXPECT_EQ(nubrixWriteBool(path(), "T", "Enabled", true), 0);
    EXPECT_EQ(nubrixWriteString(path(), "U", "Name", "two words"), 0);
    EXPECT_EQ(content(), "[T]\nEnabled=true\nGain=1.500000\nCount=-5\n[U]\nName=\"two words\"\n");
    int count = 0;
    double gain = 0;
    bool enabled = false;
    EXPECT_EQ(nubrixReadInt(path(), "T", "Count", &count), 0);
    EXPECT_EQ(nubrixReadDouble(path(), "T", "Gain", &gain), 0);
    EXPECT_EQ(nubrixReadBool(path(), "T", "Enabled", &enabled), 0);
    EXPECT_EQ(count, -5);
    EXPECT_EQ(gain, 1.5);
    EXPECT_TRUE(enabled);
    EXPECT_EQ(readString("U", "Name"), "two words");
}

}  // namespace
}  // namespace nubrix
