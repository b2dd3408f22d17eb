// From ContextFactory to deleteContext, once and again.
#include <dlfcn.h>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

using Factory = LibraryFixture;

TEST_F(Factory, HandsOutOneContextForTheProcess)
{
    EXPECT_EQ(&context(), &context());
    EXPECT_EQ(*m_library.exported<NubrixBaseContext *>("g_nubrixContext"), &context());
}

TEST_F(Factory, HasNoContextBeforeTheFirstRequest)
{
    EXPECT_EQ(*m_library.exported<NubrixBaseContext *>("g_nubrixContext"), nullptr);
}

TEST_F(Factory, MakesANewContextOnceTheFirstIsDeleted)
{
    ASSERT_EQ(context().initialize(), 0);
    m_library.deleteContext();
    EXPECT_EQ(*m_library.exported<NubrixBaseContext *>("g_nubrixContext"), nullptr);
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), -2) << "the old one was initialized";
}

TEST_F(Factory, DeletingNothingDoesNothing)
{
    NubrixBaseContext *const only = &context();
    m_library.deleteContext(nullptr);
    EXPECT_EQ(&context(), only);
}

TEST_F(Factory, DeletingAnotherContextKeepsTheOneInUse)
{
    NubrixBaseContext *const first = &context();
    *m_library.exported<NubrixBaseContext *>("g_nubrixContext") = nullptr;
    NubrixBaseContext *const second = &context();
    ASSERT_NE(first, second);
    m_library.deleteContext(first);
    EXPECT_EQ(&context(), second);
}

TEST_F(Factory, NeitherInitializesNorLogs)
{
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    EXPECT_THAT(logOf([&] { context(); }), ElementsAre());
    EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), -2);
}

TEST_F(Factory, DeletingLogsAnEmptyLineAndDestroysNothing)
{
    FakeDriver &usb = m_library.installDriver(kUvcDriver);
    ASSERT_EQ(context().initialize(), 0);
    usb.takeCalls();
    EXPECT_THAT(logOf([&] { m_library.deleteContext(); }), ElementsAre("1 "));
    EXPECT_THAT(usb.calls(), ElementsAre());
    EXPECT_NE(*m_library.exported<void *>("libUvcDriverHandle"), nullptr);
}

TEST_F(Factory, HasNoErrorTexts)
{
    const auto text = m_library.exported<const char *(int)>("errorGetErrorCodeString");
    for (const int code : {0, -1, static_cast<int>(0x80300101U), 1 << 30})
        EXPECT_EQ(text(code), nullptr);
}

TEST_F(Factory, KeepsOneErrorNumberForTheProcess)
{
    context().setErrorCode(NUBRIX_ERR_NO_FRAME);
    EXPECT_EQ(m_library.errorNumber(), NUBRIX_ERR_NO_FRAME);
    std::thread([&] { context().setErrorCode(NUBRIX_ERR_PREPROCESS); }).join();
    EXPECT_EQ(m_library.errorNumber(), NUBRIX_ERR_PREPROCESS) << "it is not one a thread";
    const auto location =
        m_library.exported<unsigned int *()>("_ZN17NubrixErrorNumber16getErrnoLocationEv");
    EXPECT_EQ(location(), m_library.exported<unsigned int *()>("ErrnoLocal")());
    EXPECT_EQ(location(), m_library.exported<unsigned int>("g_nubrixErrno"));
}

TEST_F(Factory, ASuccessDoesNotClearTheErrorNumber)
{
    context().setErrorCode(NUBRIX_ERR_NO_FRAME);
    ASSERT_EQ(context().initialize(), 0);
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(m_library.errorNumber(), NUBRIX_ERR_NO_FRAME);
}

