// The INI functions in an application that has set a locale with a decimal comma.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <string>

#include "nubrix/ini.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

class LocaleTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(std::setlocale(LC_ALL, "tr_TR.UTF-8"), nullptr);
        ASSERT_EQ(printed(0.5), "0,500000");
    }
    ~LocaleTest() override { std::setlocale(LC_ALL, "C"); }
    static std::string printed(double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%f", value);
        return text;
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("test.ini", "[A]\nK=2.25\n");
};

TEST_F(LocaleTest, ADoubleIsReadWithAPoint)
{
    double value = 0;
    EXPECT_EQ(nubrixReadDouble(m_path.c_str(), "A", "K", &value), 0);
    EXPECT_EQ(value, 2.25);
    EXPECT_EQ(printed(value), "2,250000") << "the application's locale is in force again";
}

TEST_F(LocaleTest, ADoubleIsWrittenWithAPoint)
{
    EXPECT_EQ(nubrixWriteDouble(m_path.c_str(), "A", "K", 1.5), 0);
    EXPECT_EQ(readFile(m_path), "[A]\nK=1.500000\n");
    EXPECT_EQ(printed(1.5), "1,500000") << "the application's locale is in force again";
}

TEST_F(LocaleTest, ABoolIsReadInAnyCase)
{
    for (const char *const word : {"TRUE", "True", "true", "FALSE", "False", "false"}) {
        writeFile(m_path, std::string("[A]\nK=") + word + "\n");
        const bool expected = (word[0] | 0x20) == 't';
        bool value = !expected;
        EXPECT_EQ(nubrixReadBool(m_path.c_str(), "A", "K", &value), 0) << word;
        EXPECT_EQ(value, expected) << word;
    }
}

}  // namespace
}  // namespace nubrix
