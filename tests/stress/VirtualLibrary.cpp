#include "tests/stress/VirtualLibrary.h"
#include "tests/Paths.h"

#include <dlfcn.h>
#include <malloc.h>
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/drivers/virtual/ImageWriter.h"
#include "tests/fakes/VtableCall.h"

namespace nubrix {

namespace {

constexpr unsigned int kWidth = 16;
constexpr unsigned int kHeight = 12;
constexpr unsigned int kImages = 3;

// Places in the table of a context.
constexpr std::size_t kCreateStream = 45;
constexpr std::size_t kDestroyStream = 46;
constexpr std::size_t kStartStream = 47;
constexpr std::size_t kStopStream = 48;

void appendLittle(std::string &bytes, std::uint64_t value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>((value >> (8 * i)) & 0xFFU);
}

}  // namespace

VirtualLibrary::VirtualLibrary(const std::string &cameras)
{
    ::mallopt(M_PERTURB, 0x5a);  // so that what is freed does not look valid any more
    writeImages();
    const std::string scenario =
        m_folder.file("scenario.json", R"({"source": "images", "images": {"folder": "images"},
                             "frame_rate": 100, "cameras": )" +
                                           cameras + "}");
    ::setenv("NUBRIX_VIRTUAL_SCENARIO", scenario.c_str(), 1);
    ::setenv("NUBRIX_LOG_CONSOLE", "0", 0);
    load();
}

VirtualLibrary::~VirtualLibrary()
{
    ::dlclose(m_library);
}

void VirtualLibrary::writeImages() const
{
    const std::filesystem::path folder = m_folder.path() / "images";
    std::filesystem::create_directory(folder);
    for (unsigned int i = 0; i < kImages; ++i) {
        const std::string name = (folder / std::to_string(i)).string();
        writePng(name + ".color.png", kWidth, kHeight, 8, 2, colorPattern(kWidth, kHeight, i));
        writePng(name + ".depth.png", kWidth, kHeight, 16, 0, depthPattern(kWidth, kHeight, i));
    }
}

void VirtualLibrary::load()
{
    // By its path: the library looks for its plug-ins where it was found itself.
    m_library = ::dlopen(paths::kVirtualLibrary, RTLD_NOW);
    if (!m_library)
        throw std::runtime_error(::dlerror());
    m_contextFactory =
        reinterpret_cast<NubrixBaseContext *(*)()>(::dlsym(m_library, "ContextFactory"));
    m_deleteContext =
        reinterpret_cast<void (*)(NubrixBaseContext *)>(::dlsym(m_library, "deleteContext"));
    m_streamLedger = reinterpret_cast<int (*)(NubrixStream *, NubrixStreamLedger *)>(
        ::dlsym(m_library, "nubrixStreamLedger"));
    if (!m_contextFactory || !m_deleteContext || !m_streamLedger)
        throw std::runtime_error("the library lacks a function");
}

std::string VirtualLibrary::writeFirmware() const
{
    const std::string firmware(10000, 'f');
    std::string bytes = "NUBRIXFW";
    for (const unsigned int part : {1U, 2U, 3U, 0U})
        appendLittle(bytes, part, 2);
    appendLittle(bytes, firmware.size(), 4);
    appendLittle(bytes,
                 ::crc32(0, reinterpret_cast<const unsigned char *>(firmware.data()),
                         static_cast<unsigned int>(firmware.size())),
                 4);
    appendLittle(bytes, 0, 8);
    return m_folder.file("camera.fw", bytes + firmware);
}

std::string virtualUri(const std::string &serial)
{
    return "usb:virtual-" + serial;
}

int createStream(NubrixBaseContext *context, NubrixDevice *device, unsigned int type,
                 NubrixStream **stream)
{
    return callSlot<int, NubrixDevice *, unsigned int, NubrixStream **>(context, kCreateStream,
                                                                        device, type, stream);
}

int destroyStream(NubrixBaseContext *context, NubrixStream *stream)
{
    return callSlot<int, NubrixStream *>(context, kDestroyStream, stream);
}

int startStream(NubrixBaseContext *context, NubrixStream *stream)
{
    return callSlot<int, NubrixStream *>(context, kStartStream, stream);
}

int stopStream(NubrixBaseContext *context, NubrixStream *stream)
{
    return callSlot<int, NubrixStream *>(context, kStopStream, stream);
}

}  // namespace nubrix