/// Two drivers that are not initialized yet, and the order in which they are used.
class LifeCycle : public LibraryFixture {
protected:
    LifeCycle()
        : m_usb(m_library.installDriver(kUvcDriver)), m_net(m_library.installDriver(kNetDriver))
    {
        m_usb.setDevices({cameraRecord("usb:1")});
        m_net.setDevices({cameraRecord("net:1", 2)});
        m_usb.setHook([this](const std::string &call) { m_order.push_back("usb: " + call); });
        m_net.setHook([this](const std::string &call) { m_order.push_back("net: " + call); });
    }
    ~LifeCycle() override
    {
        m_usb.setHook({});
        m_net.setHook({});
    }
    bool initialized()
    {
        typedefNubrixeviceAttribute *list = nullptr;
        unsigned int count = 0;
        return context().nubrixGetDeviceList(&list, &count) == 0;
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

    FakeDriver &m_usb;
    FakeDriver &m_net;
    std::vector<std::string> m_order;
};

TEST_F(LifeCycle, InitializesTheDriversOneAfterTheOther)
{
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_THAT(m_order, ElementsAre("usb: driverInstance", "net: driverInstance",
                                     "usb: setDeviceStateCallback", "usb: initialize",
                                     "usb: getDeviceList 60", "net: setDeviceStateCallback",
                                     "net: initialize", "net: getDeviceList 60"));
}

TEST_F(LifeCycle, ListsTheCamerasOfAllDriversInOneTable)
{
    m_usb.setDevices({cameraRecord("usb:1"), cameraRecord("usb:2")});
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_THAT(listed(), ElementsAre("usb:1", "usb:2", "net:1"));
}

TEST_F(LifeCycle, FillsTheWholeTable)
{
    std::vector<typedefNubrixeviceAttribute> all(59, cameraRecord("usb:1"));
    m_usb.setDevices(all);
    ASSERT_EQ(context().initialize(), 0);
    ASSERT_EQ(listed().size(), 60U);
    EXPECT_EQ(listed().back(), "net:1");
}

TEST_F(LifeCycle, InitializingTwiceIsHarmless)
{
    ASSERT_EQ(context().initialize(), 0);
    m_order.clear();
    const Outcome already = {
        0, 0, {"4 Nubrix SDK  Initialize start", "1 ", "4 Nubrix SDK Already Initialize"}};
    EXPECT_EQ(outcome([&] { return context().initialize(); }), already);
    EXPECT_THAT(m_order, ElementsAre());
    EXPECT_TRUE(initialized());
}

TEST_F(LifeCycle, AFailingDriverFailsInitializeWithItsResult)
{
    m_usb.results.initialize = 7;
    const Outcome failed = {
        7,
        0,
        {"4 Nubrix SDK  Initialize start", "1 ", "1 Nubrix SDK Version 2.0.182",
         "4 cur Driver Path = FOLDER/libNubrixUvcDriver.so", "4 Load uvc driver succeed!",
         "4 cur Driver Path = FOLDER/libNubrixNetDriver.so", "4 Load net driver succeed!",
         "3 initialize 1 driver  failed!"}};
    EXPECT_EQ(outcome([&] { return context().initialize(); }), failed);
    EXPECT_FALSE(initialized());
    EXPECT_EQ(m_usb.countCalls("getDeviceList 60"), 0U);
    EXPECT_EQ(m_net.countCalls("initialize"), 0U) << "the second driver is not tried any more";
}

TEST_F(LifeCycle, ASecondDriverThatFailsIsNamedByItsNumber)
{
    m_net.results.initialize = -4;
    const Outcome failed = outcome([&] { return context().initialize(); });
    EXPECT_EQ(failed.status, -4);
    EXPECT_EQ(failed.log.back(), "3 initialize 2 driver  failed!");
    EXPECT_FALSE(initialized());
    m_library.expectToStayLoaded(kUvcDriver);
}

TEST_F(LifeCycle, ADriverThatCannotListItsCamerasFailsInitialize)
{
    m_usb.results.getDeviceList = 5;
    const Outcome failed = outcome([&] { return context().initialize(); });
    EXPECT_EQ(failed.status, -1) << "whatever the driver returned";
    EXPECT_EQ(failed.error, 0U);
    EXPECT_EQ(failed.log.back(), "4 get device list failed");
    EXPECT_FALSE(initialized());
    EXPECT_EQ(m_net.countCalls("initialize"), 0U);
    m_library.expectToStayLoaded(kUvcDriver);
}

TEST_F(LifeCycle, ADriverThatWasLeftRunningKeepsItsCodeAndReportsToNobody)
{
    m_library.expectToStayLoaded(kUvcDriver);
    m_net.results.initialize = -4;
    ASSERT_EQ(context().initialize(), -4);
    ASSERT_EQ(context().destroy(), -2);
    EXPECT_EQ(m_usb.countCalls("driverDestroy"), 0U);
    EXPECT_EQ(*m_library.exported<void *>("libUvcDriverHandle"), nullptr);
    m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    ASSERT_TRUE(m_usb.waitForAnnouncements());
    m_library.deleteContext();
    m_usb.takeCalls();
    EXPECT_THAT(logOf([&] {
                    m_usb.announce("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
                    EXPECT_TRUE(m_usb.waitForAnnouncements());
                }),
                ElementsAre());
    EXPECT_THAT(m_usb.calls(), ElementsAre()) << "nobody asks it for its cameras";
}

TEST_F(LifeCycle, AnInitializeThatFailedCanBeTriedAgain)
{
    m_usb.results.initialize = 7;
    ASSERT_EQ(context().initialize(), 7);
    m_usb.results.initialize = 0;
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_THAT(listed(), ElementsAre("usb:1", "net:1"));
    EXPECT_EQ(m_usb.countCalls("driverInstance"), 2U) << "its plug-in is loaded once more";
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_EQ(m_usb.countCalls("driverDestroy"), 1U);
    m_library.unloadOnceMore(kUvcDriver);  // loaded twice, closed once
    m_library.unloadOnceMore(kNetDriver);
}

TEST_F(LifeCycle, DestroyAfterAFailedInitializeOnlyClosesThePlugIns)
{
    m_usb.results.initialize = 7;
    ASSERT_EQ(context().initialize(), 7);
    const Outcome refused = {-2, NUBRIX_ERR_NOT_INITIALIZED, {"1 ", "1 ", kNotInitialized}};
    EXPECT_EQ(outcome([&] { return context().destroy(); }), refused);
    EXPECT_EQ(m_usb.countCalls("driverDestroy"), 0U);
    for (const char *name :
         {"libUvcDriverHandle", "libNetDriverHandle", "delUvcDriver", "delNetDriver"})
        EXPECT_EQ(*m_library.exported<void *>(name), nullptr) << name;
}

TEST_F(LifeCycle, DestroyingWhatWasNeverInitializedStillClosesPlugIns)
{
    m_library.install("GoodDriver", kMiniDriver);
    const std::string path = m_library.folder() + kMiniDriver;
    *m_library.exported<void *>("libMiniDriverHandle") = dlopen(path.c_str(), RTLD_NOW);
    ASSERT_TRUE(m_library.isLoaded(kMiniDriver));
    EXPECT_EQ(context().destroy(), -2);
    EXPECT_FALSE(m_library.isLoaded(kMiniDriver)) << "though the other two were not loaded";
    EXPECT_EQ(*m_library.exported<void *>("libMiniDriverHandle"), nullptr);
}

TEST_F(LifeCycle, DestroyReleasesEverythingInOrder)
{
    ASSERT_EQ(context().initialize(), 0);
    NubrixDevice *device = nullptr;
    NubrixStream *color = nullptr;
    NubrixStream *depth = nullptr;
    ASSERT_EQ(context().openDevice("net:1", &device), 0);
    ASSERT_EQ(context().openDevice("usb:1", &device), 0);
    ASSERT_EQ(context().openStream(device, NUBRIX_STREAM_COLOR, &color, nullptr, nullptr), 0);
    ASSERT_EQ(context().openStream(device, NUBRIX_STREAM_DEPTH, &depth, nullptr, nullptr), 0);
    m_order.clear();
    const Outcome destroyed = outcome([&] { return context().destroy(); });
    EXPECT_EQ(destroyed.status, 0);
    EXPECT_EQ(destroyed.error, 0U);
    EXPECT_THAT(destroyed.log,
                ElementsAre("1 ", "1 ",                                    // the context
                            "0 begin release:stop stream", "1 ",           // its streams,
                            "1 Thread[Stream Thread] Stoped", "1 ", "1 ",  // stopped
                            "0 begin release:stop stream", "1 ",           // and deleted
                            "1 Thread[Stream Thread] Stoped", "1 ", "1 ",
                            "0 begin release:close device", "0 begin release:close device"));
    EXPECT_THAT(m_order, ElementsAre("usb: usb:1 stream 1 stop", "usb: usb:1 stream 2 stop",
                                     "net: closeDevice net:1", "usb: closeDevice usb:1",
                                     "usb: driverDestroy", "net: driverDestroy"));
    EXPECT_FALSE(initialized());
}

TEST_F(LifeCycle, ADriverThatIsDestroyedIsNotCalledAnyMore)
{
    ASSERT_EQ(context().initialize(), 0);
    int onThisThread = 0;
    int onAnother = 0;
    m_net.setHook([&](const std::string &call) {
        if (call != "driverDestroy")
            return;
        onThisThread = context().setGmslI2CStats(true);
        std::thread([&] { onAnother = context().setGmslI2CStats(true); }).join();
    });
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_EQ(onThisThread, -1) << "the USB driver is destroyed first";
    EXPECT_EQ(onAnother, -1);
    EXPECT_EQ(m_usb.countCalls("setGmslI2CStats 1"), 0U);
    EXPECT_EQ(m_usb.calls().back(), "driverDestroy");
}

TEST_F(LifeCycle, ASecondDestroyIsRefused)
{
    ASSERT_EQ(context().initialize(), 0);
    ASSERT_EQ(context().destroy(), 0);
    m_order.clear();
    EXPECT_EQ(context().destroy(), -2);
    EXPECT_THAT(m_order, ElementsAre());
}

TEST_F(LifeCycle, EverythingWorksAgainAfterDestroy)
{
    for (int life = 0; life < 3; ++life) {
        ASSERT_EQ(context().initialize(), 0);
        NubrixDevice *device = nullptr;
        NubrixStream *stream = nullptr;
        NubrixStream *ready[1] = {};
        typedefNubrixFrame *frame = nullptr;
        ASSERT_EQ(context().openDevice("usb:1", &device), 0);
        ASSERT_EQ(context().openStream(device, NUBRIX_STREAM_IR, &stream, nullptr, nullptr), 0);
        EXPECT_EQ(context().waitForStreams(&stream, 1, ready, 0), -11);
        ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_IR, {42}));
        ASSERT_EQ(context().readFrame(stream, &frame, 1000), 0);
        EXPECT_EQ(frame->frameIndex, 42U);
        EXPECT_EQ(context().releaseFrame(frame), 0);
        ASSERT_EQ(context().destroy(), 0);
    }
}

