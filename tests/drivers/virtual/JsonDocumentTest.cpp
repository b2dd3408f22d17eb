#include "virtual/JsonDocument.h"

#include <gmock/gmock.h>

namespace nubrix::virtual_camera {
namespace {

TEST(JsonDocumentTest, EveryValueKnowsItsPathAndTheLineOfItsKey)
{
    const JsonDocument document(
        "\n"                      // 1
        "{ \"a\": 1,\n"           // 2
        "  \"b\":\n"              // 3
        "    [ 10, 20\n"          // 4
        "    , 30\n"              // 5
        "    , {\n"               // 6
        "        \"c\": \"x\"\n"  // 7
        "      }, true, null\n"   // 8
        "    , 1.5 ] }");         // 9
    const JsonValue root = document.root();
    EXPECT_EQ(root.path(), "");
    EXPECT_EQ(root.line(), 2);
    EXPECT_EQ(root.member("a")->line(), 2);
    const JsonValue b = *root.member("b");
    EXPECT_EQ(b.path(), "b");
    EXPECT_EQ(b.line(), 3);
    const auto items = b.items();
    const int lines[] = {4, 4, 5, 6, 8, 8, 9};
    ASSERT_EQ(items.size(), std::size(lines));
    for (std::size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(items[i].line(), lines[i]) << i;
        EXPECT_EQ(items[i].path(), "b[" + std::to_string(i) + "]");
    }
    const JsonValue c = *items[3].member("c");
    EXPECT_EQ(c.path(), "b[3].c");
    EXPECT_EQ(c.line(), 7);
    EXPECT_EQ(c.text(), "x");
}

TEST(JsonDocumentTest, ANumberAtTheEndOfALineIsOnThatLine)
{
    const JsonDocument document("[1\n,\n2\n]");
    EXPECT_EQ(document.root().items()[0].line(), 1);
    EXPECT_EQ(document.root().items()[1].line(), 3);
}

TEST(JsonDocumentTest, CarriageReturnsDoNotCountAsLines)
{
    const JsonDocument document("{\r\n\"a\": 1,\r\n\"b\": 2}\r\n");
    EXPECT_EQ(document.root().member("b")->line(), 3);
}

TEST(JsonDocumentTest, EqualKeysOfDifferentObjectsDoNotClash)
{
    const JsonDocument document(R"({"a": {"x": 1}, "b": {"x": 2}, "c": [{"x": 3}, {"x": 4}]})");
    EXPECT_EQ(document.root().member("b")->member("x")->integer(0, 9), 2);
    EXPECT_EQ(document.root().member("c")->items()[1].member("x")->integer(0, 9), 4);
}

TEST(JsonDocumentTest, KeysThatLookLikePathsDoNotClashWithPaths)
{
    const JsonDocument document("{\"a\": {\"b\": 1},\n\"a.b\": 2}");
    EXPECT_EQ(document.root().member("a")->member("b")->line(), 1);
    EXPECT_EQ(document.root().member("a.b")->line(), 2);
}

TEST(JsonDocumentTest, AnEmptyKeyDoesNotClashWithTheRoot)
{
    const JsonDocument document("{\n\"\": 1,\n\"a\": {\"\": 2}}");
    EXPECT_EQ(document.root().line(), 1);
    EXPECT_EQ(document.root().member("")->path(), "\"\"");
    EXPECT_EQ(document.root().member("")->line(), 2);
    EXPECT_EQ(document.root().member("a")->member("")->path(), "a.\"\"");
}

TEST(JsonDocumentTest, MissingMembersAreEmpty)
{
    const JsonDocument document("{}");
    EXPECT_FALSE(document.root().member("a"));
    EXPECT_TRUE(document.root().members().empty());
}

TEST(JsonDocumentTest, NumbersKeepTheirRange)
{
    const JsonDocument document("[-5, 5, 9223372036854775808, 0.5]");
    const auto items = document.root().items();
    EXPECT_EQ(items[0].integer(-5, 5), -5);
    EXPECT_EQ(items[1].integer(-5, 5), 5);
    EXPECT_THROW(items[0].integer(-4, 5), ScenarioError);
    EXPECT_THROW(items[1].integer(-5, 4), ScenarioError);
    EXPECT_THROW(items[2].integer(INT64_MIN, INT64_MAX), ScenarioError);
    EXPECT_THROW(items[3].integer(0, 1), ScenarioError);
    EXPECT_EQ(items[3].number(0.0, 1.0), 0.5);
    EXPECT_EQ(items[1].number(0.0, 5.0), 5.0);
    EXPECT_THROW(items[3].number(0.6, 1.0), ScenarioError);
}

}  // namespace
}  // namespace nubrix::virtual_camera
