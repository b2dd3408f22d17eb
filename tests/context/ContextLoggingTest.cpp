// The settings of the log, and the life of its plug-in.
#include <filesystem>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class Logging : public LibraryFixture {
protected:
    std::string ini() const { return m_library.folder() + "nubrixLog.ini"; }
    /// Reads the settings file again; what the plug-in is notified then.
    std::vector<std::string> settings(const char *folder = nullptr)
    {
        context();
        m_log.clear();
        EXPECT_EQ(context().setLogFileSavePath(folder), 0);
        return m_log.settings();
    }
};

TEST_F(Logging, EveryLineCarriesTheNameOfTheLibrary)
{
    context().initialize();
    ASSERT_THAT(m_log.lines(), testing::Not(IsEmpty()));
    EXPECT_THAT(m_log.lines(), Each(testing::Field(&RecordedLine::module, "NubrixCommonDriver")));
}

TEST_F(Logging, LevelsGoToThePlugIn)
{
    for (unsigned int level = 0; level <= 4; ++level) {
        context();
        m_log.clear();
        EXPECT_EQ(outcome([&] { return context().setLogLevel(level); }), (Outcome{}));
        EXPECT_THAT(m_log.settings(), ElementsAre("level " + std::to_string(level)));
    }
    m_log.result = -17;
    EXPECT_EQ(context().setLogLevel(1), -17);
}

TEST_F(Logging, ALevelAboveFourIsRefused)
{
    EXPECT_EQ(outcome([&] { return context().setLogLevel(5); }),
              (Outcome{-1, 0, {"3 Log level set error : 5\n"}}));
    EXPECT_EQ(outcome([&] { return context().setLogLevel(0xffffffffU); }),
              (Outcome{-1, 0, {"3 Log level set error : -1\n"}}));
    EXPECT_THAT(m_log.settings(), IsEmpty());
}

TEST_F(Logging, TheFolderGoesToThePlugIn)
{
    EXPECT_EQ(outcome([&] { return context().setLogFolder("/tmp/x"); }), (Outcome{}));
    m_log.result = 12;
    EXPECT_EQ(context().setLogFolder(nullptr), 12);
    EXPECT_THAT(m_log.settings(), ElementsAre("folder /tmp/x", "folder (null)"));
    EXPECT_FALSE(std::filesystem::exists(ini()));
}

TEST_F(Logging, NeitherTheFactoryNorInitializeTouchesTheSettings)
{
    context().initialize();
    EXPECT_FALSE(std::filesystem::exists(ini()));
    EXPECT_THAT(m_log.settings(), IsEmpty());
    EXPECT_EQ(*m_library.exported<std::string>("NUBRIX_WORKING_PATH"), "");
    EXPECT_STREQ(m_library.exported<char>("NUBRIX_INI_FILE_PATH"), "");
}

TEST_F(Logging, AFreshInstallationGetsAFileOfDefaults)
{
    EXPECT_THAT(settings("/tmp/x"), ElementsAre("folder /tmp/x", "file 0", "console 1", "level 3"));
    EXPECT_EQ(readFile(ini()), "[Log]\nLogFile=0\nLogLevel=3\nLogConsole=1\n");
    EXPECT_EQ(*m_library.exported<std::string>("NUBRIX_WORKING_PATH"), m_library.folder());
    EXPECT_EQ(m_library.exported<char>("NUBRIX_INI_FILE_PATH"), ini());
}

TEST_F(Logging, WithoutAFolderTheSettingsAreReadAllTheSame)
{
    EXPECT_THAT(settings(nullptr), ElementsAre("file 0", "console 1", "level 3"));
}

TEST_F(Logging, TheFoldersResultIsTheAnswer)
{
    m_log.result = 12;
    EXPECT_EQ(outcome([&] { return context().setLogFileSavePath("/tmp"); }), (Outcome{12, 0, {}}));
    EXPECT_EQ(context().setLogFileSavePath(nullptr), 0) << "whatever the rest answers";
}

