// Which plug-in is loaded, from where, and what is logged about it.
#include <dlfcn.h>

#include <cstdlib>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// What initialize logs about the USB video plug-in.
class DriverLoading : public LibraryFixture {
protected:
    std::vector<std::string> initializing()
    {
        std::vector<std::string> lines = logOf([&] { return context().initialize(); });
        // Without "start", an empty line, the version; and up to the network plug-in.
        lines.erase(lines.begin(), lines.begin() + 3);
        std::vector<std::string> usb;
        for (const std::string &line : lines) {
            if (line.find("NetDriver") != std::string::npos ||
                line == "4 Nubrix SDK  Initialize End")
                break;
            usb.push_back(line);
        }
        return usb;
    }
    void *handle(const char *name) { return *m_library.exported<void *>(name); }
};

const char *const kNotFound =
    "3 Load the dll(libNubrixUvcDriver.so) failed ... libNubrixUvcDriver.so: cannot open shared "
    "object file: No such file or directory!\n";
const char *const kSearchPath = "4 cur Driver Path = libNubrixUvcDriver.so";
const char *const kGivenUp = "4 failed to load Driver(libNubrixUvcDriver.so)\n";

TEST_F(DriverLoading, TriesTheLibrarysFolderAndThenTheSearchPath)
{
    EXPECT_THAT(initializing(),
                ElementsAre("3 Load the dll(FOLDER/libNubrixUvcDriver.so) failed ... "
                            "FOLDER/libNubrixUvcDriver.so: cannot open shared object file: No such "
                            "file or directory!\n",
                            kSearchPath, kNotFound, kGivenUp));
    EXPECT_EQ(handle("libUvcDriverHandle"), nullptr);
    EXPECT_EQ(handle("delUvcDriver"), nullptr);
}

TEST_F(DriverLoading, SearchesTheSamePathsForTheNetworkPlugIn)
{
    EXPECT_THAT(logOf([&] { return context().initialize(); }),
                testing::IsSupersetOf({"4 cur Driver Path = libNubrixNetDriver.so",
                                       "4 failed to load Driver(libNubrixNetDriver.so)\n"}));
    EXPECT_EQ(handle("libNetDriverHandle"), nullptr);
}

TEST_F(DriverLoading, WithoutAnyPlugInTheContextHasNoCameras)
{
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 7;
    EXPECT_EQ(context().initialize(), 0);
    EXPECT_EQ(context().nubrixGetDeviceList(&list, &count), 0);
    EXPECT_EQ(count, 0U);
    EXPECT_NE(list, nullptr);
    EXPECT_EQ(context().destroy(), 0);
}

TEST_F(DriverLoading, LoadsThePlugInNextToTheLibrary)
{
    m_library.installDriver(kUvcDriver);
    EXPECT_THAT(initializing(), ElementsAre("4 cur Driver Path = FOLDER/libNubrixUvcDriver.so",
                                            "4 Load uvc driver succeed!"));
    EXPECT_NE(handle("libUvcDriverHandle"), nullptr);
    EXPECT_NE(handle("delUvcDriver"), nullptr);
}

TEST_F(DriverLoading, FindsThePlugInsOfAnInstallationAndReportsNoFailure)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const std::string found = "4 cur Driver Path = FOLDER/nubrix/libNubrixUvcDriver.so";
#else
    const std::string found = kSearchPath;
#endif
    FakeDriver &usb = m_library.installDriver(std::string("nubrix/") + kUvcDriver);
    EXPECT_THAT(initializing(), ElementsAre(found, "4 Load uvc driver succeed!"));
    EXPECT_EQ(usb.countCalls("initialize"), 1U);
}

TEST_F(DriverLoading, PrefersThePlugInNextToTheLibraryToTheInstalledOne)
{
    FakeDriver &installed = m_library.installDriver(std::string("nubrix/") + kUvcDriver);
    FakeDriver &usb = m_library.installDriver(kUvcDriver);
    EXPECT_THAT(initializing(), ElementsAre("4 cur Driver Path = FOLDER/libNubrixUvcDriver.so",
                                            "4 Load uvc driver succeed!"));
    EXPECT_EQ(usb.countCalls("initialize"), 1U);
    EXPECT_EQ(installed.countCalls("initialize"), 0U);
}

TEST_F(DriverLoading, OpensAPlugInTwice)
{
    unsetenv("NUBRIX_TEST_LOADS");
    m_library.install("CountedDriver", kUvcDriver);
    initializing();
    EXPECT_STREQ(getenv("NUBRIX_TEST_LOADS"), "11") << "once to look, once to keep";
}

TEST_F(DriverLoading, PassesOverALibraryWithoutTheEntryInSilence)
{
    m_library.install("NoEntryDriver", kUvcDriver);
    EXPECT_THAT(initializing(), ElementsAre(kSearchPath, kNotFound, kGivenUp));
    EXPECT_FALSE(m_library.isLoaded(kUvcDriver));
}

TEST_F(DriverLoading, SaysWhichSymbolAPlugInLacks)
{
    m_library.install("UndefinedSymbolDriver", kUvcDriver);
    EXPECT_THAT(initializing(),
                ElementsAre(AllOf(testing::StartsWith("3 Load the dll(FOLDER/libNubrixUvcDriver.so)"
                                                      " failed ... FOLDER/libNubrixUvcDriver.so: "),
                                  HasSubstr("undefined symbol: nubrixTestMissingEverywhere"),
                                  testing::EndsWith("!\n")),
                            kSearchPath, kNotFound, kGivenUp));
}

TEST_F(DriverLoading, SaysThatAFileIsNoLibrary)
{
    writeFile(m_library.folder() + kUvcDriver, std::string(4096, 'x'));
    EXPECT_THAT(initializing(),
                ElementsAre(HasSubstr("invalid ELF header!\n"), kSearchPath, kNotFound, kGivenUp));
}

