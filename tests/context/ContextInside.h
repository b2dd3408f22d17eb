// A context that a test looks into.
#pragma once

#include <atomic>

#include "context/Context.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/LogRecorder.h"

namespace nubrix {

// An explicit instantiation may name private members: reach(context, Member()) refers to one.
template <class Member, auto Pointer>
struct Reach {
    friend typename Member::Type &reach(Context &context, Member) { return context.*Pointer; }
};
#define NUBRIX_REACH(Member, ...)                     \
    struct Member {                                   \
        using Type = __VA_ARGS__;                     \
        friend Type &reach(Context &context, Member); \
    };                                                \
    template struct Reach<Member, &Context::m_##Member>

NUBRIX_REACH(initialized, std::atomic<bool>);
NUBRIX_REACH(drivers, DriverTable);
NUBRIX_REACH(upgrades, Upgrades);
NUBRIX_REACH(events, DeviceEvents);
NUBRIX_REACH(streams, HandleTable<VideoStream>);

/// A context that has its drivers without loading plug-ins.
template <class ContextType>
class InsideOf : public testing::Test {
protected:
    InsideOf()
    {
        initializeInside();
        reach(m_context, events()).onDriversLoaded();
        m_usb.setDeviceStateCallback(&Context::deviceStateCallback, &m_context);
        m_usb.setDevices({cameraRecord("usb:1")});
        m_usb.raise("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
        forget();
    }
    ~InsideOf() override { m_context.destroy(); }

    /// As initialize, but for the plug-ins.
    void initializeInside()
    {
        DriverTable &loaded = reach(m_context, drivers());
        loaded.set(DRIVER_TYPE_UVC, &m_usb);
        loaded.set(DRIVER_TYPE_NET, &m_net);
        loaded.set(DRIVER_TYPE_MINI, &m_mini);
        reach(m_context, initialized()) = true;
    }
    void forget()
    {
        m_usb.takeCalls();
        m_net.takeCalls();
        m_mini.takeCalls();
        m_log.take();
    }
    NubrixDevice *open(const char *uri)
    {
        NubrixDevice *device = nullptr;
        EXPECT_EQ(m_context.openDevice(uri, &device), 0);
        return device;
    }

    FakeDriver m_usb;
    FakeDriver m_net;
    FakeDriver m_mini;
    ContextType m_context;
    LogRecorder m_log;
};

}  // namespace nubrix
