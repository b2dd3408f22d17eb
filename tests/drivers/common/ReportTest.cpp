#include "common/Report.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "nubrix/log_driver.h"
#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FailingNew.h"

namespace nubrix {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// The report on stderr about an exception, without a log.
template <class Exception>
std::string reported(const Exception &exception, const char *operation)
{
    testing::internal::CaptureStderr();
    try {
        throw exception;
    } catch (...) {
        reportFailure(operation);
    }
    return testing::internal::GetCapturedStderr();
}

TEST(ReportFailureTest, ReportsWhatFailedAndWhy)
{
    EXPECT_THAT(reported(std::runtime_error("no descriptors left"), "opening usb:1-2"),
                EndsWith(": opening usb:1-2 failed: no descriptors left\n"));
    EXPECT_THAT(reported(7, "opening usb:1-2"),
                EndsWith(": opening usb:1-2 failed: unknown exception\n"));
}

TEST(ReportFailureTest, TheSubjectIsTheProgramOrPlugIn)
{
    EXPECT_THAT(reported(7, "it"), StartsWith("driver_common_test: "));
}

TEST(ReportFailureTest, TextsAreCleanedAndCut)
{
    EXPECT_THAT(reported(std::runtime_error("a\x1b[2Jb\xc2\x9b\xff"), "it"),
                EndsWith("failed: a?[2Jb??\n"));
    const std::string line = reported(std::runtime_error(std::string(5000, 'x')), "it");
    EXPECT_THAT(line, HasSubstr("it failed: " + std::string(500, 'x') + "\n"));
}

TEST(ReportFailureTest, NeedsNoMemory)
{
    testing::internal::CaptureStderr();
    const int failures = failEachAllocation(
        [] {
            try {
                throw std::bad_alloc();
            } catch (const std::bad_alloc &) {
                reportFailure("opening usb:1-2");
            }
        },
        [] {});
    EXPECT_EQ(failures, 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("opening usb:1-2 failed: std::bad_alloc\n"));
}

TEST(ReporterTest, WithoutALogALineGoesToStderrInCleanText)
{
    testing::internal::CaptureStderr();
    Reporter{"module", "camera 1"}.error("it\x1b[1m failed");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "camera 1: it?[1m failed\n");
}

/// What a plug-in writes at each level, with the log plug-in at another path.
std::string reportedAtEachLevel(const std::string &logPath, const std::string &pluginPath)
{
    struct Closer {
        void operator()(void *library) const { dlclose(library); }
    };
    using Library = std::unique_ptr<void, Closer>;
    setenv("NUBRIX_LOG_CONSOLE", "1", 1);
    const Library log(dlopen(logPath.c_str(), RTLD_NOW));
    const Library plugin(dlopen(pluginPath.c_str(), RTLD_NOW));
    if (!log || !plugin)
        throw std::runtime_error(dlerror());
    const auto setLevel =
        reinterpret_cast<decltype(&nubrixLogSetlogLevel)>(dlsym(log.get(), "nubrixLogSetlogLevel"));
    const auto report = reinterpret_cast<void (*)()>(dlsym(plugin.get(), "reportAtEachLevel"));
    if (!setLevel || !report)
        throw std::runtime_error("the plug-ins lack a function");
    setLevel(0);
    testing::internal::CaptureStderr();
    report();
    return testing::internal::GetCapturedStderr();
}

TEST(ReporterTest, WithALogALineHasItsLevel)
{
    const std::string lines = reportedAtEachLevel(paths::kLogPlugin, paths::kReportingPlugin);
    EXPECT_THAT(lines, testing::ContainsRegex("warning.*Module.* first"));
    EXPECT_THAT(lines, testing::ContainsRegex("error.*Module.* second"));
    EXPECT_THAT(lines, testing::ContainsRegex("milestone.*Module.* third"));
    EXPECT_EQ(lines.find("camera 1"), std::string::npos);
}

TEST(ReporterTest, TheLogIsFoundWhereverTheLibraryFindsIt)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("nubrix"));
    const std::string log = "libNubrixLogDriver.so";
    const std::string plugin = "libNubrixUvcDriver.so";
    for (const char *place : {"", "nubrix/"}) {
        std::filesystem::copy_file(paths::kLogPlugin, folder.file(place + log));
        for (const char *other : {"", "nubrix/"}) {
            const std::string path = folder.file(other + plugin);
            std::filesystem::copy_file(paths::kReportingPlugin, path);
            const std::string lines = reportedAtEachLevel(folder.file(place + log), path);
            EXPECT_THAT(lines, HasSubstr("[error]")) << path;
            EXPECT_THAT(lines, testing::Not(HasSubstr("camera 1"))) << path;
            std::filesystem::remove(path);
        }
        std::filesystem::remove(folder.file(place + log));
    }
}

}  // namespace
}  // namespace nubrix