TEST_F(DriverLoading, APlugInWithoutADestroyFunctionServes)
{
    m_library.expectToStayLoaded(kUvcDriver);  // nobody can end its driver
    FakeDriver &usb = m_library.installDriver(kUvcDriver, "NoDestroyDriver");
    EXPECT_THAT(initializing(), testing::Contains("4 Load uvc driver succeed!"));
    EXPECT_NE(handle("libUvcDriverHandle"), nullptr);
    EXPECT_EQ(handle("delUvcDriver"), nullptr);
    usb.takeCalls();
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_THAT(usb.calls(), ElementsAre());
}

TEST_F(DriverLoading, DriverDestroyIsCalledEvenWithoutAnInstance)
{
    FakeDriver &usb = m_library.installDriver(kUvcDriver, "NullDriver");
    EXPECT_THAT(initializing(), ElementsAre("4 cur Driver Path = FOLDER/libNubrixUvcDriver.so"));
    EXPECT_THAT(usb.takeCalls(), ElementsAre("driverInstance"));
    EXPECT_NE(handle("libUvcDriverHandle"), nullptr);
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_THAT(usb.calls(), ElementsAre("driverDestroy (null)"));
    EXPECT_EQ(handle("libUvcDriverHandle"), nullptr);
}

TEST_F(DriverLoading, DestroyUnloadsThePlugIns)
{
    m_library.install("GoodDriver", kUvcDriver);
    m_library.install("GoodDriver", kNetDriver);
    initializing();
    EXPECT_TRUE(m_library.isLoaded(kUvcDriver));
    EXPECT_TRUE(m_library.isLoaded(kNetDriver));
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_FALSE(m_library.isLoaded(kUvcDriver));
    EXPECT_FALSE(m_library.isLoaded(kNetDriver));
    for (const char *name : {"libUvcDriverHandle", "libNetDriverHandle", "libMiniDriverHandle",
                             "delUvcDriver", "delNetDriver", "delMiniDriver"})
        EXPECT_EQ(handle(name), nullptr) << name;
}

TEST_F(DriverLoading, NeverLoadsTheMiniPlugIn)
{
    m_library.install("GoodDriver", kMiniDriver);
    EXPECT_THAT(logOf([&] { return context().initialize(); }),
                testing::Not(testing::Contains(HasSubstr("Mini"))));
    EXPECT_FALSE(m_library.isLoaded(kMiniDriver));
    EXPECT_EQ(handle("libMiniDriverHandle"), nullptr);
    EXPECT_EQ(handle("delMiniDriver"), nullptr);
}

TEST_F(DriverLoading, ButTearsItDownLikeTheOthers)
{
    FakeDriver &mini = m_library.installDriver(kMiniDriver);
    const std::string path = m_library.folder() + kMiniDriver;
    void *const loaded = dlopen(path.c_str(), RTLD_NOW);
    initializing();
    *m_library.exported<void *>("libMiniDriverHandle") = loaded;
    *m_library.exported<void *>("delMiniDriver") = dlsym(loaded, "driverDestroy");
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_THAT(mini.calls(), ElementsAre("driverDestroy (null)"));
    EXPECT_EQ(handle("libMiniDriverHandle"), nullptr);
    EXPECT_EQ(handle("delMiniDriver"), nullptr);
}

TEST_F(DriverLoading, ADriverOfTheOldLanguageAndWithoutTheLibraryDelivers)
{
    m_library.install("Cxx11Driver", kUvcDriver);
    initializing();
    NubrixDevice *device = nullptr;
    NubrixStream *stream = nullptr;
    typedefNubrixFrame *frame = nullptr;
    ASSERT_EQ(context().openDevice("x", &device), 0);
    ASSERT_EQ(context().openStream(device, NUBRIX_STREAM_COLOR, &stream, nullptr, nullptr), 0);
    ASSERT_EQ(context().readFrame(stream, &frame, 0), 0);
    EXPECT_EQ(frame->dataSize, 4U);
    EXPECT_EQ(context().releaseFrame(frame), 0);
}

// The sanitizers end the process on the flag that makes a plug-in prefer its own symbols.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" __attribute__((visibility("default"))) const char *nubrixTestWho()
{
    return "the application";
}

TEST_F(DriverLoading, APlugInUsesItsOwnFunctionsBeforeTheApplications)
{
    ASSERT_NE(dlsym(RTLD_DEFAULT, "nubrixTestWho"), nullptr) << "nothing to be taken instead";
    m_library.install("GoodDriver", kUvcDriver);
    initializing();
    const auto askWho = reinterpret_cast<const char *(*)()>(
        dlsym(handle("libUvcDriverHandle"), "nubrixTestAskWho"));
    EXPECT_STREQ(askWho(), "the plug-in");
}
#endif

TEST_F(DriverLoading, ADriverThatWasLeftRunningDoesNotReportNextToItsSuccessor)
{
    FakeDriver &first = m_library.installDriver(kUvcDriver, "NewDriver");
    FakeDriver &net = m_library.installDriver(kNetDriver);
    m_library.expectToStayLoaded(kUvcDriver);  // the first driver is never destroyed
    net.results.initialize = -4;
    ASSERT_EQ(context().initialize(), -4);
    ASSERT_EQ(context().destroy(), -2);
    net.results.initialize = 0;
    first.takeCalls();
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_THAT(first.takeCalls(), ElementsAre("setDeviceStateCallback"));
    EXPECT_THAT(logOf([&] { first.raise("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED); }),
                ElementsAre());
}

}  // namespace
}  // namespace nubrix
