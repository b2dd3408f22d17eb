#include "base/xp.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/base/CountedObject.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

class XpTest : public testing::Test {
protected:
    XpTest()
    {
        m_first->incRef();
        m_second->incRef();
    }
    ~XpTest() override
    {
        m_first->release();
        m_second->release();
        EXPECT_EQ(m_deaths, 2);
    }

    std::atomic<int> m_deaths{0};
    CountedObject *const m_first = new CountedObject(m_deaths);
    CountedObject *const m_second = new CountedObject(m_deaths);
};

TEST_F(XpTest, ANewOneHoldsNothing)
{
    const xp<CountedObject> empty;
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty.get(), nullptr);
    const xp<CountedObject> null(nullptr);
    EXPECT_FALSE(null);
}

TEST_F(XpTest, ConstructionTakesAReferenceAndDestructionReleasesIt)
{
    {
        const xp<CountedObject> pointer(m_first);
        EXPECT_TRUE(pointer);
        EXPECT_EQ(pointer.get(), m_first);
        EXPECT_EQ(&*pointer, m_first);
        EXPECT_EQ(pointer->count(), 2);
    }
    EXPECT_EQ(m_first->count(), 1);
}

TEST_F(XpTest, ACopyHoldsAReferenceOfItsOwn)
{
    const xp<CountedObject> original(m_first);
    {
        const xp<CountedObject> copy(original);
        EXPECT_EQ(copy.get(), m_first);
        EXPECT_EQ(m_first->count(), 3);
    }
    EXPECT_EQ(m_first->count(), 2);
}

TEST_F(XpTest, AssignmentReleasesWhatWasHeld)
{
    xp<CountedObject> pointer(m_first);
    pointer = m_second;
    EXPECT_EQ(m_first->count(), 1);
    EXPECT_EQ(m_second->count(), 2);
    const xp<CountedObject> other(m_first);
    pointer = other;
    EXPECT_EQ(m_first->count(), 3);
    EXPECT_EQ(m_second->count(), 1);
}

TEST_F(XpTest, AssigningNullReleasesWhatWasHeld)
{
    xp<CountedObject> pointer(m_first);
    pointer = nullptr;
    EXPECT_FALSE(pointer);
    EXPECT_EQ(m_first->count(), 1);
    pointer = nullptr;
    EXPECT_EQ(m_first->count(), 1);
}

TEST_F(XpTest, AssigningWhatIsHeldKeepsItAliveWithTheSameCount)
{
    auto *const object = new CountedObject(m_deaths);
    xp<CountedObject> pointer(object);
    pointer = object;
    EXPECT_EQ(m_deaths, 0);
    EXPECT_EQ(pointer->count(), 1);
    const xp<CountedObject> &self = pointer;
    pointer = self;
    EXPECT_EQ(m_deaths, 0);
    EXPECT_EQ(pointer->count(), 1);
    pointer = nullptr;
    EXPECT_EQ(m_deaths, 1);
    m_deaths = 0;
}

std::vector<std::string> g_counting;

struct Witness {
    explicit Witness(const char *its) : name(its) {}
    int incRef() { return g_counting.push_back("incRef " + name), 1; }
    int release() { return g_counting.push_back("release " + name), 0; }
    std::string name;
};

TEST(XpOrderTest, TheNewReferenceIsTakenBeforeTheOldOneIsDropped)
{
    Witness first("first");
    Witness second("second");
    g_counting.clear();
    {
        xp<Witness> pointer(&first);
        pointer = &second;
    }
    EXPECT_THAT(g_counting,
                ElementsAre("incRef first", "incRef second", "release first", "release second"));
}

TEST(XpOrderTest, CountingGoesThroughTheVirtualOperations)
{
    struct Counting final : NubrixFrameRef {
        int incRef() override { return ++taken; }
        int release() override { return ++dropped; }
        unsigned int bufferSize() const override { return 0; }
        int taken = 0;
        int dropped = 0;
    };
    Counting frame;
    {
        const xp<NubrixFrameRef> pointer(&frame);
        EXPECT_EQ(frame.taken, 1);
        EXPECT_EQ(frame.dropped, 0);
    }
    EXPECT_EQ(frame.taken, 1);
    EXPECT_EQ(frame.dropped, 1);
}

}  // namespace
}  // namespace nubrix
