#include "base/sigslot.h"

#include <gmock/gmock.h>

#include <memory>
#include <vector>

#include "tests/fakes/FailingNew.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class Policy>
class SigslotTest : public testing::Test {
protected:
    using Signal = sigslot::signal1<int, Policy>;

    // Writes the values it is called with, its own name before each.
    class Receiver : public sigslot::has_slots<Policy> {
    public:
        Receiver(std::vector<int> &log, int name) : m_log(log), m_name(name) {}
        void onValue(int value) { m_log.push_back(m_name + value); }
        void onOther(int value) { m_log.push_back(-m_name - value); }

    private:
        std::vector<int> &m_log;
        int m_name;
    };

    void connect(Receiver &receiver) { connect(m_signal, receiver); }
    void connect(Signal &sender, Receiver &receiver)
    {
        sender.connect(&receiver, &Receiver::onValue);
    }

    std::vector<int> m_log;
    Signal m_signal;
    Receiver m_first{m_log, 10};
    Receiver m_second{m_log, 20};
    Receiver m_third{m_log, 30};
};

using Policies = testing::Types<sigslot::single_threaded, sigslot::multi_threaded_local>;
TYPED_TEST_SUITE(SigslotTest, Policies);

TYPED_TEST(SigslotTest, WithoutConnectionsAnEmissionDoesNothing)
{
    this->m_signal.emit(1);
    EXPECT_THAT(this->m_log, IsEmpty());
}

TYPED_TEST(SigslotTest, EveryoneIsCalledInTheOrderOfConnection)
{
    this->connect(this->m_second);
    this->connect(this->m_third);
    this->connect(this->m_first);
    this->m_signal.emit(1);
    this->m_signal(2);
    EXPECT_THAT(this->m_log, ElementsAre(21, 31, 11, 22, 32, 12));
}

TYPED_TEST(SigslotTest, AReceiverConnectedTwiceIsCalledTwice)
{
    this->connect(this->m_first);
    this->m_signal.connect(&this->m_first, &TestFixture::Receiver::onOther);
    this->m_signal.emit(1);
    EXPECT_THAT(this->m_log, ElementsAre(11, -11));
    this->m_signal.disconnect(&this->m_first);
    this->m_signal.emit(2);
    EXPECT_THAT(this->m_log, ElementsAre(11, -11));
}

TYPED_TEST(SigslotTest, ADisconnectedReceiverIsNotCalledAndTheOthersAre)
{
    this->connect(this->m_first);
    this->connect(this->m_second);
    this->m_signal.disconnect(&this->m_first);
    this->m_signal.disconnect(&this->m_third);
    this->m_signal.emit(1);
    EXPECT_THAT(this->m_log, ElementsAre(21));
}

TYPED_TEST(SigslotTest, ASignalMayLeaveAllItsReceivers)
{
    this->connect(this->m_first);
    this->connect(this->m_second);
    this->m_signal.disconnect_all();
    this->m_signal.emit(1);
    EXPECT_THAT(this->m_log, IsEmpty());
    this->connect(this->m_second);
    this->m_signal.emit(2);
    EXPECT_THAT(this->m_log, ElementsAre(22));
}

TYPED_TEST(SigslotTest, AReceiverMayLeaveAllItsSignals)
{
    typename TestFixture::Signal other;
    this->connect(this->m_first);
    this->connect(this->m_second);
    this->connect(other, this->m_first);
    this->m_first.disconnect_all();
    this->m_signal.emit(1);
    other.emit(2);
    EXPECT_THAT(this->m_log, ElementsAre(21));
    this->connect(this->m_first);
    this->m_signal.emit(3);
    EXPECT_THAT(this->m_log, ElementsAre(21, 23, 13));
}

TYPED_TEST(SigslotTest, ADestroyedReceiverIsForgotten)
{
    {
        typename TestFixture::Receiver shortLived(this->m_log, 40);
        this->connect(shortLived);
        this->m_signal.emit(1);
    }
    this->m_signal.emit(2);
    EXPECT_THAT(this->m_log, ElementsAre(41));
}

TYPED_TEST(SigslotTest, ASignalMayDieBeforeItsReceivers)
{
    auto shortLived = std::make_unique<typename TestFixture::Signal>();
    this->connect(*shortLived, this->m_first);
    this->connect(this->m_first);
    shortLived.reset();
    this->m_signal.emit(1);
    this->m_first.disconnect_all();
    this->m_signal.emit(2);
    EXPECT_THAT(this->m_log, ElementsAre(11));
}

// The receiver's own policy need not be the signal's.
class Plain : public sigslot::has_slots<sigslot::single_threaded> {
public:
    void onSignal() { ++calls; }
    int calls = 0;
};

TYPED_TEST(SigslotTest, AConnectionWithoutMemoryIsNotMade)
{
    this->connect(this->m_first);
    const auto connectSecond = [&] { this->connect(this->m_second); };
    const auto onlyTheFirstIsCalled = [&] {
        this->m_log.clear();
        this->m_signal.emit(1);
        EXPECT_THAT(this->m_log, ElementsAre(11));
    };
    EXPECT_EQ(nubrix::failEachAllocation(connectSecond, onlyTheFirstIsCalled), 2);
    this->m_log.clear();
    this->m_signal.emit(2);
    EXPECT_THAT(this->m_log, ElementsAre(12, 22));
}

TEST(SigslotPolicyTest, SignalsWithoutArgumentsAndOfAnotherPolicyReachAReceiver)
{
    sigslot::signal0<sigslot::multi_threaded_local> locked;
    sigslot::signal0<sigslot::single_threaded> plain;
    Plain receiver;
    locked.connect(&receiver, &Plain::onSignal);
    plain.connect(&receiver, &Plain::onSignal);
    locked.emit();
    plain();
    EXPECT_EQ(receiver.calls, 2);
}

TEST(SigslotPolicyTest, AVirtualMethodReachesTheSubclass)
{
    struct Base : sigslot::has_slots<sigslot::multi_threaded_local> {
        virtual void onValue(int value) = 0;
    };
    struct Derived final : Base {
        void onValue(int value) override { last = value; }
        int last = 0;
    };
    sigslot::signal1<int, sigslot::multi_threaded_local> signal;
    Derived receiver;
    signal.connect(static_cast<Base *>(&receiver), &Base::onValue);
    signal.emit(5);
    EXPECT_EQ(receiver.last, 5);
}

}  // namespace
