// Where the frames of a stream went, in figures and in words.
#include <thread>

#include "tests/LedgerCheck.h"
#include "tests/client/ClientFixture.h"

namespace nubrix {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(LossesTest, NoneWhereEveryFrameWasTaken)
{
    NubrixStreamLedger ledger = {};
    ledger.handedOver = ledger.delivered = ledger.released = 100;
    EXPECT_THAT(client::losses(ledger, microseconds(33333)), IsEmpty());
}

TEST(LossesTest, ASlowCallbackIsNamedWithItsTime)
{
    NubrixStreamLedger ledger = {};
    ledger.replaced = 37;
    ledger.delivered = 80;
    ledger.callbackMicroseconds = 80 * 48000;
    EXPECT_THAT(
        client::losses(ledger, microseconds(33333)),
        ElementsAre("37 replaced: the callback takes 48 ms, the camera gives a frame every 33 ms"));
    EXPECT_THAT(client::losses(ledger),
                ElementsAre("37 replaced: the callback takes 48 ms on average and at times longer, "
                            "the camera gives frames faster"));
    ledger.callbackMicroseconds = 80 * 540;
    EXPECT_THAT(
        client::losses(ledger, microseconds(1000)),
        ElementsAre("37 replaced: the callback takes 0.5 ms on average and at times longer, the "
                    "camera gives a frame every 1 ms"));
}

TEST(LossesTest, AReaderThatReadsTooLittleIsNamed)
{
    NubrixStreamLedger ledger = {};
    ledger.handedOver = 10;
    ledger.replaced = 8;
    EXPECT_THAT(client::losses(ledger), ElementsAre("8 replaced: nobody reads the stream"));
    ledger.toRecorders = ledger.recorded = 2;
    EXPECT_THAT(client::losses(ledger, milliseconds(20)),
                ElementsAre("8 replaced: a recorder had not begun or was still writing the frame "
                            "before, the camera gives a frame every 20 ms"));
    ledger.read = 2;
    EXPECT_THAT(client::losses(ledger, milliseconds(20)),
                ElementsAre("8 replaced: the application has read 2 of 10 frames, the camera gives "
                            "a frame every 20 ms"));
}

TEST(LossesTest, EveryOtherCauseHasALine)
{
    NubrixStreamLedger ledger = {};
    ledger.discarded = 1;
    ledger.unclaimed = 2;
    ledger.refused = 3;
    ledger.held = 8;
    ledger.longestHeldMicroseconds = 1200000;
    ledger.toRecorders = 30;
    ledger.recorded = 27;
    EXPECT_THAT(
        client::losses(ledger),
        ElementsAre("1 discarded: nobody took them before the stream was stopped or lost its "
                    "callback",
                    "2 unclaimed: the camera gave them while no stream was connected",
                    "3 requests of the driver refused: no frame was free; the application holds 8 "
                    "of this stream, the oldest for 1200 ms",
                    "3 not recorded: a recorder got 30 frames and has written 27; the disk is "
                    "full, or they are empty or of another stream's type"));
    ledger = {};
    ledger.refused = 9;
    ledger.driverKnows = 1;
    ledger.droppedWhileSlow = 4;
    ledger.lostOnWire = 5;
    ledger.damaged = 6;
    ledger.flagged = 7;
    EXPECT_THAT(client::losses(ledger),
                ElementsAre("4 dropped by the driver: no frame was free; the application holds 0 "
                            "of this stream",
                            "5 lost on the wire: they never reached the driver",
                            "6 damaged: the driver could not use them",
                            "7 short or damaged: the driver handed them over with flags"));
}

TEST(FrameIntervalTest, IsTheTimeBetweenTwoIndices)
{
    client::detail::FrameInterval interval;
    const auto add = [&](unsigned int index, unsigned long long us) {
        typedefNubrixFrame record = {};
        record.frameIndex = index;
        record.timestampLow = static_cast<unsigned int>(us);
        record.timestampHigh = static_cast<unsigned int>(us >> 32U);
        interval.add(record);
    };
    EXPECT_EQ(interval.value(), microseconds(0));
    add(0xfffffffe, 0xfffff000ULL);
    EXPECT_EQ(interval.value(), microseconds(0)) << "of one frame";
    add(2, 0xfffff000ULL + 4 * 33000);
    EXPECT_EQ(interval.value(), microseconds(33000)) << "also over lost frames";
    add(0, 500);
    add(1, 1500);
    EXPECT_EQ(interval.value(), microseconds(1000)) << "the camera began anew";
}

/// Frames come 100 times a second, however slowly they are taken.
class ClientLedgerTest : public ClientTest {
protected:
    ClientLedgerTest()
        : ClientTest(R"({"frame_rate": 100, "cameras": [{"serial": "ONE",
        "faults": [{"type": "short_frame", "at_frame": 7, "count": 1000000}]}]})")
    {
    }
};

TEST_F(ClientLedgerTest, AFunctionThatIsTooSlowIsNamed)
{
    Camera camera = Session().open();
    Stream depth = camera.start(StreamType::kDepth, [](const Frame &) {
        std::this_thread::sleep_for(milliseconds(50));  // a slow function
    });
    ASSERT_TRUE(eventually([&] {
        const NubrixStreamLedger now = depth.ledger();
        return now.delivered >= 3 && now.replaced >= 3;
    }));
    EXPECT_EQ(ledgerFault(depth.ledger()), "");
    depth.stop();
    const NubrixStreamLedger last = depth.ledger();
    EXPECT_EQ(ledgerFault(last), "");
    EXPECT_GE(last.replaced, 3U) << "the figures stay when the stream has ended";
    EXPECT_EQ(last.driverKnows, 1U);
    EXPECT_THAT(depth.losses(),
                testing::Contains(testing::ContainsRegex(
                    "^[0-9]+ replaced: the callback takes [0-9]+ ms, the camera gives a "
                    "frame every [0-9.]+ ms$")));
}

TEST_F(ClientLedgerTest, ARecordingHasOneForEachStream)
{
    Camera camera = Session().open();
    client::Recorder recorder =
        camera.record(m_folder.file("record.bin"), {StreamType::kColor, StreamType::kDepth});
    ASSERT_TRUE(eventually([&] { return recorder.ledgers()[1].recorded >= 10; }));
    recorder.finish();
    const auto ledgers = recorder.ledgers();
    ASSERT_EQ(ledgers.size(), 2U);
    for (const NubrixStreamLedger &ledger : ledgers) {
        EXPECT_EQ(ledgerFault(ledger), "");
        EXPECT_GT(ledger.recorded, 0U);
        EXPECT_LE(ledger.recorded, ledger.toRecorders);
    }
    EXPECT_THAT(recorder.losses(),
                testing::Contains(testing::ContainsRegex("^depth: [0-9]+ short or damaged: ")));
}

}  // namespace
}  // namespace nubrix