TEST_F(Logging, TheFileDecides)
{
    writeFile(ini(), "[Log]\nLogConsole=0\nLogLevel=1\nLogFile=2\n");
    EXPECT_THAT(settings(), ElementsAre("file 1", "console 0", "level 1"));
    EXPECT_EQ(readFile(ini()), "[Log]\nLogConsole=0\nLogLevel=1\nLogFile=2\n");
    writeFile(ini(), "[Log]\nLogConsole=-3\nLogLevel=4\nLogFile=-1\n");
    EXPECT_THAT(settings(), ElementsAre("file 0", "console 0", "level 4"));
}

TEST_F(Logging, ALevelInTheFileThatIsNoneMeansThree)
{
    writeFile(ini(), "[Log]\nLogConsole=1\nLogLevel=7\nLogFile=0\n");
    EXPECT_THAT(settings(), ElementsAre("file 0", "console 1", "level 3"));
    EXPECT_EQ(readFile(ini()), "[Log]\nLogConsole=1\nLogLevel=7\nLogFile=0\n") << "7 stays there";
    writeFile(ini(), "[Log]\nLogConsole=1\nLogLevel=-1\nLogFile=0\n");
    EXPECT_THAT(settings(), ElementsAre("file 0", "console 1", "level 3"));
}

TEST_F(Logging, OnlyWhatTheFileLacksIsAdded)
{
    writeFile(ini(), "[Other]\nKey=1\n[Log]\nLogLevel=2\n");
    EXPECT_THAT(settings(), ElementsAre("file 0", "console 1", "level 2"));
    EXPECT_EQ(readFile(ini()), "[Other]\nKey=1\n[Log]\nLogFile=0\nLogConsole=1\nLogLevel=2\n");
}

TEST_F(Logging, AFileThatCannotBeWrittenMeansTheDefaults)
{
    std::filesystem::create_directory(ini());
    EXPECT_THAT(settings(), ElementsAre("file 0", "console 1", "level 3"));
}

TEST_F(Logging, TheFileIsReadAtEveryCall)
{
    settings();
    writeFile(ini(), "[Log]\nLogConsole=1\nLogLevel=0\nLogFile=1\n");
    EXPECT_THAT(settings(), ElementsAre("file 1", "console 1", "level 0"));
}

TEST_F(Logging, ALongTextIsCutAt2047Characters)
{
    ASSERT_EQ(context().initialize(), 0);
    const std::string uri(3000, 'u');
    NubrixDevice *device = nullptr;
    const std::vector<std::string> lines =
        logOf([&] { return context().openDevice(uri.c_str(), &device); });
    const std::string whole = "Start open device " + uri;
    EXPECT_EQ(lines[0], "4 " + whole.substr(0, 2047));
}

TEST_F(Logging, ATextOf2047CharactersIsNotCut)
{
    ASSERT_EQ(context().initialize(), 0);
    const std::string uri(2047 - std::string("Start open device ").size(), 'u');
    NubrixDevice *device = nullptr;
    EXPECT_EQ(logOf([&] { return context().openDevice(uri.c_str(), &device); })[0],
              "4 Start open device " + uri);
}

TEST_F(Logging, TextsFromOutsideAreNoFormats)
{
    ASSERT_EQ(context().initialize(), 0);
    NubrixDevice *device = nullptr;
    EXPECT_EQ(logOf([&] { return context().openDevice("%s%n%d", &device); })[0],
              "4 Start open device %s%n%d");
}

TEST_F(Logging, TheApplicationsOwnLinesAreDropped)
{
    for (const NubrixLogLevel level : {NUBRIX_LOG_TRACE, NUBRIX_LOG_ERROR, NUBRIX_LOG_MILESTONE})
        EXPECT_EQ(outcome([&] { return context().logInfo(level, "a %d", 1); }), (Outcome{}));
}

