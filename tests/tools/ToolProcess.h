// Runs programs as a user does, and looks at what they say.
#pragma once

#include <sys/types.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace nubrix {

using Words = std::vector<std::string>;

struct ToolResult {
    int status;  // exit status; 128 + signal when a signal ended it; -1: killed by the deadline
    std::string out;  // standard output; with a terminal, everything
    std::string err;

    nlohmann::json json() const { return nlohmann::json::parse(out); }
};

/// A program that runs. Everything here fails the test when it takes far too long.
class ToolProcess {
public:
    struct Options {
        bool onTerminal = false;  // standard input, output and error
        Words environment;        // "NAME=value" in addition
        std::string output;       // standard output goes to this file
    };

    explicit ToolProcess(const Words &command);
    ToolProcess(const Words &command, const Options &options);
    ~ToolProcess();
    ToolProcess(const ToolProcess &) = delete;
    ToolProcess &operator=(const ToolProcess &) = delete;

    /// Waits until this text was written `count` times.
    bool waitForOutput(const std::string &text, unsigned int count = 1);
    void signal(int number) const;
    /// Types on the terminal.
    void type(const std::string &text) const;
    /// Waits for its end.
    ToolResult finish();

private:
    void start(const Words &command, const Options &options);
    bool readSome();

    pid_t m_child = -1;
    int m_out = -1;  // -1: at its end
    int m_err = -1;
    int m_terminal = -1;
    ToolResult m_result = {-1, {}, {}};
};

/// The command line of one of our programs with these words; where needed under an emulator.
Words programCommand(const std::string &name, const Words &words);
/// The same for the tool itself.
Words toolCommand(const Words &words);
/// The same on the virtual camera.
Words virtualCommand(const Words &words, const std::string &scenario = "");

ToolResult runTool(const Words &words);
ToolResult runVirtual(const Words &words, const std::string &scenario = "");
/// What `run` gives; run again, a few times, while a busy machine has disturbed it by losing
/// frames.
ToolResult untilUndisturbed(const std::function<ToolResult()> &run,
                            const std::function<bool(const ToolResult &)> &undisturbed);
/// A recording of the virtual camera that has lost nothing.
ToolResult recordWithoutLoss(const Words &words);
/// What a program that is not ours prints about a file; the test fails when it cannot read it.
std::string readBy(const std::string &program, const std::string &file);

}  // namespace nubrix
