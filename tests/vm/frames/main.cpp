// node_frames: reads frames from a V4L2 node without the library, and compares each with what the
// software camera shows.
#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "../camera/FrameContent.h"

namespace {

using nubrix::vm::Bytes;
using nubrix::vm::FrameSize;
using nubrix::vm::PixelFormat;

struct Kind {
    std::uint32_t fourcc;
    PixelFormat format;
};

const std::map<std::string, Kind> kKinds = {
    {"Z16", {V4L2_PIX_FMT_Z16, PixelFormat::kDepth16}},
    {"YUYV", {V4L2_PIX_FMT_YUYV, PixelFormat::kYuyv}},
    {"MJPG", {V4L2_PIX_FMT_MJPEG, PixelFormat::kMotionJpeg}},
    {"GREY", {V4L2_PIX_FMT_GREY, PixelFormat::kGrey}},
};

// The exit statuses of the ends that a test may wait for.
constexpr int kWrongFrame = 1;
constexpr int kGone = 3;
constexpr int kStalled = 4;
constexpr int kBusy = 5;

struct End {
    int status;
    std::string text;
};

[[noreturn]] void fail(const std::string &what)
{
    const int status = errno == ENODEV ? kGone : errno == EBUSY ? kBusy : 2;
    throw End{status, what + ": " + std::strerror(errno)};
}

class Node {
public:
    Node(const std::string &path, const Kind &kind, FrameSize size)
        : m_file(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC))
    {
        if (m_file < 0) {
            fail(path);
        }
        v4l2_format format = {};
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        format.fmt.pix.width = size.width;
        format.fmt.pix.height = size.height;
        format.fmt.pix.pixelformat = kind.fourcc;
        request(VIDIOC_S_FMT, &format, "VIDIOC_S_FMT");
        if (format.fmt.pix.pixelformat != kind.fourcc || format.fmt.pix.width != size.width ||
            format.fmt.pix.height != size.height) {
            throw End{2, path + " does not have this format"};
        }
        mapBuffers();
        int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request(VIDIOC_STREAMON, &type, "VIDIOC_STREAMON");
    }
    ~Node() { close(m_file); }
    Node(const Node &) = delete;
    Node &operator=(const Node &) = delete;

    // The next buffer, which give() returns to the kernel.
    v4l2_buffer take(int timeoutMs)
    {
        pollfd waiting = {m_file, POLLIN, 0};
        if (poll(&waiting, 1, timeoutMs) == 0) {
            throw End{kStalled, "no frame in " + std::to_string(timeoutMs) + " ms"};
        }
        v4l2_buffer buffer = emptyBuffer();
        request(VIDIOC_DQBUF, &buffer, "VIDIOC_DQBUF");
        return buffer;
    }
    void give(v4l2_buffer buffer) { request(VIDIOC_QBUF, &buffer, "VIDIOC_QBUF"); }

    Bytes bytes(const v4l2_buffer &buffer) const
    {
        const std::uint8_t *from = m_maps[buffer.index];
        return Bytes(from, from + buffer.bytesused);
    }

private:
    static v4l2_buffer emptyBuffer()
    {
        v4l2_buffer buffer = {};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        return buffer;
    }

    void request(unsigned long code, void *argument, const char *name)
    {
        if (ioctl(m_file, code, argument) != 0) {
            fail(name);
        }
    }

    void mapBuffers()
    {
        v4l2_requestbuffers buffers = {};
        buffers.count = 4;
        buffers.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffers.memory = V4L2_MEMORY_MMAP;
        request(VIDIOC_REQBUFS, &buffers, "VIDIOC_REQBUFS");
        for (std::uint32_t index = 0; index < buffers.count; ++index) {
            v4l2_buffer buffer = emptyBuffer();
            buffer.index = index;
            request(VIDIOC_QUERYBUF, &buffer, "VIDIOC_QUERYBUF");
            void *memory = mmap(nullptr, buffer.length, PROT_READ, MAP_SHARED, m_file,
                                static_cast<off_t>(buffer.m.offset));
            if (memory == MAP_FAILED) {
                fail("mmap");
            }
            m_maps.push_back(static_cast<const std::uint8_t *>(memory));
            give(buffer);
        }
    }

    const int m_file;
    std::vector<const std::uint8_t *> m_maps;  // unmapped when the program ends
};

struct Counts {
    unsigned int right = 0;
    unsigned int damaged = 0;  // marked by the kernel
    unsigned int missing = 0;  // by the sequence numbers
};

// A frame that the kernel calls complete must be the one of its sequence number, byte for byte.
void compare(const Kind &kind, FrameSize size, std::uint32_t sequence, const Bytes &bytes)
{
    const Bytes expected = nubrix::vm::drawFrame(kind.format, size, sequence);
    if (bytes == expected) {
        return;
    }
    std::size_t at = 0;
    while (at < bytes.size() && at < expected.size() && bytes[at] == expected[at]) {
        ++at;
    }
    throw End{kWrongFrame, "frame " + std::to_string(sequence) + " of " +
                               std::to_string(bytes.size()) + " bytes, expected " +
                               std::to_string(expected.size()) + ", differs at byte " +
                               std::to_string(at)};
}

void readFrames(Node &node, const Kind &kind, FrameSize size, unsigned int count, int timeoutMs,
                Counts &counts)
{
    std::uint32_t next = 0;
    while (counts.right < count) {
        const v4l2_buffer buffer = node.take(timeoutMs);
        if (buffer.flags & V4L2_BUF_FLAG_ERROR) {
            ++counts.damaged;
        } else {
            compare(kind, size, buffer.sequence, node.bytes(buffer));
            ++counts.right;
        }
        counts.missing += buffer.sequence - next;
        next = buffer.sequence + 1;
        node.give(buffer);
    }
}

}  // namespace

int main(int argc, char **argv)
{
    CLI::App app(
        "Reads frames from a node and compares them with the software camera's. Exit status: 0 "
        "all "
        "right, 1 a wrong frame, 2 another failure, 3 the camera went away, 4 no frame in "
        "time, "
        "5 another program has the node.");
    std::string path;
    std::string name;
    FrameSize size = {640, 480};
    unsigned int count = 30;
    int timeoutMs = 5000;
    app.add_option("node", path, "For example /dev/video0")->required();
    app.add_option("format", name, "Z16, YUYV, MJPG or GREY")->required();
    app.add_option("--width", size.width)->capture_default_str();
    app.add_option("--height", size.height)->capture_default_str();
    app.add_option("--count", count, "Right frames to read")->capture_default_str();
    app.add_option("--timeout", timeoutMs, "For one frame, ms")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    Counts counts;
    End end = {0, "done"};
    try {
        const auto kind = kKinds.find(name);
        if (kind == kKinds.end()) {
            throw End{2, "no such format: " + name};
        }
        Node node(path, kind->second, size);
        readFrames(node, kind->second, size, count, timeoutMs, counts);
    } catch (const End &early) {
        end = early;
    }
    std::printf("%s: right %u, damaged %u, missing %u: %s\n", name.c_str(), counts.right,
                counts.damaged, counts.missing, end.text.c_str());
    return end.status;
}
