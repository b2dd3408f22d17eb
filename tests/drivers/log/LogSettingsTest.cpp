// The settings of the plug-in: the INI file next to it and the environment.
#include <memory>

#include "log/LogSettings.h"
#include "tests/Paths.h"
#include "tests/drivers/log/LoadedLogPlugin.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class LogSettingsTest : public LogPluginFixture {
protected:
    // The plug-in reads the settings next to itself, so each test has a copy of its own. The log
    // files go to the current folder.
    LogSettingsTest()
    {
        std::filesystem::copy_file(paths::kLogPlugin, m_path);
        std::filesystem::current_path(m_folder.path());
    }
    ~LogSettingsTest() override { std::filesystem::current_path(m_before); }

    std::unique_ptr<LoadedLogPlugin> load() { return std::make_unique<LoadedLogPlugin>(m_path); }
    std::unique_ptr<LoadedLogPlugin> loadWithIni(const std::string &text)
    {
        writeFile(m_folder.file("nubrixLog.ini"), text);
        return load();
    }
    std::string stderrOfLoading(std::unique_ptr<LoadedLogPlugin> &plugin)
    {
        return console([&] { plugin = load(); });
    }
    static std::size_t linesOnConsole(LoadedLogPlugin &plugin)
    {
        return texts(console([&] { plugin.simplify("Module", 4, "text"); })).size();
    }
    std::size_t linesInFile() const { return texts(readFile(m_folder.file(logName()))).size(); }

    const std::filesystem::path m_before = std::filesystem::current_path();
    const std::string m_path = m_folder.file("libNubrixLogDriver.so");
};

TEST_F(LogSettingsTest, WithoutAnySettingErrorsGoToTheConsole)
{
    const auto plugin = load();
    EXPECT_EQ(plugin->level(), 3);
    EXPECT_EQ(linesOnConsole(*plugin), 1U);
    EXPECT_FALSE(std::filesystem::exists(logName()));
}

TEST_F(LogSettingsTest, TheIniFileSetsConsoleLevelAndFile)
{
    const auto plugin = loadWithIni("[Log]\nLogFile=1\nLogLevel=1\nLogConsole=0\n");
    EXPECT_EQ(plugin->level(), 1);
    EXPECT_EQ(linesOnConsole(*plugin), 0U);
    EXPECT_EQ(linesInFile(), 1U);
}

TEST_F(LogSettingsTest, AnInstalledPlugInReadsTheFileThatIsNextToTheLibrary)
{
    std::filesystem::create_directory(m_folder.file("nubrix"));
    const std::string installed = m_folder.file("nubrix/libNubrixLogDriver.so");
    std::filesystem::copy_file(paths::kLogPlugin, installed);
    writeFile(m_folder.file("nubrixLog.ini"), "[Log]\nLogLevel=1\n");
    writeFile(m_folder.file("nubrix/nubrixLog.ini"), "[Log]\nLogLevel=4\n");
    EXPECT_EQ(LoadedLogPlugin(installed).level(), 1);
}

TEST_F(LogSettingsTest, TheIniFileIsReadAsTheLibraryReadsIt)
{
    EXPECT_EQ(loadWithIni("[Log]\r\nLogLevel=\"4\"\r\n")->level(), 4);
    EXPECT_EQ(loadWithIni("[Log]\nLogLevel=2 of 4\n")->level(), 2);
    EXPECT_EQ(loadWithIni("[Log]\nLogLevel=abc\n")->level(), 0);
    EXPECT_EQ(loadWithIni("[Log]\nLogLevel=7\n")->level(), 3);
    EXPECT_EQ(loadWithIni("[Log]\nLogLevel=-1\n")->level(), 3);
    EXPECT_EQ(loadWithIni("[Log]\nLogLevel = 1\n")->level(), 3);
    EXPECT_EQ(loadWithIni("[Log]\n;LogLevel=1\n")->level(), 1);
    EXPECT_EQ(loadWithIni("[Log]\nX=1\n[Other]\nLogLevel=1\n")->level(), 3);
    EXPECT_EQ(loadWithIni("[Other]\nLogLevel=1\n[Log]\nLogLevel=2")->level(), 2);
    EXPECT_EQ(loadWithIni("LogLevel=1\n")->level(), 3);
    EXPECT_EQ(loadWithIni("")->level(), 3);
}

