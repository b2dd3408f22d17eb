// Cameras that come and go.
#include <algorithm>
#include <optional>
#include <utility>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One event as an application's callback gets it.
struct Seen {
    std::optional<std::string> uri;
    std::optional<std::string> serial;
    unsigned int state;
    void *user;

    bool operator==(const Seen &) const = default;
};

std::optional<std::string> kept(const char *text)
{
    return text ? std::optional<std::string>(text) : std::nullopt;
}

std::vector<Seen> g_seen;
std::vector<std::string> g_order;
std::thread::id g_thread;
std::function<void()> g_callBack;

void first(const char *uri, const char *serial, unsigned int state, void *user)
{
    g_seen.push_back({kept(uri), kept(serial), state, user});
    g_order.emplace_back("first");
    g_thread = std::this_thread::get_id();
    if (g_callBack)
        g_callBack();
}

void second(const char *, const char *, unsigned int, void *)
{
    g_order.emplace_back("second");
}

class HotPlug : public ContextFixture {
protected:
    HotPlug()
    {
        g_seen.clear();
        g_order.clear();
        g_callBack = nullptr;
    }
    ~HotPlug() override { g_callBack = nullptr; }

    Outcome registering(NubrixDeviceStateCallback callback, void *user = nullptr)
    {
        return outcome([&] { return context().setDeviceStateCallback(callback, user); });
    }
    /// The log of an event that is raised on this thread.
    std::vector<std::string> logOfEvent(const char *deviceAddr, unsigned int state)
    {
        return logOf([&] { m_usb.raise(deviceAddr, "SN1", "1-1", state); });
    }
    std::vector<std::string> listed()
    {
        typedefNubrixeviceAttribute *list = nullptr;
        unsigned int count = 0;
        EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), 0);
        std::vector<std::string> uris;
        for (unsigned int i = 0; i < count; ++i)
            uris.emplace_back(list[i].uri);
        return uris;
    }
};

constexpr unsigned int kOn = NUBRIX_DEVICE_CONNECTED;
constexpr unsigned int kOff = NUBRIX_DEVICE_DISCONNECTED;

TEST_F(HotPlug, AnArrivalIsLoggedAndEveryDriverQueriedAgain)
{
    EXPECT_THAT(logOfEvent("usb:2", kOn),
                ElementsAre("1 ",
                            "4 onDeviceState Change deviceAddr = usb:2 , SN = SN1, location = 1-1, "
                            "deviceState = 0",
                            "1 get device list", "1 get device list",
                            "4 register device state callback  size is 0"));
    EXPECT_THAT(m_usb.calls(), ElementsAre("getDeviceList 60"));
    EXPECT_THAT(m_net.calls(), ElementsAre("getDeviceList 60"));
}

TEST_F(HotPlug, ARemovalFromUsbIsLoggedWithAdviceOnThePower)
{
    registering(&first);
    EXPECT_THAT(
        logOfEvent("a usb camera", kOff),
        ElementsAre("1 ",
                    "4 onDeviceState Change deviceAddr = a usb camera , SN = SN1, location = 1-1, "
                    "deviceState = 1",
                    "4 If the device is not actively unplugged, please check the power supply "
                    "capability of the hub or the connection of the USB data cable.",
                    "4 It is recommended to replace the hub with power supply and try again.",
                    "1 get device list", "1 get device list",
                    "4 register device state callback  size is 1"));
}

TEST_F(HotPlug, AnyOtherRemovalIsLoggedWithAdviceOnTheNetwork)
{
    EXPECT_THAT(
        logOfEvent("192.168.1.9", kOff),
        ElementsAre("1 ",
                    "4 onDeviceState Change deviceAddr = 192.168.1.9 , SN = SN1, location = 1-1, "
                    "deviceState = 1",
                    "4 If the device is not actively unplugged, please check the network "
                    "connection.",
                    "1 get device list", "1 get device list",
                    "4 register device state callback  size is 0"));
}

TEST_F(HotPlug, AnyOtherStateIsLoggedWithoutAdvice)
{
    EXPECT_EQ(logOfEvent("usb:1", 2).size(), 5U);
}

TEST_F(HotPlug, TheListIsBuiltAnew)
{
    m_usb.setDevices({});
    m_usb.raise("usb:1", "SN1", "1-1", kOff);
    EXPECT_THAT(listed(), ElementsAre("net:1"));
    m_usb.setDevices({cameraRecord("usb:5"), cameraRecord("usb:6")});
    m_net.setDevices({});
    m_usb.raise("usb:5", "SN1", "1-1", kOn);
    EXPECT_THAT(listed(), ElementsAre("usb:5", "usb:6"));
    EXPECT_NE(open("usb:6"), nullptr);
}

