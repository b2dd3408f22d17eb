#include <gmock/gmock.h>

#include <string>
#include <typeinfo>

#include "nubrix/client/error.h"

namespace nubrix {
namespace {

using client::Error;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::type_info &classOf(int status)
{
    try {
        client::detail::fail("readFrame", "depth", status);
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), status);
        return typeid(error);
    }
}

TEST(ClientErrorTest, TheStatusDecidesTheClass)
{
    EXPECT_EQ(classOf(-8), typeid(client::Unsupported));
    EXPECT_EQ(classOf(-9), typeid(client::Unplugged));
    EXPECT_EQ(classOf(-10), typeid(client::Unplugged));
    EXPECT_EQ(classOf(-11), typeid(client::Timeout));
    for (const int status : {-1, -2, -3, -4, -5, -12, -13, 7})
        EXPECT_EQ(classOf(status), typeid(Error)) << status;
}

TEST(ClientErrorTest, EveryTextNamesWhatFailedAndWhatToDo)
{
    for (const auto &row : client::detail::kFailureTexts) {
        const char *const operation = row.operation ? row.operation : "readFrame";
        const int status = row.status ? row.status : -77;
        const std::string text = client::detail::describe(operation, "usb:1", status, row.code);
        EXPECT_THAT(text, StartsWith(std::string(operation) + " (usb:1): " + row.cause));
        EXPECT_THAT(text, HasSubstr("status " + std::to_string(status)));
        EXPECT_THAT(text, EndsWith(std::string("; ") + row.advice));
        EXPECT_GT(std::string(row.advice).size(), 10U);
    }
}

TEST(ClientErrorTest, ACallThatSucceedsThrowsNothingAndAnOldErrorNumberIsNotItsOwn)
{
    *ErrnoLocal() = NUBRIX_ERR_OPEN_FAILED;
    EXPECT_NO_THROW(client::require("readFrame", "", [] { return 0; }));
    *ErrnoLocal() = NUBRIX_ERR_OPEN_FAILED;
    try {
        client::require("readFrame", "", [] { return -1; });
        FAIL() << "it succeeded";
    } catch (const Error &error) {
        EXPECT_EQ(error.code(), 0U);
        EXPECT_STREQ(error.operation(), "readFrame");
    }
    try {
        client::require("readFrame", "", [] {
            *ErrnoLocal() = NUBRIX_ERR_NO_FRAME;
            return -11;
        });
        FAIL() << "it succeeded";
    } catch (const client::Timeout &error) {
        EXPECT_EQ(error.code(), NUBRIX_ERR_NO_FRAME);
        EXPECT_THAT(error.what(), HasSubstr("error 0x80300107"));
    }
}

}  // namespace
}  // namespace nubrix
