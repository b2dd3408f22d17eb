// The ledger of a stream as an application asks for it.
#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "tests/LedgerCheck.h"
#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

constexpr unsigned int kType = NUBRIX_STREAM_DEPTH;
constexpr unsigned int kSize = sizeof(NubrixStreamLedger);

class Ledger : public DeviceFixture {
protected:
    int ask(NubrixStream *stream, NubrixStreamLedger *ledger)
    {
        return m_library.exported<int(NubrixStream *, NubrixStreamLedger *)>("nubrixStreamLedger")(
            stream, ledger);
    }
    NubrixStreamLedger ledger()
    {
        NubrixStreamLedger ledger;
        std::memset(&ledger, 0xee, sizeof(ledger));
        ledger.size = kSize;
        EXPECT_EQ(ask(m_stream, &ledger), 0);
        EXPECT_EQ(ledger.size, kSize);
        EXPECT_EQ(ledgerFault(ledger), "");
        return ledger;
    }
    void setCounters(std::vector<unsigned int> values)
    {
        const auto *const bytes = reinterpret_cast<const unsigned char *>(values.data());
        m_usb.setPropertyValue(NUBRIX_PROPERTY_STREAM_COUNTERS + kType,
                               {bytes, bytes + values.size() * sizeof(values[0])});
    }

    NubrixStream *const m_stream = opened(kType);
};

TEST_F(Ledger, FollowsAFrameFromTheDriverToTheApplicationAndBack)
{
    ASSERT_TRUE(m_usb.deliver(kType, {1}));
    ASSERT_TRUE(m_usb.deliver(kType, {2}));
    EXPECT_EQ(ledger().handedOver, 2U);
    EXPECT_EQ(ledger().replaced, 1U);
    EXPECT_EQ(ledger().queued, 1U);
    typedefNubrixFrame *frame = nullptr;
    ASSERT_EQ(context().readFrame(m_stream, &frame, 0), 0);
    EXPECT_EQ(ledger().read, 1U);
    EXPECT_EQ(ledger().held, 1U);
    EXPECT_EQ(context().releaseFrame(frame), 0);
    EXPECT_EQ(ledger().held, 0U);
    EXPECT_EQ(ledger().released, 1U);
}

TEST_F(Ledger, IsUnknownToADriverThatDoesNotCount)
{
    EXPECT_EQ(ledger().driverKnows, 0U);
    setCounters({1, 2, 3, 4});
    EXPECT_EQ(ledger().driverKnows, 0U) << "a property of another size is another property";
    EXPECT_EQ(ledger().lostOnWire, 0U);
}

TEST_F(Ledger, HasWhatTheDriverKnows)
{
    setCounters({1, 2, 3, 4, 5});
    const NubrixStreamLedger known = ledger();
    EXPECT_EQ(known.driverKnows, 1U);
    EXPECT_EQ(known.flagged, 2U);
    EXPECT_EQ(known.droppedWhileSlow, 3U);
    EXPECT_EQ(known.damaged, 4U);
    EXPECT_EQ(known.lostOnWire, 5U);
}

TEST_F(Ledger, RefusesWhatItCannotFill)
{
    const Outcome badArgument = {-4, 0, {}};
    EXPECT_EQ(outcome([&] { return ask(m_stream, nullptr); }), badArgument);
    for (unsigned int size = 0; size < 16; ++size) {
        NubrixStreamLedger record = {};
        record.size = size;
        EXPECT_EQ(outcome([&] { return ask(m_stream, &record); }), badArgument);
        EXPECT_EQ(record.size, size);
    }
    NubrixStreamLedger record = {};
    record.size = kSize;
    EXPECT_EQ(outcome([&] { return ask(unknownHandle<NubrixStream>(), &record); }),
              (Outcome{-13, NUBRIX_ERR_INVALID_STREAM, {kInvalidStream}}));
    EXPECT_EQ(record.size, kSize);
}

// Programs are built with older and newer records than the library's.
TEST_F(Ledger, FillsARecordOfEachSizeAndNothingBeyondIt)
{
    ASSERT_TRUE(m_usb.deliver(kType, {1}));
    setCounters({1, 2, 3, 4, 5});
    const NubrixStreamLedger complete = ledger();
    for (unsigned int size = 16; size < 2 * kSize; ++size) {
        NubrixStreamLedger records[2];
        auto *const bytes = reinterpret_cast<unsigned char *>(records);
        std::memset(bytes, 0xee, sizeof(records));
        records[0].size = size;
        ASSERT_EQ(ask(m_stream, records), 0);
        const unsigned int filled = records[0].size;
        EXPECT_EQ(filled, std::min(size, kSize) / 8 * 8);
        EXPECT_EQ(std::memcmp(&bytes[4], reinterpret_cast<const unsigned char *>(&complete) + 4,
                              filled - 4),
                  0);
        for (std::size_t i = filled; i < sizeof(records); ++i)
            ASSERT_EQ(bytes[i], i < size ? 0 : 0xee) << i << " of " << size;
    }
}

TEST_F(Ledger, CanBeAskedForWithinACallback)
{
    struct Receiver {
        std::function<void(NubrixStream *, typedefNubrixFrame *)> call;
        Counter calls;
        static void onFrame(NubrixStream *stream, typedefNubrixFrame *frame, void *user)
        {
            auto *const self = static_cast<Receiver *>(user);
            self->call(stream, frame);
            self->calls.add();
        }
    } receiver;
    NubrixStreamLedger seen = {};
    seen.size = kSize;
    receiver.call = [&](NubrixStream *stream, typedefNubrixFrame *frame) {
        EXPECT_EQ(ask(stream, &seen), 0);
        EXPECT_EQ(context().releaseFrame(frame), 0);
    };
    ASSERT_EQ(context().setStreamCallback(m_stream, &Receiver::onFrame, &receiver), 0);
    ASSERT_TRUE(m_usb.deliver(kType, {1}));
    ASSERT_TRUE(receiver.calls.reaches(1));
    EXPECT_EQ(seen.delivered, 1U);
    EXPECT_EQ(seen.held, 1U);
    EXPECT_EQ(ledger().released, 1U);
}

/// Before there is a context, and after it is deleted.
class LedgerWithoutContext : public LibraryFixture {};

TEST_F(LedgerWithoutContext, IsRefused)
{
    auto *const ask =
        m_library.exported<int(NubrixStream *, NubrixStreamLedger *)>("nubrixStreamLedger");
    NubrixStreamLedger record = {};
    record.size = kSize;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ask(unknownHandle<NubrixStream>(), &record), -2);
        EXPECT_EQ(m_library.errorNumber(), NUBRIX_ERR_NOT_INITIALIZED);
        context();
        EXPECT_EQ(ask(unknownHandle<NubrixStream>(), &record), -2) << "not initialized";
        m_library.deleteContext(&context());
    }
}

}  // namespace
}  // namespace nubrix
