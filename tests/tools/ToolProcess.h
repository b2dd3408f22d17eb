// Runs programs as a user does, and reads their output.
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

/// A running program. Every wait has a deadline and then fails.
class ToolProcess {
public:
    struct Options {
        bool onTerminal = false;  // standard input, output and error
        Words environment;        // "NAME=value" in addition
        std::string output;       // a file for standard output
    };

    explicit ToolProcess(const Words &command);
    ToolProcess(const Words &command, const Options &options);
    ~ToolProcess();
    ToolProcess(const ToolProcess &) = delete;
    ToolProcess &operator=(const ToolProcess &) = delete;

    /// Waits until the output contains this text `count` times; false when it never does.
    bool waitForOutput(const std::string &text, unsigned int count = 1);
    /// What it has written to standard output, as far as it was waited for.
    const std::string &output() const { return m_result.out; }
    void signal(int number) const;
    /// Sends input to the terminal.
    void type(const std::string &text) const;
    /// Waits until the program has ended.
    ToolResult finish();

private:
    void start(const Words &command, const Options &options);
    bool readSome();

    pid_t m_child = -1;
    int m_out = -1;  // -1: closed
    int m_err = -1;
    int m_terminal = -1;
    ToolResult m_result = {-1, {}, {}};
};

/// The command line of a program of this project with these arguments, under the emulator if there
/// is one.
Words programCommand(const std::string &name, const Words &words);
/// The command line of the tool.
Words toolCommand(const Words &words);
/// The command line of the tool on the virtual camera.
Words virtualCommand(const Words &words, const std::string &scenario = "");

ToolResult runTool(const Words &words);
ToolResult runVirtual(const Words &words, const std::string &scenario = "");
/// The result of `run`, which is repeated a few times when a busy machine has lost frames.
ToolResult untilUndisturbed(const std::function<ToolResult()> &run,
                            const std::function<bool(const ToolResult &)> &undisturbed);
/// Records the virtual camera without lost frames.
ToolResult recordWithoutLoss(const Words &words);
/// The output of an independent program about a file; the test fails when it cannot read the file.
std::string readBy(const std::string &program, const std::string &file);

}  // namespace nubrix
