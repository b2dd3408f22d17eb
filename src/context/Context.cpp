// Life cycle, guards and tear-down.
#include "context/Context.h"

#include "base/CriticalSectionScoped.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "device/Device.h"
#include "device/DriverLoader.h"
#include "log/LogDriver.h"
#include "nubrix/version.h"
#include "record/StreamRecorder.h"
#include "stream/MultiStreamsListener.h"
#include "stream/VideoStream.h"

namespace nubrix {

Context::Context()
    : m_apiLock(CriticalSectionWrapper::create()),
      m_leafLock(CriticalSectionWrapper::create()),
      m_thirdLock(CriticalSectionWrapper::create()),
      m_streamNames({{NUBRIX_STREAM_COLOR, "color"},
                     {NUBRIX_STREAM_DEPTH, "depth"},
                     {NUBRIX_STREAM_LIGHT_IR, "light ir"},
                     {NUBRIX_STREAM_IR, "ir"}}),
      m_streams(*m_leafLock)
{
    loadLogDriver("NubrixCommonDriver");
}

Context::~Context()
{
    logEmptyLine();
    unloadLogDriver();
}

int Context::initialize()
{
    logPrint(kLogMilestone, "Nubrix SDK  Initialize start");
    logEmptyLine();
    const ApiLock lock(*this);
    if (lock.refused())
        return refuseUninitialized();
    if (m_initialized) {
        logPrint(kLogMilestone, "Nubrix SDK Already Initialize");
        return 0;
    }
    {
        const CriticalSectionScoped guard(*m_leafLock);
        m_changedMeanwhile = false;
    }
    logPrint(kLogInfo, "Nubrix SDK Version %d.%d.%d", NUBRIX_VERSION_MAJOR, NUBRIX_VERSION_MINOR,
             NUBRIX_VERSION_PATCH);
    loadDriverOf(DRIVER_TYPE_UVC, "Load uvc driver succeed!");
    loadDriverOf(DRIVER_TYPE_NET, "Load net driver succeed!");
    // Kept: the mini driver is never loaded, though everything else about it is there.
    if (const int failed = initializeDrivers())
        return failed;
    m_initialized = true;
    bool changed = false;
    {
        const CriticalSectionScoped guard(*m_leafLock);
        m_destroying = false;
        changed = m_changedMeanwhile;
    }
    if (changed)  // some drivers had been asked for their cameras already
        rebuildDeviceTable();
    logPrint(kLogMilestone, "Nubrix SDK  Initialize End");
    return 0;
}

void Context::loadDriverOf(DRIVER_TYPE type, const char *success)
{
    NubrixBaseDriver *const driver = loadDriver(type);
    if (!driver)
        return;
    logPrint(kLogMilestone, "%s", success);
    const CriticalSectionScoped guard(*m_leafLock);
    m_drivers[type] = driver;
}

int Context::initializeDrivers()
{
    const std::lock_guard<std::recursive_mutex> table(m_tableLock);
    m_deviceCount = 0;
    for (const auto &[type, driver] : drivers()) {
        driver->setDeviceStateCallback(&Context::deviceStateCallback, this);
        if (const int failed = driver->initialize()) {
            logPrint(kLogError, "initialize %d driver  failed!", static_cast<int>(type));
            return failed;
        }
        if (listDevicesOf(*driver) != 0) {
            logPrint(kLogMilestone, "get device list failed");
            return -1;
        }
    }
    return 0;
}

int Context::destroy()
{
    m_destroying = true;
    logEmptyLine();
    m_inFlight.waitForOthers();
    const CriticalSectionScoped lock(*m_apiLock);
    const int result = releaseAllResoures();
    if (result == 0)
        m_initialized = false;
    closeDriverLibraries();
    const CriticalSectionScoped guard(*m_leafLock);
    for (auto &driver : m_drivers)
        driver.second = nullptr;
    return result;
}

int Context::releaseAllResoures()
{
    logEmptyLine();
    if (const int refused = requireInitialized())
        return refused;
    {
        std::map<unsigned int, std::shared_ptr<MultiStreamsListener>> listeners;
        const CriticalSectionScoped guard(*m_leafLock);
        listeners.swap(m_listeners);
    }
    releaseRecorders();
    releaseStreams();
    releaseStateCallbacks();
    releaseDevices();
    releaseDrivers();
    releaseUpgraders();
    m_thirdLock.reset();
    return 0;
}

void Context::releaseRecorders()
{
    const auto first = [this] {
        const CriticalSectionScoped guard(*m_leafLock);
        return m_recorders.empty() ? nullptr : m_recorders.front()->handle();
    };
    NubrixRecord *last = nullptr;
    for (NubrixRecord *each = first(); each && each != last; each = first()) {
        recorderStop(each);
        destroyRecorder(each);
        last = each;
    }
    std::list<std::shared_ptr<StreamRecorder>> left;  // by an override that keeps them
    const CriticalSectionScoped guard(*m_leafLock);
    left.swap(m_recorders);
}

void Context::releaseStreams()
{
    while (VideoStream *const stream = m_streams.first()) {
        logPrint(kLogTrace, "begin release:stop stream");
        stopStream(stream->handle());
        const StreamRegistry::Removed removed = m_streams.remove(stream->handle());
        m_streams.waitUnpinned(removed);
        delete stream;
        m_streams.forget(removed);
    }
    m_streams.waitForgotten(nullptr);  // those that another thread is destroying
}

void Context::releaseStateCallbacks()
{
    const CriticalSectionScoped guard(*m_leafLock);
    m_stateCallbacks.clear();
}

void Context::releaseDevices()
{
    for (Device *device : m_devices) {
        logPrint(kLogTrace, "begin release:close device");
        device->close();
        delete device;
    }
    m_devices.clear();
}

void Context::releaseDrivers()
{
    for (const DRIVER_TYPE type : {DRIVER_TYPE_UVC, DRIVER_TYPE_NET, DRIVER_TYPE_MINI}) {
        if (const auto destroyDriver = driverDestroyOf(type))
            destroyDriver(driverOf(type));
    }
}

void Context::releaseUpgraders()
{
    m_activeUpgrader = nullptr;
    for (const auto &upgrader : m_upgraders)
        delete upgrader.second;
    m_upgraders.clear();
}

void Context::setErrorCode(NubrixErrorCode code)
{
    setErrorNumber(code);
}

// --- guards

Context::ApiLock::ApiLock(Context &context) : m_context(context)
{
    if (VideoStream::onCallbackThread()) {
        m_entry.emplace(context.m_inFlight);
        m_refused = context.m_destroying;
    }
    if (!m_refused)
        m_context.m_apiLock->enter();
}

Context::ApiLock::~ApiLock()
{
    if (!m_refused)
        m_context.m_apiLock->leave();
}

int Context::refuseUninitialized()
{
    setErrorNumber(NUBRIX_ERR_NOT_INITIALIZED);
    logPrint(kLogError, "not Initialized! ");
    return -2;
}

int Context::requireInitialized() const
{
    return m_initialized ? 0 : refuseUninitialized();
}

int Context::requireInitialized(const ApiLock &lock) const
{
    return lock.refused() ? refuseUninitialized() : requireInitialized();
}

int Context::requireDevice(const ApiLock &lock, NubrixDevice *handle, Device *&device) const
{
    if (const int refused = requireInitialized(lock))
        return refused;
    return requireOpenDevice(handle, device);
}

int Context::requireOpenDevice(NubrixDevice *handle, Device *&device) const
{
    for (Device *each : m_devices) {
        if (each->handle() == handle) {
            device = each;
            return 0;
        }
    }
    return refuseDevice();
}

int Context::refuseDevice()
{
    setErrorNumber(NUBRIX_ERR_INVALID_DEVICE);
    logPrint(kLogError, "Invalid Device!");
    return -3;
}

StreamRegistry::Pin Context::requireStream(NubrixStream *handle)
{
    StreamRegistry::Pin pin = m_streams.pin(handle);
    if (!pin) {
        setErrorNumber(NUBRIX_ERR_INVALID_STREAM);
        // Kept: the text says "Valid" for an invalid handle, and applications match it. See
        // docs/oddities.md.
        logPrint(kLogError, "Stream Handle is Valid!");
    }
    return pin;
}

// --- drivers

NubrixBaseDriver *Context::driverOf(DRIVER_TYPE type)
{
    const CriticalSectionScoped guard(*m_leafLock);
    return m_drivers[type];  // looking a driver up makes a null entry for a missing one
}

std::vector<std::pair<DRIVER_TYPE, NubrixBaseDriver *>> Context::drivers()
{
    const CriticalSectionScoped guard(*m_leafLock);
    std::vector<std::pair<DRIVER_TYPE, NubrixBaseDriver *>> loaded;
    for (const auto &driver : m_drivers) {
        if (driver.second)
            loaded.push_back(driver);
    }
    return loaded;
}

int Context::listDevicesOf(NubrixBaseDriver &driver)
{
    // Kept: always offers 60 records, whatever room is left. See docs/oddities.md.
    unsigned int count = kMaxDevices;
    const int result = driver.getDeviceList(&m_deviceTable[m_deviceCount], &count);
    m_deviceCount += count;
    return result;
}

}  // namespace nubrix
