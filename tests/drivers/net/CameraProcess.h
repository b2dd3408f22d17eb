// A camera, or an application that has the control of one, in a process of its own.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>

#include "tests/Paths.h"

namespace nubrix::net {

/// A process that is killed at the end of the test. Not thread-safe.
class CameraProcess {
public:
    /// `role`: "serve", "control" or "stream"; `runner` runs it. Throws std::runtime_error when it
    /// cannot.
    CameraProcess(const std::string &role, const std::string &address,
                  const std::string &runner = "")
    {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0)
            throw std::runtime_error("pipe");
        m_process = fork();
        if (m_process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);  // also when the test crashes
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            const std::string command =
                "exec " + runner + " " + paths::kCameraProcess + " " + role + " " + address;
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        char word[4] = {};
        const ssize_t got = read(ends[0], word, 2);
        close(ends[0]);
        if (got != 2 || std::string(word) != "up")
            throw std::runtime_error("no process to " + role + " a camera on " + address);
    }
    ~CameraProcess() { killNow(); }
    CameraProcess(const CameraProcess &) = delete;
    CameraProcess &operator=(const CameraProcess &) = delete;

    /// Pauses it: returns when none of its threads runs any more.
    void stop() const
    {
        kill(m_process, SIGSTOP);
        waitpid(m_process, nullptr, WUNTRACED);
    }
    void resume() const { kill(m_process, SIGCONT); }
    /// Kills it at once, so that it closes nothing.
    void killNow()
    {
        if (m_process < 0)
            return;
        kill(m_process, SIGKILL);
        waitpid(std::exchange(m_process, -1), nullptr, 0);
    }
    /// Terminates a program that streams. Returns its status, or 128 and the signal that ended it.
    int end()
    {
        int status = 0;
        kill(m_process, SIGTERM);
        waitpid(std::exchange(m_process, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_process = -1;
};

}  // namespace nubrix::net