TEST_F(Logging, ThreadsLogSideBySide)
{
    context();
    m_log.clear();
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 100; ++i)
                EXPECT_EQ(context().setLogLevel(10 + thread), -1);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (const char *line : {"3 Log level set error : 10\n", "3 Log level set error : 11\n",
                             "3 Log level set error : 12\n", "3 Log level set error : 13\n"})
        EXPECT_EQ(m_log.count(line), 100U);
}

TEST_F(Logging, ThreeFunctionsAreNeededAndNeverCalled)
{
    settings("/tmp");
    context().initialize();
    context().destroy();
    for (const char *unused : {"errno", "global level", "size 0"})
        EXPECT_THAT(m_log.settings(), Each(testing::Ne(unused)));
}

TEST_F(Logging, DeletingAnyContextSilencesAll)
{
    NubrixBaseContext *const first = &context();
    *m_library.exported<NubrixBaseContext *>("g_nubrixContext") = nullptr;
    NubrixBaseContext *const second = &context();
    m_library.deleteContext(first);
    m_log.clear();
    EXPECT_EQ(second->setLogLevel(9), -1);
    EXPECT_EQ(second->initialize(), 0) << "which does not load the plug-in";
    EXPECT_THAT(m_log.lines(), IsEmpty());
    *m_library.exported<NubrixBaseContext *>("g_nubrixContext") = nullptr;
    NubrixBaseContext *const third = &context();
    EXPECT_EQ(second->setLogLevel(9), -1);
    EXPECT_EQ(m_log.lines().size(), 1U) << "a new context brings it back";
    EXPECT_EQ(second->destroy(), 0);
    m_library.deleteContext(second);
    EXPECT_EQ(&context(), third);
}

/// A library whose log plug-in is not what it should be.
class WithoutLog : public testing::Test {
protected:
    /// Everything works, and silently.
    void expectSilence()
    {
        NubrixBaseContext &context = m_library.context();
        EXPECT_FALSE(m_library.isLoaded(kLogDriver));
        EXPECT_EQ(context.setLogLevel(2), 0);
        EXPECT_EQ(context.setLogLevel(5), -1);
        EXPECT_EQ(context.setLogFolder("/tmp"), 0);
        EXPECT_EQ(context.setLogFileSavePath("/tmp"), 0);
        EXPECT_TRUE(std::filesystem::exists(m_library.folder() + "nubrixLog.ini"));
        EXPECT_EQ(context.initialize(), 0);
        EXPECT_EQ(context.destroy(), 0);
        m_library.deleteContext();
    }

    InstalledLibrary m_library;
};

TEST_F(WithoutLog, EverythingWorks)
{
    expectSilence();
}

TEST_F(WithoutLog, AFileThatIsNoLibraryIsNone)
{
    writeFile(m_library.folder() + kLogDriver, "no library");
    expectSilence();
}

TEST_F(WithoutLog, OneFunctionMissingIsAllMissing)
{
    for (const char missing : std::string("012345678")) {
        SCOPED_TRACE(missing);
        m_library.install(std::string("IncompleteLog") + missing, kLogDriver);
        expectSilence();
        m_library.remove(kLogDriver);
    }
}

TEST_F(WithoutLog, ThePlugInIsLoadedAndUnloadedWithTheContext)
{
    m_library.install("RecordingLog", kLogDriver);
    m_library.load();
    for (int times = 0; times < 3; ++times) {
        EXPECT_FALSE(m_library.isLoaded(kLogDriver));
        m_library.context();
        EXPECT_TRUE(m_library.isLoaded(kLogDriver));
        m_library.deleteContext();
    }
    EXPECT_FALSE(m_library.isLoaded(kLogDriver));
}

TEST_F(WithoutLog, APlugInInstalledLaterServesTheNextContext)
{
    expectSilence();
    FakeLog &log = m_library.installLog();
    m_library.context();
    EXPECT_EQ(m_library.context().setLogLevel(9), -1);
    EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace nubrix
