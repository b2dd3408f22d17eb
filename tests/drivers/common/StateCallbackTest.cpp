#include "common/DriverParts.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace nubrix {
namespace {

TEST(StateCallbackTest, PassesCleanTexts)
{
    std::string passed;
    StateCallback callback;
    callback.set(
        [](const char *uri, const char *serial, const char *location, unsigned int, void *user) {
            *static_cast<std::string *>(user) = std::string(uri) + serial + location;
        },
        &passed);
    callback.notify("u\x1b", "s\x9b", "l\xc2\x9b", true);
    EXPECT_EQ(passed, "u?s?l?");
}

void takeOne(const char *, const char *, const char *, unsigned int, void *user)
{
    EXPECT_EQ(*static_cast<int *>(user), 1);
}

void takeTwo(const char *, const char *, const char *, unsigned int, void *user)
{
    EXPECT_EQ(*static_cast<int *>(user), 2);
}

TEST(StateCallbackTest, IsChangedTogetherWithItsUser)
{
    StateCallback callback;
    int one = 1;
    int two = 2;
    callback.set(&takeOne, &one);
    std::thread changing([&] {
        for (int i = 0; i < 2000; ++i) {
            callback.set(&takeTwo, &two);
            callback.set(&takeOne, &one);
        }
    });
    for (int i = 0; i < 2000; ++i)
        callback.notify("uri", "serial", "location", true);
    changing.join();
}

}  // namespace
}  // namespace nubrix
