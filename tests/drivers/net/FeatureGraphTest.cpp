#include "net/FeatureGraph.h"

#include <gtest/gtest.h>

#include <string>

namespace nubrix::net {
namespace {

constexpr int kAllowed = 64;

std::string feature(const std::string &name, const std::string &parts)
{
    return "<IntSwissKnife Name=\"" + name + "\">" + parts + "<Formula>1</Formula></IntSwissKnife>";
}

std::string variable(const std::string &name)
{
    return "<pVariable Name=\"V\">" + name + "</pVariable>";
}

std::string number(int i)
{
    return "F" + std::to_string(1000 + i);
}

/// A chain of features, whose names go up or down.
std::string chain(int length, bool goesUp)
{
    std::string all;
    for (int i = 0; i < length; ++i) {
        const int next = goesUp ? i + 1 : i - 1;
        const bool isLast = next < 0 || next == length;
        all += feature(number(i), variable(isLast ? "Nothing" : number(next)));
    }
    return all;
}

bool canCompute(const std::string &features)
{
    const ObjectPtr<ArvDevice> device(arv_fake_device_new("1", nullptr));
    const std::string text =
        "<?xml version=\"1.0\"?><RegisterDescription>" + features + "</RegisterDescription>";
    const ObjectPtr<ArvGc> description(arv_gc_new(device.get(), text.data(), text.size()));
    return description && isComputable(*description);
}

TEST(FeatureGraphTest, AChainIsAsLongAsItIsWhateverItsFeaturesAreCalled)
{
    for (const bool goesUp : {true, false}) {
        EXPECT_TRUE(canCompute(chain(kAllowed, goesUp))) << goesUp;
        EXPECT_FALSE(canCompute(chain(kAllowed + 1, goesUp))) << goesUp;
        EXPECT_FALSE(canCompute(chain(100 * kAllowed, goesUp))) << goesUp;
    }
}

TEST(FeatureGraphTest, AFeatureOfManyOthersIsAllowedAndOneOfTooManyIsNot)
{
    // Each level doubles what the last one is looked at for.
    const auto pyramid = [](int levels) {
        std::string all = feature(number(0), variable("Nothing"));
        for (int i = 1; i < levels; ++i)
            all += feature(number(i), variable(number(i - 1)) + variable(number(i - 1)));
        return all;
    };
    EXPECT_TRUE(canCompute(pyramid(15)));
    EXPECT_FALSE(canCompute(pyramid(18)));
}

TEST(FeatureGraphTest, AFeatureThatDependsOnItselfIsRefused)
{
    EXPECT_FALSE(canCompute(feature("A", variable("A"))));
    EXPECT_FALSE(canCompute(feature("A", variable("B")) + feature("B", variable("A"))));
    EXPECT_TRUE(canCompute(feature("A", variable("B")) + feature("B", variable("C"))));
}

}  // namespace
}  // namespace nubrix::net
