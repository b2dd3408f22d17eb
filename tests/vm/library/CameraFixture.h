// The words of the tests that use the library on cameras that come, go and fail.
#pragma once

#include <gtest/gtest.h>
#include <nubrix/nubrix.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "Expected.h"

namespace nubrix::vm {

using Clock = std::chrono::steady_clock;

/// A context, and the software camera "one" plugged in; it is plugged in again afterwards.
class CameraFixture : public testing::Test {
protected:
    struct Change {
        std::string uri;
        unsigned int state;
        Clock::time_point when;
    };

    /// The stream's counters, as drivers/uvc/README.md has them.
    struct Counters {
        unsigned int delivered;
        unsigned int flagged;
        unsigned int held;
        unsigned int unusable;
        unsigned int missed;
    };

    CameraFixture();
    ~CameraFixture() override;

    /// Gives the software camera a command, and has it obeyed.
    static void control(const std::string &command);

    /// Unplugs the camera and plugs it in again, and waits until udev has seen its nodes go and
    /// come.
    static void replug();

    /// Asks until it is so, 20 s at most.
    static bool eventually(const std::function<bool()> &isSo);

    /// Waits until `count` changes of cameras were reported in all.
    bool changesReach(std::size_t count);
    std::vector<Change> changes();
    unsigned int cameraCount();
    /// From now on the callback does not return, until it is released.
    void holdCallback();
    /// Waits until the callback has been called and does not return.
    bool callbackIsHeld();
    void releaseCallback();

    Counters counters(NubrixDevice *camera, unsigned int stream);

    NubrixDevice *open();
    NubrixStream *stream(NubrixDevice *camera, unsigned int type);

    /// Reads until a frame comes or the status is `wanted`; what the last call gave.
    int readUntil(NubrixStream *stream, int wanted);

    /// Waits for a frame, which is to be released; null when none comes.
    typedefNubrixFrame *nextFrame(NubrixStream *stream);

    /// Reads one frame, which must be right in every byte unless it carries flags; its flags.
    unsigned int readRightFrame(NubrixStream *stream, const std::string &name);

    NubrixBaseContext *const m_context;

private:
    static void onChange(const char *uri, const char *serial, unsigned int state, void *user);

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Change> m_changes;  // under m_lock
    bool m_hold = false;            // under m_lock
};

}  // namespace nubrix::vm