TEST_F(Factory, APlugInRemovedBeforeTheNextInitializeIsNotUsed)
{
    m_library.install("GoodDriver", kNetDriver);
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_TRUE(m_library.isLoaded(kNetDriver));
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_FALSE(m_library.isLoaded(kNetDriver));
    m_library.remove(kNetDriver);
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_EQ(*m_library.exported<void *>("delNetDriver"), nullptr);
    ASSERT_EQ(context().destroy(), 0) << "its destroy function is unloaded code";
}

TEST_F(LifeCycle, OperationsOnOtherThreadsWaitForASlowDriver)
{
    Counter initializing;
    Counter goOn;
    m_usb.setHook([&](const std::string &call) {
        if (call == "initialize") {
            initializing.add();
            EXPECT_TRUE(goOn.reaches(1));
        }
    });
    std::thread starter([&] { EXPECT_EQ(context().initialize(), 0); });
    ASSERT_TRUE(initializing.reaches(1));
    std::vector<std::string> seen;
    std::thread reader([&] { seen = listed(); });
    goOn.add();
    starter.join();
    reader.join();
    EXPECT_THAT(seen, ElementsAre("usb:1", "net:1"));
}

TEST_F(LifeCycle, AnEventWithinInitializeIsSeenInTheFirstLifeOnly)
{
    m_usb.setHook([&](const std::string &call) {
        if (call == "initialize")
            m_usb.raise("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    });
    const std::string seen =
        "4 onDeviceState Change deviceAddr = usb:1 , SN = SN1, location = 1-1, deviceState = 0";
    EXPECT_THAT(logOf([&] { return context().initialize(); }), testing::Contains(seen));
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_THAT(logOf([&] { return context().initialize(); }),
                testing::Not(testing::Contains(seen)));
}

}  // namespace
}  // namespace nubrix
