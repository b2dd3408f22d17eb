// The vocabulary of the tests that use the library the way an application does.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "nubrix/nubrix.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/FakeLog.h"
#include "tests/fakes/HangGuard.h"
#include "tests/fakes/InstalledLibrary.h"
#include "tests/fakes/Outcome.h"

namespace nubrix {

inline constexpr const char *kNotInitialized = "3 not Initialized! ";
inline constexpr const char *kInvalidDevice = "3 Invalid Device!";
inline constexpr const char *kInvalidStream = "3 Stream Handle is Valid!";

/// A freshly loaded library with a log that is read, and no driver.
class LibraryFixture : public testing::Test {
protected:
    LibraryFixture();

    NubrixBaseContext &context() { return m_library.context(); }
    /// Runs an operation. What it logs on this thread is given with FOLDER/ for the library's
    /// folder; a pointer counts as status 1, null as 0.
    template <class Action>
    Outcome outcome(Action action)
    {
        m_library.setErrorNumber(0);
        const std::size_t before = ownLines().size();
        const int status = asStatus(action);
        return {status, m_library.errorNumber(), linesFrom(before)};
    }
    /// What an operation logs on this thread.
    template <class Action>
    std::vector<std::string> logOf(Action action)
    {
        const std::size_t before = ownLines().size();
        asStatus(action);
        return linesFrom(before);
    }

    HangGuard m_hangGuard;  // first, so that it sees the tear-down, too
    InstalledLibrary m_library;
    FakeLog &m_log;

private:
    template <class Action>
    static int asStatus(Action &action)
    {
        using Result = decltype(action());
        if constexpr (std::is_void_v<Result>) {
            action();
            return 0;
        } else if constexpr (std::is_pointer_v<Result>) {
            return action() ? 1 : 0;
        } else {
            return action();
        }
    }
    std::vector<std::string> ownLines() const { return m_log.linesOf(std::this_thread::get_id()); }
    std::vector<std::string> linesFrom(std::size_t first) const;
};

/// An initialized context with a USB and a network driver that list one camera each.
class ContextFixture : public LibraryFixture {
protected:
    ContextFixture();
    ~ContextFixture() override;

    /// Opens a camera that must open.
    NubrixDevice *open(const char *uri = "usb:1");

    FakeDriver &m_usb;
    FakeDriver &m_net;
};

/// An open camera.
class DeviceFixture : public ContextFixture {
protected:
    DeviceFixture() : m_device(open()) { m_usb.takeCalls(); }

    // The operations that are not part of NubrixBaseContext, reached by their place.
    int createStream(NubrixDevice *device, unsigned int type, NubrixStream **stream);
    int destroyStream(NubrixStream *stream);
    int startStream(NubrixStream *stream);
    int stopStream(NubrixStream *stream);

    /// Creates, or opens without a callback, a stream that must come.
    NubrixStream *created(unsigned int type = NUBRIX_STREAM_COLOR);
    NubrixStream *opened(unsigned int type = NUBRIX_STREAM_COLOR, NubrixDevice *device = nullptr);

    NubrixDevice *const m_device;
};

/// Something that is no handle.
template <class Handle>
Handle *unknownHandle()
{
    static long long memory[64];
    return reinterpret_cast<Handle *>(memory);
}

}  // namespace nubrix
