#include "net/CameraFinder.h"

#include <gmock/gmock.h>

#include "tests/drivers/net/DistantCamera.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

constexpr const char *kAddress = "127.0.0.50";
constexpr const char *kUnused = "127.0.0.49";

/// The network has the loopback alone, whose addresses all belong to this machine.
class CameraFinderTest : public NetTest {
protected:
    static UdpSocket::Clock::time_point deadline() { return UdpSocket::Clock::now() + kDeadline; }
    /// Until an answer arrives or none is possible.
    static std::optional<CameraFinder::Answer> awaitAnswer(CameraFinder &finder)
    {
        const auto end = deadline();
        std::optional<CameraFinder::Answer> answer;
        while (!answer && finder.isAnswerPossible() && UdpSocket::Clock::now() < end)
            answer = finder.awaitAnswer(end);
        return answer;
    }
};

TEST_F(CameraFinderTest, NoAnswerIsPossibleWhereNobodyReceivesRequests)
{
    CameraFinder everywhere(true);
    everywhere.sendRequests({kUnused, kAddress});
    EXPECT_FALSE(awaitAnswer(everywhere));
    EXPECT_FALSE(everywhere.isAnswerPossible());
}

TEST_F(CameraFinderTest, NoAnswerIsPossibleWithoutARoute)
{
    CameraFinder finder(false);
    finder.sendRequests({"10.1.7.20"});
    EXPECT_FALSE(finder.isAnswerPossible());
}

TEST_F(CameraFinderTest, NoAnswerIsPossibleWhenNothingIsSearched)
{
    const DistantCamera camera("127.0.0.1");
    CameraFinder finder(false);
    finder.sendRequests({});
    EXPECT_FALSE(finder.isAnswerPossible());
}

TEST_F(CameraFinderTest, AnAnswerIsPossibleUntilAllCamerasHaveAnswered)
{
    const DistantCamera own("127.0.0.1");
    const DistantCamera other(kAddress);
    CameraFinder finder(true);
    finder.sendRequests({kAddress});
    std::set<std::string> found;
    while (found.size() < 2) {
        EXPECT_TRUE(finder.isAnswerPossible());
        const auto answer = awaitAnswer(finder);
        ASSERT_TRUE(answer);
        found.insert(answer->camera.address);
    }
    EXPECT_THAT(found, testing::ElementsAre("127.0.0.1", kAddress));
    EXPECT_FALSE(awaitAnswer(finder)) << "the loopback has unused addresses, too";
    EXPECT_FALSE(finder.isAnswerPossible());
}

TEST_F(CameraFinderTest, ACameraThatDoesNotAnswerIsAwaited)
{
    DistantCamera camera(kAddress);
    camera.setMuted();
    CameraFinder finder(false);
    finder.sendRequests({kAddress});
    ASSERT_TRUE(camera.awaitFirstRequest());
    EXPECT_FALSE(finder.awaitAnswer(UdpSocket::Clock::now() + std::chrono::milliseconds(50)));
    EXPECT_TRUE(finder.isAnswerPossible());
}

TEST_F(CameraFinderTest, TheRefusalOfARequestDoesNotSuppressTheNextOne)
{
    const DistantCamera camera(kAddress);
    CameraFinder finder(false);
    for (int round = 0; round < 20; ++round) {
        finder.sendRequests({kUnused, kAddress});
        std::optional<CameraFinder::Answer> answer;
        for (const auto end = deadline(); !answer && UdpSocket::Clock::now() < end;)
            answer = finder.awaitAnswer(end);
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->camera.address, kAddress);
    }
}

}  // namespace
}  // namespace nubrix::net
