// Life cycle and tear-down.
#include "context/Context.h"

#include <exception>
#include <optional>

#include "base/CallbackScope.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "context/ContextGuards.h"
#include "device/DriverLoader.h"
#include "log/LogDriver.h"
#include "nubrix/version.h"

namespace nubrix {

namespace {

// The contexts that exist, linked through m_nextExisting: a driver that was left running may call
// back when its context is gone.
Undestroyed<Mutex> g_existingMutex;
Context *g_firstExisting = nullptr;

// Not on a thread for which destroy may be waiting while it is its turn.
LifeTurns::Waiting waitingWithin(Gate &gate)
{
    const bool awaited = CallbackScope::isActive() || gate.isInside();
    return awaited ? LifeTurns::Waiting::kNot : LifeTurns::Waiting::kForItsTurn;
}

}  // namespace

Context::Context()
    : m_apiLock(CriticalSectionWrapper::create()),
      m_streamNames({{NUBRIX_STREAM_COLOR, "color"},
                     {NUBRIX_STREAM_DEPTH, "depth"},
                     {NUBRIX_STREAM_LIGHT_IR, "light ir"},
                     {NUBRIX_STREAM_IR, "ir"}})
{
    {
        const MutexLock guard(g_existingMutex.get());
        m_nextExisting = g_firstExisting;
        g_firstExisting = this;
    }
    loadLogDriver("NubrixCommonDriver");
}

Context::~Context()
{
    {
        const MutexLock guard(g_existingMutex.get());
        Context **link = &g_firstExisting;
        while (*link != this)
            link = &(*link)->m_nextExisting;
        *link = m_nextExisting;
    }
    logEmptyLine();
    m_turns.waitForAll();
    m_gate.shut();
    endWaits();
    m_gate.waitForOthers();
    abandonObjects();
    unloadLogDriver();
}

// Kept: what was not destroyed before is left as it is, and its threads run on; only recorders are
// closed. See docs/oddities.md.
void Context::abandonObjects()
{
    for (const auto &stream : m_streams.all())
        new std::shared_ptr<VideoStream>(stream);
    for (const auto &device : m_devices.all())
        new std::shared_ptr<Device>(device);
    m_upgrades.abandon();
}

int Context::initialize()
{
    logPrint(kLogMilestone, "Nubrix SDK  Initialize start");
    logEmptyLine();
    return guarded([this] {
        const LifeTurns::Turn turn(m_turns, waitingWithin(m_gate));
        if (!turn) {
            if (m_gate.isShut() || !m_initialized)
                return refuseUninitialized();
            logPrint(kLogMilestone, "Nubrix SDK Already Initialize");
            return 0;
        }
        const CriticalSectionScoped lock(*m_apiLock);
        if (!m_initialized)
            return startUp();
        logPrint(kLogMilestone, "Nubrix SDK Already Initialize");
        return 0;
    });
}

int Context::startUp()
{
    m_events.forgetMissed();
    logPrint(kLogInfo, "Nubrix SDK Version %d.%d.%d", NUBRIX_VERSION_MAJOR, NUBRIX_VERSION_MINOR,
             NUBRIX_VERSION_PATCH);
    loadDriverOf(DRIVER_TYPE_UVC, "Load uvc driver succeed!");
    loadDriverOf(DRIVER_TYPE_NET, "Load net driver succeed!");
    // Kept: the mini driver is never loaded, though everything else about it is there.
    m_events.onDriversLoaded();
    if (const int failed = initializeDrivers())
        return failed;
    m_initialized = true;
    if (m_events.endDropping())  // some drivers had been asked for their cameras already
        m_records.rebuild(m_drivers);
    logPrint(kLogMilestone, "Nubrix SDK  Initialize End");
    return 0;
}

void Context::loadDriverOf(DRIVER_TYPE type, const char *success)
{
    NubrixBaseDriver *const driver = loadDriver(type);
    if (!driver)
        return;
    logPrint(kLogMilestone, "%s", success);
    m_drivers.set(type, driver);
}

int Context::initializeDrivers()
{
    m_records.clear();
    for (const auto &[type, driver] : m_drivers.loaded()) {
        driver->setDeviceStateCallback(&Context::deviceStateCallback, this);
        if (const int failed = driver->initialize()) {
            logPrint(kLogError, "initialize %d driver  failed!", static_cast<int>(type));
            return failed;
        }
        noteRunning(type, driver);
        if (m_records.append(*driver) != 0) {
            logPrint(kLogMilestone, "get device list failed");
            return -1;
        }
    }
    return 0;
}

int Context::destroy()
{
    if (CallbackScope::isActive() || m_gate.isInside()) {
        logPrint(kLogError,
                 "destroy was called from within a callback or an operation, for which it would "
                 "have to wait: call it on another thread");
        return -1;
    }
    return guarded([this] {
        LifeTurns::Turn turn(m_turns, LifeTurns::Waiting::kForItsTurn);
        m_gate.shut();
        m_events.beginDropping();
        logEmptyLine();
        endWaits();
        m_gate.waitForOthers();
        const int result = guarded([this] { return tearDown(); });
        m_gate.open();
        turn.endAfterOthers();
        return result;
    });
}

// Wakes all that wait for frames; the gate is shut.
void Context::endWaits()
{
    m_waiters.wakeAll();
    m_streams.forEach([](VideoStream &stream) { stream.wakeGetFrame(); });
}

int Context::tearDown()
{
    const CriticalSectionScoped lock(*m_apiLock);
    const int result = releaseAllResoures();
    if (result == 0)
        m_initialized = false;
    m_drivers.forgetAll();
    closeDriverLibraries();
    return result;
}

int Context::releaseAllResoures()
{
    logEmptyLine();
    if (!m_initialized)
        return refuseUninitialized();
    m_waiters.clear();
    releaseRecorders();
    releaseStreams();
    m_events.clear();
    releaseDevices();
    releaseDrivers();
    m_upgrades.clear();
    return 0;
}

void Context::releaseRecorders()
{
    while (const std::shared_ptr<StreamRecorder> recorder = m_recorders.first()) {
        recorderStop(recorder->handle());
        destroyRecorder(recorder->handle());
        m_recorders.remove(recorder->handle());  // an override may have kept it
    }
}

void Context::releaseStreams()
{
    while (const std::shared_ptr<VideoStream> stream = m_streams.first()) {
        logPrint(kLogTrace, "begin release:stop stream");
        stopStream(stream->handle());
        m_streams.retire(stream->handle());  // an override may have destroyed it
        shutDown(stream);
    }
    for (const auto &stream : m_streams.retired())  // by callbacks
        shutDown(stream);
}

void Context::releaseDevices()
{
    while (const std::shared_ptr<Device> device = m_devices.first()) {
        logPrint(kLogTrace, "begin release:close device");
        device->close();
        m_devices.remove(device->handle());
    }
}

void Context::releaseDrivers()
{
    for (const DRIVER_TYPE type : {DRIVER_TYPE_UVC, DRIVER_TYPE_NET, DRIVER_TYPE_MINI}) {
        destroyDriver(type, m_drivers.of(type));
        m_drivers.set(type, nullptr);  // at once: the next one may call the context
    }
}

// A camera arrives or leaves, on a driver's thread. The context may be gone, or be about to go.
void Context::deviceStateCallback(const char *deviceAddr, const char *serial, const char *location,
                                  unsigned int state, void *user)
{
    auto *const context = static_cast<Context *>(user);
    guarded([&] {
        std::optional<Gate::Entry> entry;
        {
            const MutexLock guard(g_existingMutex.get());
            const Context *each = g_firstExisting;
            while (each && each != context)
                each = each->m_nextExisting;
            if (!each || !each->m_events.areDriversLoaded())
                return 0;
            entry.emplace(context->m_gate);
            if (!*entry)
                context->m_events.miss();
        }
        if (*entry)
            context->onDeviceState(deviceAddr, serial, location, state);
        else
            logEmptyLine();
        return 0;
    });
}

void Context::setErrorCode(NubrixErrorCode code)
{
    setErrorNumber(code);
}

// --- refusals

int refuseUninitialized()
{
    setErrorNumber(NUBRIX_ERR_NOT_INITIALIZED);
    logPrint(kLogError, "not Initialized! ");
    return -2;
}

int refuseDevice()
{
    setErrorNumber(NUBRIX_ERR_INVALID_DEVICE);
    logPrint(kLogError, "Invalid Device!");
    return -3;
}

int refuseStream()
{
    setErrorNumber(NUBRIX_ERR_INVALID_STREAM);
    // Kept: the text says "Valid" for an invalid handle, and applications match it. See
    // docs/oddities.md.
    logPrint(kLogError, "Stream Handle is Valid!");
    return -13;
}

int refuseRecorder()
{
    logPrint(kLogError, "Invalid Recorder Handler!");
    return -13;
}

int reportException() noexcept
{
    try {
        throw;
    } catch (const std::exception &thrown) {
        logPrint(kLogError, "the operation failed: %s", thrown.what());
    } catch (...) {
        logPrint(kLogError, "the operation failed for an unknown reason");
    }
    return -1;
}

}  // namespace nubrix