TEST_F(LogSettingsTest, ValuesFromOneUpTurnTheConsoleAndTheFileOn)
{
    auto plugin = loadWithIni("[Log]\nLogConsole=2\nLogFile=-1\n");
    EXPECT_EQ(linesOnConsole(*plugin), 1U);
    EXPECT_EQ(linesInFile(), 0U);
    plugin.reset();
    plugin = loadWithIni("[Log]\nLogConsole=-1\nLogFile=5\n");
    EXPECT_EQ(linesOnConsole(*plugin), 0U);
    EXPECT_EQ(linesInFile(), 1U);
}

TEST_F(LogSettingsTest, TheEnvironmentOverridesTheIniFile)
{
    setenv("NUBRIX_LOG_LEVEL", "0", 1);
    setenv("NUBRIX_LOG_CONSOLE", "1", 1);
    setenv("NUBRIX_LOG_FILE", "0", 1);
    const auto plugin = loadWithIni("[Log]\nLogFile=1\nLogLevel=1\nLogConsole=0\n");
    EXPECT_EQ(plugin->level(), 0);
    EXPECT_EQ(linesOnConsole(*plugin), 1U);
    EXPECT_EQ(linesInFile(), 0U);
}

TEST_F(LogSettingsTest, TheFileMayBeTurnedOnInTheCurrentFolder)
{
    setenv("NUBRIX_LOG_FILE", "1", 1);
    setenv("NUBRIX_LOG_CONSOLE", "0", 1);
    const auto plugin = load();
    std::filesystem::current_path("/");
    EXPECT_EQ(linesOnConsole(*plugin), 0U);
    EXPECT_EQ(linesInFile(), 1U);
}

TEST_F(LogSettingsTest, TheFileMayBeGivenAFolder)
{
    std::filesystem::create_directory("logs");
    setenv("NUBRIX_LOG_FILE", "logs", 1);
    EXPECT_EQ(linesOnConsole(*load()), 1U);
    EXPECT_EQ(texts(readFile("logs/" + logName())).size(), 1U);

    setenv("NUBRIX_LOG_FILE", "missing/folder/", 1);
    EXPECT_EQ(linesOnConsole(*load()), 1U);
    EXPECT_EQ(texts(readFile("missing/folder/" + logName())).size(), 1U);
}

TEST_F(LogSettingsTest, TheFileMayBeGivenAPath)
{
    setenv("NUBRIX_LOG_FILE", "logs/my.txt", 1);
    const auto plugin = load();
    EXPECT_FALSE(std::filesystem::exists("logs"));
    EXPECT_EQ(linesOnConsole(*plugin), 1U);
    EXPECT_EQ(texts(readFile("logs/my.txt")).size(), 1U);
}