TEST_F(HotPlug, WhatTheDriversAnswerIsNotMinded)
{
    m_usb.results.getDeviceList = -3;
    m_usb.raise("usb:1", "SN1", "1-1", kOn);
    EXPECT_THAT(listed(), ElementsAre("usb:1", "net:1"));
}

TEST_F(HotPlug, CallbacksAreCalledInTheOrderOfRegistrationOnTheDriversThread)
{
    int user = 0;
    EXPECT_EQ(registering(&first, &user), (Outcome{}));
    EXPECT_EQ(registering(&second), (Outcome{}));
    m_usb.announce("usb:1", "SN1", "1-1", kOff);
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    EXPECT_THAT(g_order, ElementsAre("first", "second"));
    EXPECT_THAT(g_seen, ElementsAre(Seen{"usb:1", "SN1", kOff, &user}));
    EXPECT_NE(g_thread, std::this_thread::get_id());
    EXPECT_EQ(m_log.count("4 register device state callback  size is 2"), 1U);
}

TEST_F(HotPlug, AFunctionIsRegisteredOnce)
{
    int user = 0;
    ASSERT_EQ(registering(&first, &user).status, 0);
    EXPECT_EQ(registering(&first, nullptr), (Outcome{0, 0, {"1 already registed\n"}}));
    m_usb.raise("usb:1", "SN1", "1-1", kOn);
    EXPECT_THAT(g_seen, ElementsAre(Seen{"usb:1", "SN1", kOn, &user}));
}

TEST_F(HotPlug, NoFunctionIsRegisteredAndNotCalled)
{
    EXPECT_EQ(registering(nullptr), (Outcome{}));
    EXPECT_EQ(registering(nullptr), (Outcome{0, 0, {"1 already registed\n"}}));
    EXPECT_EQ(logOfEvent("usb:1", kOn).back(), "4 register device state callback  size is 1");
}

TEST_F(HotPlug, MissingTextsAreLoggedAsNothingAndPassedOn)
{
    registering(&first);
    EXPECT_EQ(logOf([&] { m_usb.raise(nullptr, nullptr, nullptr, kOff); })[1],
              "4 onDeviceState Change deviceAddr =  , SN = , location = , deviceState = 1");
    EXPECT_THAT(g_seen, ElementsAre(Seen{std::nullopt, std::nullopt, kOff, nullptr}));
}

TEST_F(HotPlug, BothDriversRaiseEvents)
{
    registering(&first);
    m_usb.announce("usb:1", "SN1", "1-1", kOff);
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    m_net.announce("net:1", "SN2", "2-1", kOn);
    ASSERT_TRUE(m_net.waitForAnnouncements());
    EXPECT_THAT(g_seen, ElementsAre(Seen{"usb:1", "SN1", kOff, nullptr},
                                    Seen{"net:1", "SN2", kOn, nullptr}));
}

TEST_F(HotPlug, CallbacksMayCallBack)
{
    NubrixDevice *const device = open("net:1");
    NubrixStream *stream = nullptr;
    ASSERT_EQ(context().openStream(device, NUBRIX_STREAM_DEPTH, &stream, nullptr, nullptr), 0);
    NubrixDevice *found = nullptr;
    g_callBack = [&] {
        EXPECT_THAT(listed(), ElementsAre("usb:7", "net:1"));
        EXPECT_NE(context().getDeviceAttributeByUri("usb:7"), nullptr);
        EXPECT_EQ(context().openDevice("usb:7", &found), 0);
        EXPECT_EQ(context().setDeviceStateCallback(&second, nullptr), 0);
        EXPECT_EQ(context().closeDevice(device), 0);
    };
    registering(&first);
    m_usb.setDevices({cameraRecord("usb:7")});
    m_usb.announce("usb:7", "SN7", "1-1", kOn);
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    EXPECT_THAT(g_order, ElementsAre("first")) << "the new one takes part in the next event";
    EXPECT_EQ(context().closeDevice(found), 0);
    EXPECT_EQ(context().closeDevice(device), -3);
}

