#include "uvc/CameraTable.h"

#include <gmock/gmock.h>

namespace nubrix::uvc {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CameraTableTest : public testing::Test {
protected:
    static NodeInfo node(unsigned int number, const std::string &busPath, bool captures = true)
    {
        NodeInfo info;
        info.number = number;
        info.path = "/dev/video" + std::to_string(number);
        info.sysPath = "/sys/" + busPath + "/video" + std::to_string(number);
        info.captures = captures;
        if (!busPath.empty()) {
            info.usb.emplace();
            info.usb->sysPath = "/sys/" + busPath;
            info.usb->busPath = busPath;
        }
        return info;
    }
    static std::string pathOf(unsigned int number, const std::string &busPath)
    {
        return node(number, busPath).sysPath;
    }

    /// The changes after everything has settled: "+usb:1-1", "-usb:1-1".
    std::vector<std::string> changes()
    {
        m_now += CameraTable::kSettleTime;
        return changesNow();
    }
    std::vector<std::string> changesNow()
    {
        std::vector<std::string> all;
        for (const auto &change : table.takeChanges(m_now))
            all.push_back((change.connected ? "+" : "-") + change.camera.uri());
        return all;
    }
    void pass(std::chrono::milliseconds time) { m_now += time; }
    std::vector<std::string> uris() const
    {
        std::vector<std::string> all;
        for (const CameraInfo &camera : table.cameras())
            all.push_back(camera.uri());
        return all;
    }
    std::vector<unsigned int> nodesOf(const std::string &uri) const
    {
        std::vector<unsigned int> all;
        const auto camera = table.find(uri);
        for (const NodeInfo &each : camera ? camera->nodes : std::vector<NodeInfo>())
            all.push_back(each.number);
        return all;
    }
    void add(unsigned int number, const std::string &busPath, bool captures = true)
    {
        table.add(node(number, busPath, captures), m_now);
    }

    /// Fills the table as at the start, when nothing is reported.
    void fill(const std::vector<NodeInfo> &nodes)
    {
        table.fill(nodes, m_now);
        table.takeChanges(m_now);
    }
    void update(const std::vector<NodeInfo> &nodes) { table.update(nodes, m_now); }
    std::vector<std::string> due() const
    {
        std::vector<std::string> all;
        for (const auto &each : table.due(m_now))
            all.push_back(each.camera.uri());
        return all;
    }
    void postpone(const std::string &busPath) { table.postpone("/sys/" + busPath, m_now); }

