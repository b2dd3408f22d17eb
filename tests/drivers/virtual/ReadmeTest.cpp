// The examples in the README of the virtual camera must work.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/Paths.h"
#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {
namespace {

TEST(ReadmeTest, ItsScenariosAreValid)
{
    std::ifstream file(paths::kVirtualReadme);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    const std::string fence = "```json\n";
    int found = 0;
    for (auto at = text.find(fence); at != std::string::npos; at = text.find(fence, at)) {
        at += fence.size();
        const auto end = text.find("```", at);
        ASSERT_NE(end, std::string::npos);
        const auto parsed = parseScenario(text.substr(at, end - at), ".");
        const auto *error = std::get_if<ScenarioError>(&parsed);
        EXPECT_EQ(error, nullptr) << error->text("example " + std::to_string(found + 1));
        ++found;
    }
    EXPECT_EQ(found, 4);
}

}  // namespace
}  // namespace nubrix::virtual_camera
