#include "common/Text.h"

#include <gmock/gmock.h>

namespace nubrix {
namespace {

TEST(CleanTextTest, PrintableTextStays)
{
    for (const char *text :
         {"", " a b ", "~", "\xc2\xa0", "\xdf\xbf", "\xe0\xa0\x80", "\xec\xbf\xbf", "\xed\x9f\xbf",
          "\xee\x80\x80", "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf",
          "\xe6\xb7\xb1\xe5\xba\xa6 \xf0\x9f\x93\xb7"})
        EXPECT_EQ(cleanText(text), text);
}

TEST(CleanTextTest, EveryControlCharacterIsReplaced)
{
    for (unsigned int code = 0; code < 0xa0; ++code) {
        std::string text = "a";
        if (code >= 0x80)
            text += '\xc2';
        text += static_cast<char>(code);
        text += 'b';
        const bool isControl = code < 0x20 || code >= 0x7f;
        EXPECT_EQ(cleanText(text), isControl ? "a?b" : text) << code;
    }
}

TEST(CleanTextTest, InvalidBytesAreReplacedOneByOne)
{
    for (unsigned int byte = 0x80; byte < 0x100; ++byte) {
        const std::string text = {'a', static_cast<char>(byte), 'b'};
        EXPECT_EQ(cleanText(text), "a?b") << byte;
    }
    EXPECT_EQ(cleanText("\xc0\x80"), "??");            // longer than necessary
    EXPECT_EQ(cleanText("\xc1\xbf"), "??");            // the same
    EXPECT_EQ(cleanText("\xe0\x9f\xbf"), "???");       // the same
    EXPECT_EQ(cleanText("\xf0\x8f\xbf\xbf"), "????");  // the same
    EXPECT_EQ(cleanText("\xed\xa0\x80"), "???");       // half of a surrogate pair
    EXPECT_EQ(cleanText("\xed\xbf\xbf"), "???");       // the other half
    EXPECT_EQ(cleanText("\xf4\x90\x80\x80"), "????");  // beyond the last character
    EXPECT_EQ(cleanText("\xf8\x88\x80\x80\x80"), "?????");
}

TEST(CleanTextTest, ATruncatedCharacterIsReplacedAndTheNextOneStays)
{
    EXPECT_EQ(cleanText("\xc3"), "?");
    EXPECT_EQ(cleanText("\xe6\xb7"), "??");
    EXPECT_EQ(cleanText("\xf0\x9f\x93"), "???");
    EXPECT_EQ(cleanText("\xe6\xb7"
                        "a"),
              "??a");
    EXPECT_EQ(cleanText("\xe6\xc3\xa9"), "?\xc3\xa9");
}

TEST(CopyTextTest, CutsBetweenCharacters)
{
    for (const std::string character : {"a", "\xc3\xa9", "\xe6\xb7\xb1", "\xf0\x9f\x93\xb7"}) {
        std::string text;
        while (text.size() < 20)
            text += character;
        char field[12] = "01234567890";
        copyText(field, text);
        const std::size_t kept = 11 / character.size() * character.size();
        EXPECT_EQ(std::string(field, sizeof field),
                  text.substr(0, kept) + std::string(sizeof field - kept, '\0'));
    }
}

TEST(CopyTextTest, CleansTheText)
{
    char field[8] = "";
    copyText(field, "a\x1b\xc2\x9b\xff");
    EXPECT_STREQ(field, "a???");
}

TEST(FieldTextTest, IsCleanAndEndsWithTheFieldAtTheLatest)
{
    const char open[4] = {'a', '\x9b', 'b', '\xe6'};
    EXPECT_EQ(fieldText(open), "a?b?");
    const char closed[4] = {'a', '\0', 'b', 'c'};
    EXPECT_EQ(fieldText(closed), "a");
}

}  // namespace
}  // namespace nubrix