    CameraTable table;

private:
    CameraTable::Time m_now{};
};

TEST_F(CameraTableTest, CamerasAttachedAtTheStartAreListedButNotReported)
{
    fill({node(0, "1-1"), node(1, "1-1", false), node(2, "1-1"), node(3, "1-2")});
    EXPECT_THAT(uris(), ElementsAre("usb:1-1", "usb:1-2"));
    EXPECT_THAT(nodesOf("usb:1-1"), ElementsAre(0, 2));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CameraTableTest, ACameraWithSeveralNodesIsReportedOnce)
{
    for (const unsigned int number : {3U, 2U, 1U, 0U})
        add(number, "1-1", number % 2 == 0);
    EXPECT_THAT(changes(), ElementsAre("+usb:1-1"));
    EXPECT_THAT(nodesOf("usb:1-1"), ElementsAre(0, 2));
    EXPECT_THAT(changes(), IsEmpty());
    for (const unsigned int number : {0U, 1U, 2U, 3U})
        table.remove(pathOf(number, "1-1"));
    EXPECT_THAT(changes(), ElementsAre("-usb:1-1"));
    EXPECT_THAT(uris(), IsEmpty());
}

TEST_F(CameraTableTest, ACameraIsReportedWhenItHasSettled)
{
    add(0, "1-1");
    pass(CameraTable::kSettleTime - std::chrono::milliseconds(1));
    add(1, "1-1", false);
    pass(CameraTable::kSettleTime - std::chrono::milliseconds(1));
    add(2, "1-1");
    pass(CameraTable::kSettleTime - std::chrono::milliseconds(1));
    EXPECT_THAT(changesNow(), IsEmpty());
    pass(std::chrono::milliseconds(1));
    EXPECT_THAT(changesNow(), ElementsAre("+usb:1-1"));
    EXPECT_THAT(nodesOf("usb:1-1"), ElementsAre(0, 2));
}

TEST_F(CameraTableTest, ACameraAttachedJustBeforeTheStartIsReportedWhenItHasSettled)
{
    NodeInfo young = node(0, "1-1");
    young.age = CameraTable::kSettleTime - std::chrono::milliseconds(1);
    fill({young, node(1, "1-1", false), node(2, "1-2")});
    EXPECT_THAT(uris(), ElementsAre("usb:1-2"));
    EXPECT_THAT(changesNow(), IsEmpty());
    pass(std::chrono::milliseconds(1));
    EXPECT_THAT(changesNow(), ElementsAre("+usb:1-1"));
}

TEST_F(CameraTableTest, ACameraThatIsDueCanBePostponed)
{
    add(0, "1-1");
    add(4, "1-2");
    EXPECT_THAT(due(), IsEmpty());
    pass(CameraTable::kSettleTime);
    EXPECT_THAT(due(), ElementsAre("usb:1-1", "usb:1-2"));
    postpone("1-1");
    EXPECT_THAT(changesNow(), ElementsAre("+usb:1-2"));
    EXPECT_THAT(changes(), ElementsAre("+usb:1-1"));
    postpone("1-1");
    EXPECT_THAT(uris(), ElementsAre("usb:1-1", "usb:1-2"));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CameraTableTest, ACameraIsNotPostponedForEver)
{
    add(0, "1-1");
    std::chrono::milliseconds waited{0};
    while (changesNow().empty()) {
        ASSERT_LE(waited, CameraTable::kLongestSettling);
        pass(std::chrono::milliseconds(10));
        waited += std::chrono::milliseconds(10);
        if (waited % CameraTable::kSettleTime == std::chrono::milliseconds(0))
            add(static_cast<unsigned int>(waited.count()), "1-1");
        else
            postpone("1-1");
    }
    EXPECT_EQ(waited, CameraTable::kLongestSettling);
    EXPECT_THAT(uris(), ElementsAre("usb:1-1"));
}

TEST_F(CameraTableTest, KnowsNodesOfAllKindsUntilTheyAreDetached)
{
    fill({node(0, "1-1"), node(1, "1-1", false)});
    add(2, "");
    for (const auto &path : {pathOf(0, "1-1"), pathOf(1, "1-1"), pathOf(2, "")})
        EXPECT_TRUE(table.knows(path)) << path;
    table.remove(pathOf(1, "1-1"));
    update({node(0, "1-1")});
    EXPECT_TRUE(table.knows(pathOf(0, "1-1")));
    EXPECT_FALSE(table.knows(pathOf(1, "1-1")));
    EXPECT_FALSE(table.knows(pathOf(2, "")));
}

TEST_F(CameraTableTest, ACameraIsListedOnlyAfterItWasReported)
{
    add(0, "1-1");
    EXPECT_TRUE(table.nextChange());
    EXPECT_THAT(changesNow(), IsEmpty());
    EXPECT_THAT(uris(), IsEmpty());
    EXPECT_FALSE(table.find("usb:1-1"));
    EXPECT_THAT(changes(), ElementsAre("+usb:1-1"));
    EXPECT_FALSE(table.nextChange());
    EXPECT_THAT(uris(), ElementsAre("usb:1-1"));
}

TEST_F(CameraTableTest, MetadataAloneIsNoCamera)
{
    add(1, "1-1", false);
    EXPECT_FALSE(table.nextChange());
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CameraTableTest, TheEventOfANodeThatIsKnownChangesNothing)
{
    fill({node(0, "1-1")});
    add(0, "1-1");
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(nodesOf("usb:1-1"), ElementsAre(0));
}

TEST_F(CameraTableTest, ACameraDetachedBeforeItSettledIsNotReported)
{
    add(0, "1-1");
    table.remove(pathOf(0, "1-1"));
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CameraTableTest, ACameraThatIsAttachedAgainIsReportedBothTimes)
{
    fill({node(0, "1-1")});
    table.remove(pathOf(0, "1-1"));
    add(0, "1-1");
    EXPECT_THAT(changesNow(), ElementsAre("-usb:1-1"));
    EXPECT_THAT(changes(), ElementsAre("+usb:1-1"));
}

TEST_F(CameraTableTest, ACameraThatLosesOneNodeStays)
{
    fill({node(0, "1-1"), node(2, "1-1")});
    table.remove(pathOf(0, "1-1"));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(nodesOf("usb:1-1"), ElementsAre(2));
}

TEST_F(CameraTableTest, NodesThatAreNotUsbAreListedSeparately)
{
    fill({node(0, "1-1"), node(4, ""), node(5, "", false)});
    ASSERT_EQ(table.otherNodes().size(), 1U);
    EXPECT_EQ(table.otherNodes()[0].path, "/dev/video4");
    EXPECT_THAT(uris(), ElementsAre("usb:1-1"));
    table.remove(pathOf(4, ""));
    EXPECT_THAT(table.otherNodes(), IsEmpty());
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(CameraTableTest, AnUpdateAddsAndRemovesWhatDiffers)
{
    fill({node(0, "1-1"), node(2, "1-2"), node(4, "")});
    update({node(2, "1-2"), node(6, "1-3"), node(7, "")});
    EXPECT_THAT(changes(), ElementsAre("-usb:1-1", "+usb:1-3"));
    EXPECT_THAT(uris(), ElementsAre("usb:1-2", "usb:1-3"));
    ASSERT_EQ(table.otherNodes().size(), 1U);
    EXPECT_EQ(table.otherNodes()[0].number, 7U);
}

TEST_F(CameraTableTest, AnUpdateReportsACameraThatWasPluggedInAgain)
{
    fill({node(0, "1-1"), node(2, "1-2")});
    NodeInfo again = node(0, "1-1");
    again.usb->address = 7;
    update({again, node(2, "1-2")});
    EXPECT_THAT(changes(), ElementsAre("-usb:1-1", "+usb:1-1"));
    EXPECT_THAT(nodesOf("usb:1-1"), ElementsAre(0));
}

TEST_F(CameraTableTest, FiftyCamerasAttachedAndDetachedAreEachReportedOnce)
{
    for (unsigned int i = 0; i < 50; ++i)
        add(i, "1-" + std::to_string(i));
    EXPECT_EQ(changes().size(), 50U);
    EXPECT_EQ(uris().size(), 50U);
    for (unsigned int i = 0; i < 50; ++i)
        table.remove(pathOf(i, "1-" + std::to_string(i)));
    EXPECT_EQ(changes().size(), 50U);
    EXPECT_THAT(uris(), IsEmpty());
}

}  // namespace
}  // namespace nubrix::uvc
