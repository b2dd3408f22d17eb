#include "config/CINIImpl.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

TEST(CINIImplTest, TheDestructorIsTheOnlyVirtualOperation)
{
    // One table pointer and three strings; a table of two slots, which are the two destructors.
    EXPECT_EQ(sizeof(CINIImpl), sizeof(void *) + 3 * sizeof(std::string));
}

class CINIImplFileTest : public testing::Test {
protected:
    std::string value(const std::string &content)
    {
        std::string data = content;
        if (m_entry.getSection(data) != 0)
            return "no section";
        return m_entry.getKey(data) != 0 ? "no key" : data;
    }
    std::string section(const std::string &content)
    {
        std::string data = content;
        return m_entry.getSection(data) != 0 ? "no section" : data;
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("test.ini");
    CINIImpl m_entry{m_path, "A", "K"};
};

TEST_F(CINIImplFileTest, ASectionRunsToTheLineThatStartsTheNext)
{
    EXPECT_EQ(section("[A]\nK=1\n[B]\nK=2\n"), "\nK=1\n");
    EXPECT_EQ(section("[B]\nK=2\n[A]\nK=1\n"), "\nK=1\n");
    EXPECT_EQ(section("[A]\n[B]\n"), "\n");
    EXPECT_EQ(section("[A]"), "");
    EXPECT_EQ(section("[A]\nK=[x] [B]\nL=1"), "\nK=[x] [B]\nL=1");
}

TEST_F(CINIImplFileTest, ASectionIsFoundAnywhereInTheText)
{
    EXPECT_EQ(section("; [A] K=1\n[A]\nK=2\n"), " K=1\n");
    EXPECT_EQ(section("[B]\nK=[A]x\n"), "x\n");
}

TEST_F(CINIImplFileTest, AMissingSectionOrKeyIsRefused)
{
    std::string data = "[a]\nK=1\n";
    EXPECT_EQ(m_entry.getSection(data), -1);
    data = "";
    EXPECT_EQ(m_entry.getSection(data), -1);
    data = "\nk=1\nK =1\n";
    EXPECT_EQ(m_entry.getKey(data), -1);
}

TEST_F(CINIImplFileTest, AValueEndsWithItsLine)
{
    EXPECT_EQ(value("[A]\nK=1\nL=2\n"), "1");
    EXPECT_EQ(value("[A]\nK=1"), "1");
    EXPECT_EQ(value("[A]\nK=\n"), "");
    EXPECT_EQ(value("[A]\nK="), "");
    EXPECT_EQ(value("[A]K=1\n"), "1");
    EXPECT_EQ(value("[A]\nK=  a b  \n"), "  a b  ");
    EXPECT_EQ(value("[A]\nK=a=b;c#d\n"), "a=b;c#d");
}

TEST_F(CINIImplFileTest, OneQuoteIsDroppedAtEachEnd)
{
    EXPECT_EQ(value("[A]\nK=\"text\"\n"), "text");
    EXPECT_EQ(value("[A]\nK=\"\"text\"\"\n"), "\"text\"");
    EXPECT_EQ(value("[A]\nK=\"text\n"), "text");
    EXPECT_EQ(value("[A]\nK=text\"\n"), "text");
    EXPECT_EQ(value("[A]\nK=a\"b\n"), "a\"b");
    EXPECT_EQ(value("[A]\nK=\"\"\n"), "");
    EXPECT_EQ(value("[A]\nK=\"\n"), "");
    EXPECT_EQ(value("[A]\nK= \"text\" \n"), " \"text\" ");
}

TEST_F(CINIImplFileTest, OnlyTheFirstCarriageReturnIsDropped)
{
    EXPECT_EQ(value("[A]\r\nK=5\r\n"), "5");
    EXPECT_EQ(value("[A]\r\nK=\"text\"\r\n"), "text");
    EXPECT_EQ(value("[A]\nK=a\rb\r\n"), "ab\r");
    EXPECT_EQ(value("[A]\nK=\r\n"), "");
    EXPECT_EQ(value("[A]\nK=\r\"\n"), "");
    EXPECT_EQ(value("[A]\nK=\"a\"\r\r\n"), "a\"\r");
}

TEST_F(CINIImplFileTest, AKeyIsFoundInsideALongerKeyAndInAComment)
{
    EXPECT_EQ(value("[A]\nLogK=4\nK=5\n"), "4");
    EXPECT_EQ(value("[A]\n;K=4\n"), "4");
    EXPECT_EQ(value("[A]\n#K=4\n"), "4");
    EXPECT_EQ(value("[A]\nL=K=4\n"), "4");
}

TEST_F(CINIImplFileTest, ReadingReplacesTheDataWithTheWholeFile)
{
    const std::string content = std::string(254, 'a') + "\n" + std::string(700, 'b') + "\r\n";
    writeFile(m_path, content);
    std::string data = "old";
    EXPECT_EQ(m_entry.readDataFromFile(data, true), 0);
    EXPECT_EQ(data, content);
    EXPECT_EQ(readFile(m_path), content);
}

TEST_F(CINIImplFileTest, ANulByteCutsItsChunkOf255BytesOnly)
{
    std::string content = std::string(255, 'a') + std::string(255, 'b') + std::string(255, 'c');
    content[255 + 10] = '\0';
    writeFile(m_path, content);
    std::string data;
    EXPECT_EQ(m_entry.readDataFromFile(data, true), 0);
    EXPECT_EQ(data, std::string(255, 'a') + std::string(10, 'b') + std::string(255, 'c'));

    content[254] = '\0';
    content[510] = '\0';
    writeFile(m_path, content);
    EXPECT_EQ(m_entry.readDataFromFile(data, true), 0);
    EXPECT_EQ(data, std::string(254, 'a') + std::string(10, 'b'));
}

TEST_F(CINIImplFileTest, ReadingNotForReadingMakesAnEmptyFile)
{
    std::string data = "old";
    EXPECT_EQ(m_entry.readDataFromFile(data, true), -1);
    EXPECT_EQ(data, "old");
    EXPECT_FALSE(std::filesystem::exists(m_path));
    EXPECT_EQ(m_entry.readDataFromFile(data, false), 0);
    EXPECT_EQ(data, "");
    EXPECT_TRUE(std::filesystem::exists(m_path));

    writeFile(m_path, "content");
    EXPECT_EQ(m_entry.readDataFromFile(data, false), 0);
    EXPECT_EQ(readFile(m_path), "");
}

TEST_F(CINIImplFileTest, WritingReplacesTheWholeFile)
{
    writeFile(m_path, "something longer");
    EXPECT_EQ(m_entry.writeData2File("short"), 0);
    EXPECT_EQ(readFile(m_path), "short");
    EXPECT_EQ(m_entry.writeData2File(""), 0);
    EXPECT_EQ(readFile(m_path), "");
    CINIImpl nowhere(m_folder.file("missing/test.ini"), "A", "K");
    EXPECT_EQ(nowhere.writeData2File("x"), -1);
    std::string data;
    EXPECT_EQ(nowhere.readDataFromFile(data, false), -1);
}

TEST_F(CINIImplFileTest, AStringMayBeWrittenBare)
{
    EXPECT_EQ(m_entry.writeString("text", true), 0);
    EXPECT_EQ(readFile(m_path), "[A]\nK=text\n");
    EXPECT_EQ(m_entry.writeString("text", false), 0);
    EXPECT_EQ(readFile(m_path), "[A]\nK=\"text\"\n");
    EXPECT_EQ(m_entry.writeString(nullptr, true), -4);
    EXPECT_EQ(readFile(m_path), "[A]\nK=\"text\"\n");
}

TEST_F(CINIImplFileTest, AnOutputPointerMayNotBeNull)
{
    EXPECT_EQ(m_entry.readString(nullptr, 5), -4);
    EXPECT_EQ(m_entry.readInt(nullptr), -4);
    EXPECT_EQ(m_entry.readDouble(nullptr), -4);
    EXPECT_EQ(m_entry.readBool(nullptr), -4);
}

}  // namespace
}  // namespace nubrix
