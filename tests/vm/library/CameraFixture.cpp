#include "CameraFixture.h"

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <thread>
#include <utility>

#include "../camera/Command.h"
#include "FrameWait.h"

namespace nubrix::vm {

namespace {

constexpr std::chrono::seconds kTimeout(20);

}  // namespace

CameraFixture::CameraFixture() : m_context(ContextFactory())
{
    EXPECT_EQ(m_context->initialize(), 0);
    EXPECT_EQ(m_context->setDeviceStateCallback(&CameraFixture::onChange, this), 0);
    EXPECT_TRUE(eventually([this] { return cameraCount() == 1; }));
}

CameraFixture::~CameraFixture()
{
    releaseCallback();
    m_context->destroy();
    deleteContext(m_context);
}

void CameraFixture::control(const std::string &command)
{
    ASSERT_EQ(sendCommand("one", command).substr(0, 2), "ok") << command;
}

void CameraFixture::replug()
{
    const auto nodes = [] {
        const std::filesystem::directory_iterator begin("/sys/class/video4linux");
        return std::distance(begin, std::filesystem::directory_iterator());
    };
    const auto there = nodes();
    for (const auto &[command, count] : {std::pair{"unplug", there - there}, {"plug", there}}) {
        control(command);
        ASSERT_TRUE(eventually([&, wanted = count] { return nodes() == wanted; })) << command;
        ASSERT_EQ(std::system("udevadm settle --timeout=20"), 0);
    }
}

bool CameraFixture::eventually(const std::function<bool()> &isSo)
{
    const auto end = Clock::now() + kTimeout;
    while (!isSo()) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

bool CameraFixture::changesReach(std::size_t count)
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, kTimeout, [&] { return m_changes.size() >= count; });
}

void CameraFixture::holdCallback()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_hold = true;
}

bool CameraFixture::callbackIsHeld()
{
    return changesReach(1);
}

void CameraFixture::releaseCallback()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_hold = false;
    m_changed.notify_all();
}

std::vector<CameraFixture::Change> CameraFixture::changes()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_changes;
}

unsigned int CameraFixture::cameraCount()
{
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    m_context->nubrixGetDeviceList(&list, &count);
    return count;
}

CameraFixture::Counters CameraFixture::counters(NubrixDevice *camera, unsigned int stream)
{
    Counters counters = {};
    unsigned int size = sizeof counters;
    EXPECT_EQ(m_context->getDeviceProperty(camera, 0x5a00 + stream, &counters, &size), 0);
    return counters;
}

NubrixDevice *CameraFixture::open()
{
    NubrixDevice *camera = nullptr;
    EXPECT_EQ(m_context->openDevice(nullptr, &camera), 0);
    return camera;
}

NubrixStream *CameraFixture::stream(NubrixDevice *camera, unsigned int type)
{
    NubrixStream *stream = nullptr;
    EXPECT_EQ(m_context->openStream(camera, type, &stream, nullptr, nullptr), 0);
    return stream;
}

int CameraFixture::readUntil(NubrixStream *stream, int wanted)
{
    int status = 0;
    eventually([&] {
        typedefNubrixFrame *frame = nullptr;
        status = m_context->readFrame(stream, &frame, 500);
        if (frame != nullptr) {
            m_context->releaseFrame(frame);
        }
        return status == wanted;
    });
    return status;
}

typedefNubrixFrame *CameraFixture::nextFrame(NubrixStream *stream)
{
    typedefNubrixFrame *frame = nullptr;
    EXPECT_EQ(awaitFrame(*m_context, stream, &frame), 0);
    return frame;
}

unsigned int CameraFixture::readRightFrame(NubrixStream *stream, const std::string &name)
{
    typedefNubrixFrame *frame = nextFrame(stream);
    if (frame == nullptr) {
        return 0;
    }
    const unsigned int flags = frame->flags;
    if (flags == 0) {
        EXPECT_EQ(difference(kindOf(name, "usual"), {640, 480}, *frame), "");
    }
    m_context->releaseFrame(frame);
    return flags;
}

void CameraFixture::onChange(const char *uri, const char *, unsigned int state, void *user)
{
    auto &self = *static_cast<CameraFixture *>(user);
    std::unique_lock<std::mutex> lock(self.m_lock);
    self.m_changes.push_back({uri, state, Clock::now()});
    self.m_changed.notify_all();
    self.m_changed.wait(lock, [&] { return !self.m_hold; });
}

}  // namespace nubrix::vm