TEST_F(HotPlug, ARemovalClosesNothing)
{
    NubrixDevice *const device = open();
    NubrixStream *stream = nullptr;
    NubrixStream *another = nullptr;
    ASSERT_EQ(context().openStream(device, NUBRIX_STREAM_COLOR, &stream, nullptr, nullptr), 0);
    m_usb.device()->state = kOff;
    m_usb.setDevices({});
    m_usb.raise("usb:1", "SN1", "1-1", kOff);
    EXPECT_EQ(context().waitForStreams(&stream, 1, nullptr, 0), -9) << "the handle stands";
    EXPECT_EQ(outcome([&] {
                  return context().openStream(device, NUBRIX_STREAM_DEPTH, &another, nullptr,
                                              nullptr);
              }),
              (Outcome{-1,
                       NUBRIX_ERR_STREAM_HANDLE,
                       {"4 Start open depth stream!", "1 Device disconnected, please check it",
                        "3  Create Stream handle failed!", "3 Create stream failed"}}));
    EXPECT_EQ(context().closeStream(stream), 0);
    EXPECT_EQ(context().closeDevice(device), 0);
}

TEST_F(HotPlug, EventsDuringDestroyAreDropped)
{
    registering(&first);
    open();
    m_usb.takeCalls();
    std::vector<std::string> lines;
    m_usb.setHook([&](const std::string &call) {
        if (call != "closeDevice usb:1")
            return;
        std::thread([&] { lines = logOfEvent("usb:1", kOff); }).join();
    });
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_THAT(lines, ElementsAre("1 "));
    EXPECT_THAT(g_seen, IsEmpty());
    EXPECT_THAT(m_usb.calls(), ElementsAre("closeDevice usb:1", "driverDestroy"));
}

TEST_F(HotPlug, ACameraThatArrivesDuringTheNextInitializeIsListed)
{
    ASSERT_EQ(context().destroy(), 0);
    bool isAsked = false;
    m_net.setHook([&](const std::string &call) {
        if (call.rfind("getDeviceList", 0) != 0 || std::exchange(isAsked, true))
            return;
        m_usb.setDevices({cameraRecord("usb:1"), cameraRecord("usb:2")});  // it was asked already
        std::thread([&] { m_usb.raise("usb:2", "SN1", "1-1", kOn); }).join();
    });
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_THAT(listed(), ElementsAre("usb:1", "usb:2", "net:1"));
}

TEST_F(HotPlug, DestroyForgetsTheCallbacks)
{
    registering(&first);
    ASSERT_EQ(context().destroy(), 0);
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_EQ(logOfEvent("usb:1", kOn).back(), "4 register device state callback  size is 0");
    EXPECT_THAT(g_seen, IsEmpty());
}

TEST_F(HotPlug, ADriverSlowToListItsCamerasDelaysNoOtherThread)
{
    Counter listing;
    Counter goOn;
    m_usb.setHook([&](const std::string &call) {
        if (call == "getDeviceList 60") {
            listing.add();
            EXPECT_TRUE(goOn.reaches(1));
        }
    });
    m_usb.announce("usb:1", "SN1", "1-1", kOn);
    ASSERT_TRUE(listing.reaches(1));
    EXPECT_THAT(listed(), ElementsAre("usb:1", "net:1")) << "attached cameras stay listed";
    EXPECT_EQ(registering(&first).status, 0);
    goOn.add();
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    EXPECT_THAT(listed(), ElementsAre("usb:1", "net:1"));
}

TEST_F(HotPlug, WhileTheDriversListTheirCamerasTheListAndOpenDeviceAgree)
{
    m_usb.setDevices({});
    m_net.setDevices({});
    m_usb.announce("usb:1", "SN1", "1-1", kOff);
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    ASSERT_THAT(listed(), IsEmpty());

    Counter listing;
    Counter goOn;
    m_net.setHook([&](const std::string &call) {
        if (call == "getDeviceList 60") {
            listing.add();
            EXPECT_TRUE(goOn.reaches(1));
        }
    });
    m_usb.setDevices({cameraRecord("usb:1")});
    m_usb.announce("usb:1", "SN1", "1-1", kOn);
    ASSERT_TRUE(listing.reaches(1));
    NubrixDevice *device = nullptr;
    EXPECT_EQ(context().openDevice(nullptr, &device), listed().empty() ? -4 : 0);
    goOn.add();
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    EXPECT_THAT(listed(), ElementsAre("usb:1"));
    EXPECT_EQ(context().openDevice(nullptr, &device), 0);
}

TEST_F(HotPlug, ADriverMayReportAnEventWhileItListsItsCameras)
{
    ASSERT_EQ(context().setDeviceStateCallback(&first, nullptr), 0);
    bool raised = false;
    m_usb.setHook([&](const std::string &call) {
        if (call == "getDeviceList 60" && !std::exchange(raised, true))
            m_usb.raise("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    });
    m_usb.raise("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    m_usb.setHook({});
    EXPECT_TRUE(raised);
    EXPECT_EQ(g_seen.size(), 2U);
}

}  // namespace
}  // namespace nubrix
