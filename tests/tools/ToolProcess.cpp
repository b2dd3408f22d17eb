#include "ToolProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "tests/Paths.h"

namespace nubrix {

namespace {

using Clock = std::chrono::steady_clock;

// Only a program that hangs reaches it.
constexpr std::chrono::seconds kDeadline(100);

[[noreturn]] void runCommand(const Words &command, const Words &environment)
{
    for (const std::string &entry : environment) {
        const std::size_t equals = entry.find('=');
        setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
    }
    std::vector<char *> arguments;
    for (const std::string &word : command)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

std::array<int, 2> makePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    return ends;
}

/// Appends the available data; closes the descriptor at the end of the data.
void drain(int &descriptor, std::string &text)
{
    std::array<char, 4096> buffer{};
    const ssize_t size = read(descriptor, buffer.data(), buffer.size());
    if (size > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(size));
    } else if (size == 0 || errno != EINTR) {  // a terminal ends with EIO
        close(descriptor);
        descriptor = -1;
    }
}

unsigned int countOf(const std::string &text, const std::string &wanted)
{
    unsigned int count = 0;
    for (std::size_t at = text.find(wanted); at != std::string::npos;
         at = text.find(wanted, at + wanted.size()))
        ++count;
    return count;
}

Words split(const std::string &list, char separator)
{
    Words words;
    std::string word;
    for (const char c : list + separator) {
        if (c != separator)
            word += c;
        else if (!word.empty())
            words.push_back(std::exchange(word, {}));
    }
    return words;
}

}  // namespace

ToolProcess::ToolProcess(const Words &command) : ToolProcess(command, Options())
{
}

ToolProcess::ToolProcess(const Words &command, const Options &options)
{
    if (options.onTerminal) {
        m_child = forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_child == 0)
            runCommand(command, options.environment);
        m_out = dup(m_terminal);
    } else {
        start(command, options);
    }
    if (m_child < 0)
        throw std::runtime_error("cannot start " + command.front());
}

ToolProcess::~ToolProcess()
{
    if (m_child > 0) {
        kill(m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }
    for (const int descriptor : {m_out, m_err, m_terminal})
        if (descriptor >= 0)
            close(descriptor);
}

void ToolProcess::start(const Words &command, const Options &options)
{
    const std::array<int, 2> out = makePipe();
    const std::array<int, 2> err = makePipe();
    m_child = fork();
    if (m_child == 0) {
        const int file = options.output.empty() ? -1 : open(options.output.c_str(), O_WRONLY);
        dup2(file >= 0 ? file : out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        runCommand(command, options.environment);
    }
    close(out[1]);
    close(err[1]);
    m_out = out[0];
    m_err = err[0];
}

bool ToolProcess::readSome()
{
    std::array<struct pollfd, 2> both = {{{m_out, POLLIN, 0}, {m_err, POLLIN, 0}}};
    if (poll(both.data(), both.size(), 1000) < 0)
        return m_out >= 0 || m_err >= 0;
    if (both[0].revents != 0)
        drain(m_out, m_result.out);
    if (both[1].revents != 0)
        drain(m_err, m_result.err);
    return m_out >= 0 || m_err >= 0;
}

bool ToolProcess::waitForOutput(const std::string &text, unsigned int count)
{
    const auto deadline = Clock::now() + kDeadline;
    while (countOf(m_result.out + m_result.err, text) < count)
        if (!readSome() || Clock::now() > deadline)
            return false;
    return true;
}

void ToolProcess::signal(int number) const
{
    kill(m_child, number);
}

void ToolProcess::type(const std::string &text) const
{
    if (write(m_terminal, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("cannot write to the terminal");
}

ToolResult ToolProcess::finish()
{
    const auto deadline = Clock::now() + kDeadline;
    while (readSome() && Clock::now() < deadline) {
    }
    if (m_out >= 0 || m_err >= 0) {
        m_result.err += "\n(killed after the deadline)";
        kill(m_child, SIGKILL);
    }
    int status = 0;
    waitpid(m_child, &status, 0);
    m_child = -1;
    if (WIFEXITED(status))
        m_result.status = WEXITSTATUS(status);
    else if (m_out < 0 && m_err < 0)
        m_result.status = 128 + WTERMSIG(status);
    return m_result;
}

Words programCommand(const std::string &name, const Words &words)
{
    Words command = split(paths::kEmulator, '|');
    command.push_back(std::string(paths::kBin) + "/" + name);
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

Words toolCommand(const Words &words)
{
    return programCommand("nubrix", words);
}

Words virtualCommand(const Words &words, const std::string &scenario)
{
    Words command = {std::string(paths::kBin) + "/nubrix-virtual"};
    if (!scenario.empty())
        command.insert(command.end(), {"--scenario", scenario});
    const Words tool = toolCommand(words);
    command.insert(command.end(), tool.begin(), tool.end());
    return command;
}

ToolResult runTool(const Words &words)
{
    return ToolProcess(toolCommand(words)).finish();
}

ToolResult runVirtual(const Words &words, const std::string &scenario)
{
    return ToolProcess(virtualCommand(words, scenario)).finish();
}

ToolResult untilUndisturbed(const std::function<ToolResult()> &run,
                            const std::function<bool(const ToolResult &)> &undisturbed)
{
    constexpr int kMaxTries = 5;
    ToolResult result = run();
    for (int i = 1; i < kMaxTries && !undisturbed(result); ++i)
        result = run();
    return result;
}

ToolResult recordWithoutLoss(const Words &words)
{
    return untilUndisturbed([&words] { return runVirtual(words); },
                            [](const ToolResult &result) {
                                return result.err.find("are missing") == std::string::npos;
                            });
}

std::string readBy(const std::string &program, const std::string &file)
{
    const ToolResult result = ToolProcess({program, file}).finish();
    EXPECT_EQ(result.status, 0) << program << " " << file << "\n" << result.err;
    return result.out;
}

}  // namespace nubrix
