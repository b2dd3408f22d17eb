// The same with plug-ins on the system's search path: a good USB video one, and a network one that
// is none. Run with LD_LIBRARY_PATH set to their folder.
#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class DriverSearchPath : public LibraryFixture {
protected:
    /// The lines of initialize about one plug-in.
    std::vector<std::string> initializing(const std::string &name, const std::string &success)
    {
        std::vector<std::string> lines;
        for (const std::string &line : logOf([&] { return context().initialize(); })) {
            if (line.find(name) != std::string::npos || line == success)
                lines.push_back(line);
        }
        return lines;
    }
    std::vector<std::string> initializingUsb()
    {
        return initializing("UvcDriver", "4 Load uvc driver succeed!");
    }
};

TEST_F(DriverSearchPath, ServesWhenThereIsNoneNextToTheLibrary)
{
    EXPECT_THAT(
        initializingUsb(),
        ElementsAre(StartsWith("3 Load the dll(FOLDER/libNubrixUvcDriver.so) failed ... "),
                    "4 cur Driver Path = libNubrixUvcDriver.so", "4 Load uvc driver succeed!"));
    EXPECT_NE(*m_library.exported<void *>("libUvcDriverHandle"), nullptr);
    EXPECT_EQ(context().destroy(), 0);
}

TEST_F(DriverSearchPath, ServesWhenTheOneNextToTheLibraryHasNoEntry)
{
    m_library.install("NoEntryDriver", kUvcDriver);
    EXPECT_THAT(initializingUsb(), ElementsAre("4 cur Driver Path = libNubrixUvcDriver.so",
                                               "4 Load uvc driver succeed!"));
    EXPECT_FALSE(m_library.isLoaded(kUvcDriver));
}

TEST_F(DriverSearchPath, ServesWhenTheOneNextToTheLibraryDoesNotLoad)
{
    m_library.install("UndefinedSymbolDriver", kUvcDriver);
    EXPECT_THAT(
        initializingUsb(),
        ElementsAre(StartsWith("3 Load the dll(FOLDER/libNubrixUvcDriver.so) failed ... "),
                    "4 cur Driver Path = libNubrixUvcDriver.so", "4 Load uvc driver succeed!"));
}

TEST_F(DriverSearchPath, IsNotUsedWhenThereIsAGoodOneNextToTheLibrary)
{
    FakeDriver &usb = m_library.installDriver(kUvcDriver);
    EXPECT_THAT(initializingUsb(), ElementsAre("4 cur Driver Path = FOLDER/libNubrixUvcDriver.so",
                                               "4 Load uvc driver succeed!"));
    EXPECT_EQ(usb.countCalls("initialize"), 1U);
}

TEST_F(DriverSearchPath, APlugInWithoutTheEntryIsClosedAgainInSilence)
{
    EXPECT_THAT(initializing("NetDriver", "4 Load net driver succeed!"),
                ElementsAre(StartsWith("3 Load the dll(FOLDER/libNubrixNetDriver.so) failed ... "),
                            "4 cur Driver Path = libNubrixNetDriver.so"));
    EXPECT_EQ(*m_library.exported<void *>("libNetDriverHandle"), nullptr);
    EXPECT_EQ(*m_library.exported<void *>("delNetDriver"), nullptr);
}

}  // namespace
}  // namespace nubrix
