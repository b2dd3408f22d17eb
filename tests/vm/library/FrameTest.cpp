#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>

#include "CameraFixture.h"

namespace nubrix::vm {

namespace {

class Frames : public CameraFixture {};

std::uint64_t nowUs()
{
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch())
            .count());
}

// The memory that is given to the kernel for the frames of a node, as it writes it to its own
// log.
class BufferLog {
public:
    explicit BufferLog(const std::string &node)
        : m_switch("/sys/class/video4linux/" + node + "/dev_debug"),
          m_messages(::open("/dev/kmsg", O_RDONLY | O_NONBLOCK | O_CLOEXEC))
    {
        EXPECT_GE(m_messages, 0);
        EXPECT_GE(::lseek(m_messages, 0, SEEK_END), 0);
        set("0xb");  // requests, their arguments, those for buffers too
    }

    ~BufferLog()
    {
        set("0");
        ::close(m_messages);
    }

    BufferLog(const BufferLog &) = delete;
    BufferLog &operator=(const BufferLog &) = delete;

    std::set<std::uintptr_t> addresses() const
    {
        static const std::string kMemory = "memory=userptr";
        static const std::string kAddress = "userptr=0x";
        std::set<std::uintptr_t> all;
        std::array<char, 8192> record = {};
        for (;;) {
            const ssize_t bytes = ::read(m_messages, record.data(), record.size());
            if (bytes < 0 && errno == EPIPE) {  // some were overwritten
                continue;
            }
            if (bytes <= 0) {
                return all;
            }
            const std::string text(record.data(), static_cast<std::size_t>(bytes));
            const std::size_t memory = text.find(kMemory);
            const std::size_t address =
                memory == std::string::npos ? memory : text.find(kAddress, memory + kMemory.size());
            if (address != std::string::npos) {
                all.insert(std::stoul(text.substr(address + kAddress.size()), nullptr, 16));
            }
        }
    }

private:
    void set(const char *level) const
    {
        std::ofstream file(m_switch);
        file << level << std::flush;
        EXPECT_TRUE(file.good()) << m_switch;
    }

    const std::string m_switch;
    const int m_messages;
};

// Pages that all processes and drivers have had pinned since the machine started.
unsigned long pinnedPages()
{
    static const std::string kCounter = "nr_foll_pin_acquired";
    std::ifstream file("/proc/vmstat");
    std::string name;
    for (unsigned long count = 0; file >> name >> count;) {
        if (name == kCounter) {
            return count;
        }
    }
    ADD_FAILURE() << "no " << kCounter;
    return 0;
}

}  // namespace

TEST_F(Frames, HaveTheKernelsMonotonicTimeInMicroseconds)
{
    NubrixDevice *camera = open();
    for (const unsigned int type : {NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR}) {
        std::uint64_t last = nowUs();
        NubrixStream *opened = stream(camera, type);
        for (int i = 0; i < 10; ++i) {
            typedefNubrixFrame *frame = nextFrame(opened);
            ASSERT_NE(frame, nullptr);
            const std::uint64_t time =
                std::uint64_t{frame->timestampHigh} << 32U | frame->timestampLow;
            EXPECT_GT(time, last) << "stream " << type << ", frame " << i;
            EXPECT_LE(time, nowUs()) << "stream " << type << ", frame " << i;
            last = time;
            m_context->releaseFrame(frame);
        }
        EXPECT_EQ(m_context->closeStream(opened), 0);
    }
}

// Its node comes from the test's script.
TEST_F(Frames, OfAFormatThatPassesThroughAreFilledByTheKernelItself)
{
    const char *node = std::getenv("INFRARED_NODE");
    ASSERT_NE(node, nullptr);
    const std::string path = node;
    const BufferLog log(path.substr(path.rfind('/') + 1));
    NubrixStream *infrared = stream(open(), NUBRIX_STREAM_IR);
    std::set<std::uintptr_t> read;
    for (int i = 0; i < 10; ++i) {
        typedefNubrixFrame *frame = nextFrame(infrared);
        ASSERT_NE(frame, nullptr);
        read.insert(reinterpret_cast<std::uintptr_t>(frame->data));
        EXPECT_EQ(difference(kindOf("ir", "usual"), {640, 480}, *frame), "");
        m_context->releaseFrame(frame);
    }
    EXPECT_EQ(m_context->closeStream(infrared), 0);
    const std::set<std::uintptr_t> given = log.addresses();
    for (const std::uintptr_t address : read) {
        EXPECT_EQ(given.count(address), 1U) << std::hex << address;
    }
}

// The pool has 10 frames, and each of them keeps its pages for as long as the stream runs.
TEST_F(Frames, OfAFormatThatPassesThroughArePinnedOnce)
{
    constexpr unsigned int kFrames = 60;
    const unsigned long before = pinnedPages();
    NubrixStream *infrared = stream(open(), NUBRIX_STREAM_IR);
    unsigned long framePages = 0;
    unsigned long half = 0;
    for (unsigned int i = 0; i < kFrames; ++i) {
        typedefNubrixFrame *frame = nextFrame(infrared);
        ASSERT_NE(frame, nullptr);
        framePages = frame->dataSize / static_cast<unsigned long>(::sysconf(_SC_PAGESIZE));
        m_context->releaseFrame(frame);
        half = i == kFrames / 2 ? pinnedPages() : half;
    }
    const unsigned long after = pinnedPages();
    EXPECT_EQ(m_context->closeStream(infrared), 0);
    EXPECT_GE(after - before, 3 * framePages) << "the kernel does not count them";
    EXPECT_LE(after - before, 10 * (framePages + 1));
    std::printf(
        "figure: infrared, %lu pages a frame: %lu pages pinned in %u frames, %lu of them in "
        "the second half\n",
        framePages, after - before, kFrames, after - half);
}

}  // namespace nubrix::vm
