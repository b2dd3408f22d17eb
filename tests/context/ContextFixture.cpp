#include "tests/context/ContextFixture.h"

#include "tests/fakes/VtableCall.h"

namespace nubrix {

namespace {

std::string testName()
{
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test.test_suite_name()) + "." + test.name();
}

// Behind the 43 operations of NubrixBaseContext and its two destructors.
constexpr std::size_t kCreateStream = 45;
constexpr std::size_t kDestroyStream = 46;
constexpr std::size_t kStartStream = 47;
constexpr std::size_t kStopStream = 48;

}  // namespace

LibraryFixture::LibraryFixture() : m_hangGuard(testName()), m_log(m_library.installLog())
{
}

std::vector<std::string> LibraryFixture::linesFrom(std::size_t first) const
{
    std::vector<std::string> lines = ownLines();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(first));
    const std::string folder = m_library.folder();
    for (std::string &line : lines) {
        for (std::size_t at; (at = line.find(folder)) != std::string::npos;)
            line.replace(at, folder.size(), "FOLDER/");
    }
    return lines;
}

ContextFixture::ContextFixture()
    : m_usb(m_library.installDriver(kUvcDriver)), m_net(m_library.installDriver(kNetDriver))
{
    m_usb.setDevices({cameraRecord("usb:1")});
    m_net.setDevices({cameraRecord("net:1", 2)});
    EXPECT_EQ(context().initialize(), 0);
    m_usb.takeCalls();
    m_net.takeCalls();
}

ContextFixture::~ContextFixture()
{
    m_usb.setHook({});
    m_net.setHook({});
}

NubrixDevice *ContextFixture::open(const char *uri)
{
    NubrixDevice *device = nullptr;
    EXPECT_EQ(context().openDevice(uri, &device), 0);
    return device;
}

int DeviceFixture::createStream(NubrixDevice *device, unsigned int type, NubrixStream **stream)
{
    return callSlot<int, NubrixDevice *, unsigned int, NubrixStream **>(&context(), kCreateStream,
                                                                        device, type, stream);
}

int DeviceFixture::destroyStream(NubrixStream *stream)
{
    return callSlot<int, NubrixStream *>(&context(), kDestroyStream, stream);
}

int DeviceFixture::startStream(NubrixStream *stream)
{
    return callSlot<int, NubrixStream *>(&context(), kStartStream, stream);
}

int DeviceFixture::stopStream(NubrixStream *stream)
{
    return callSlot<int, NubrixStream *>(&context(), kStopStream, stream);
}

NubrixStream *DeviceFixture::created(unsigned int type)
{
    NubrixStream *stream = nullptr;
    EXPECT_EQ(createStream(m_device, type, &stream), 0);
    return stream;
}

NubrixStream *DeviceFixture::opened(unsigned int type, NubrixDevice *device)
{
    NubrixStream *stream = nullptr;
    EXPECT_EQ(context().openStream(device ? device : m_device, type, &stream, nullptr, nullptr), 0);
    return stream;
}

}  // namespace nubrix
