#include <gmock/gmock.h>

#include <thread>

#include "tests/base/CountedObject.h"

namespace nubrix {
namespace {

class RefCntrTest : public testing::Test {
protected:
    std::atomic<int> m_deaths{0};
};

TEST_F(RefCntrTest, ANewObjectHasNoReference)
{
    auto *const object = new CountedObject(m_deaths);
    EXPECT_EQ(object->count(), 0);
    EXPECT_EQ(object->incRef(), 1);
    EXPECT_EQ(object->release(), 0);
    EXPECT_EQ(m_deaths, 1);
}

TEST_F(RefCntrTest, TheLastReleaseDestroysIt)
{
    auto *const object = new CountedObject(m_deaths);
    EXPECT_EQ(object->incRef(), 1);
    EXPECT_EQ(object->incRef(), 2);
    EXPECT_EQ(object->release(), 1);
    EXPECT_EQ(m_deaths, 0);
    EXPECT_EQ(object->release(), 0);
    EXPECT_EQ(m_deaths, 1);
}

TEST_F(RefCntrTest, ASubclassDecidesWhatIsDoneWithIt)
{
    struct Immortal final : CountedObject {
        using CountedObject::CountedObject;
        ~Immortal() override = default;
        int release() override { return --m_count; }
    };
    {
        Immortal object(m_deaths);
        RefCntr &base = object;
        base.incRef();
        EXPECT_EQ(base.release(), 0);
        EXPECT_EQ(m_deaths, 0);
    }
    EXPECT_EQ(m_deaths, 1);
}

TEST_F(RefCntrTest, TheLastOfManyThreadsDestroysItOnce)
{
    for (int round = 0; round < 200; ++round) {
        auto *const object = new CountedObject(m_deaths);
        object->incRef();
        object->incRef();
        const auto use = [object] {
            for (int i = 0; i < 20; ++i) {
                object->incRef();
                object->release();
            }
            object->release();
        };
        std::thread other(use);
        use();
        other.join();
        ASSERT_EQ(m_deaths, round + 1);
    }
}

}  // namespace
}  // namespace nubrix
