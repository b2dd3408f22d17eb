// The library with virtual cameras, loaded the way nubrix-virtual gives it to a program.
#pragma once

#include <string>

#include "nubrix/nubrix.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {

/// One for a process; make it before the first thread. The cameras deliver tiny images, so that a
/// test measures the library and not the rendering.
class VirtualLibrary {
public:
    /// `cameras`: the value of "cameras" in the scenario. The log is quiet unless
    /// NUBRIX_LOG_CONSOLE is set.
    explicit VirtualLibrary(const std::string &cameras);
    ~VirtualLibrary();
    VirtualLibrary(const VirtualLibrary &) = delete;
    VirtualLibrary &operator=(const VirtualLibrary &) = delete;

    /// The context of ContextFactory.
    NubrixBaseContext *context() const { return m_contextFactory(); }
    void deleteContext(NubrixBaseContext *context) const { m_deleteContext(context); }
    /// nubrixStreamLedger.
    int ledger(NubrixStream *stream, NubrixStreamLedger &ledger) const
    {
        ledger = {};
        ledger.size = sizeof(ledger);
        return m_streamLedger(stream, &ledger);
    }
    /// A path in a folder that is removed at the end.
    std::string file(const std::string &name) const { return m_folder.file(name); }
    /// Writes a firmware image that the cameras take, and returns its path.
    std::string writeFirmware() const;

private:
    void writeImages() const;
    void load();

    TemporaryFolder m_folder;
    void *m_library = nullptr;
    NubrixBaseContext *(*m_contextFactory)() = nullptr;
    void (*m_deleteContext)(NubrixBaseContext *) = nullptr;
    int (*m_streamLedger)(NubrixStream *, NubrixStreamLedger *) = nullptr;
};

/// "usb:virtual-SERIAL", by which openDevice knows a virtual camera.
std::string virtualUri(const std::string &serial);

// The operations that the interface does not name.
int createStream(NubrixBaseContext *context, NubrixDevice *device, unsigned int type,
                 NubrixStream **stream);
int destroyStream(NubrixBaseContext *context, NubrixStream *stream);
int startStream(NubrixBaseContext *context, NubrixStream *stream);
int stopStream(NubrixBaseContext *context, NubrixStream *stream);

}  // namespace nubrix