TEST_F(LogSettingsTest, ADeviceThatIsAlwaysFullMayBeTheFile)
{
    setenv("NUBRIX_LOG_FILE", "/dev/full", 1);
    const auto plugin = load();
    plugin->configConsole(0);
    EXPECT_EQ(console([&] { EXPECT_EQ(plugin->simplify("Module", 4, "text"), -1); }),
              "nubrix log: cannot write /dev/full: No space left on device\n");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST_F(LogSettingsTest, EmptyVariablesChangeNothing)
{
    for (const char *name : {"NUBRIX_LOG_LEVEL", "NUBRIX_LOG_CONSOLE", "NUBRIX_LOG_FILE"})
        setenv(name, "", 1);
    std::unique_ptr<LoadedLogPlugin> plugin;
    EXPECT_EQ(stderrOfLoading(plugin), "");
    EXPECT_EQ(plugin->level(), 3);
    EXPECT_EQ(linesOnConsole(*plugin), 1U);
    EXPECT_EQ(linesInFile(), 0U);
}

TEST_F(LogSettingsTest, AnInvalidVariableIsReportedAndIgnored)
{
    std::unique_ptr<LoadedLogPlugin> plugin;
    for (const char *value : {"5", "-1", "abc", "11", " 1", "1 "}) {
        setenv("NUBRIX_LOG_LEVEL", value, 1);
        EXPECT_EQ(stderrOfLoading(plugin), std::string("nubrix log: NUBRIX_LOG_LEVEL is \"") +
                                               value + "\"; it must be 0 to 4. Ignored.\n");
        EXPECT_EQ(plugin->level(), 3);
        plugin.reset();
    }
    unsetenv("NUBRIX_LOG_LEVEL");
    setenv("NUBRIX_LOG_CONSOLE", "2", 1);
    EXPECT_THAT(stderrOfLoading(plugin), HasSubstr("it must be 0 or 1"));
    EXPECT_EQ(linesOnConsole(*plugin), 1U);
}

// The settings that are made from several files, without the plug-in.
class LogFilesTest : public LogPluginFixture {
protected:
    log_plugin::LogSettings read()
    {
        log_plugin::LogSettings settings;
        m_reports = console([&] { settings = log_plugin::readLogSettings({m_own, m_system}); });
        return settings;
    }

    const std::string m_own = m_folder.file("own.ini");
    const std::string m_system = m_folder.file("system.ini");
    std::string m_reports;
};

TEST_F(LogFilesTest, TheSecondFileOverridesTheFirstEntryByEntry)
{
    writeFile(m_own, "[Log]\nLogFile=1\nLogLevel=1\n");
    writeFile(m_system, "[Log]\nLogLevel=2\nLogConsole=0\n");
    const log_plugin::LogSettings settings = read();
    EXPECT_TRUE(settings.file);
    EXPECT_EQ(settings.level, 2);
    EXPECT_FALSE(settings.console);
    EXPECT_EQ(m_reports, "");
}

TEST_F(LogFilesTest, EachFileMayBeLeftOut)
{
    writeFile(m_system, "[Log]\nLogLevel=2\n");
    EXPECT_EQ(read().level, 2);
    std::filesystem::remove(m_system);
    EXPECT_EQ(read().level, 3);
    writeFile(m_own, "[Log]\nLogLevel=1\n");
    EXPECT_EQ(read().level, 1);
    EXPECT_EQ(m_reports, "");
}

TEST_F(LogFilesTest, TheEnvironmentOverridesBoth)
{
    setenv("NUBRIX_LOG_LEVEL", "4", 1);
    writeFile(m_own, "[Log]\nLogLevel=1\n");
    writeFile(m_system, "[Log]\nLogLevel=2\n");
    EXPECT_EQ(read().level, 4);
}

TEST_F(LogFilesTest, AFileThatCannotBeUsedIsReportedByItsPathAndIgnored)
{
    writeFile(m_own, "[Log]\nLogLevel=1\n");
    std::filesystem::create_directory(m_system);
    EXPECT_EQ(read().level, 1);
    EXPECT_EQ(m_reports, "nubrix log: " + m_system + " cannot be read: Is a directory. Ignored.\n");
    std::filesystem::remove(m_system);
    writeFile(m_system, "LogLevel=2\n");
    EXPECT_EQ(read().level, 1);
    EXPECT_EQ(m_reports, "nubrix log: " + m_system + " has entries, but no section. Ignored.\n");
}

TEST_F(LogFilesTest, AnInvalidEntryIsReportedWithThePathOfItsFile)
{
    writeFile(m_own, "[Log]\nLogConsole=yes\n");
    writeFile(m_system, "[Log]\nLogLevel=7\n");
    const log_plugin::LogSettings settings = read();
    EXPECT_FALSE(settings.console);
    EXPECT_EQ(settings.level, 3);
    EXPECT_EQ(m_reports,
              "nubrix log: " + m_own + ": LogConsole=yes is no number: it counts as 0.\n" +
                  "nubrix log: " + m_system + ": LogLevel=7 is not 0 to 4: 3 is used.\n");
}

}  // namespace
}  // namespace nubrix
