// A copy of the library in a folder without plug-ins, unless a test adds them.
#pragma once

#include <filesystem>
#include <string>

#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {

class LibraryFolder : public TemporaryFolder {
public:
    LibraryFolder() { copyLibraryTo("libNubrix.so.2"); }

    void copyLibraryTo(const std::string &name) const
    {
        std::filesystem::copy_file(std::string(paths::kLib) + "/libNubrix.so.2", file(name));
    }

    /// Runs a command of the tool with this library.
    ToolResult run(const std::string &command, const Words &options = {}) const
    {
        Words words = {command};
        words.insert(words.end(), options.begin(), options.end());
        ToolProcess::Options environment;
        environment.environment = {"LD_LIBRARY_PATH=" + path().string()};
        return ToolProcess(toolCommand(words), environment).finish();
    }
};

}  // namespace nubrix::tool
