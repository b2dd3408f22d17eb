// Vocabulary of the tests that play recordings: record files, the camera that plays them, seeking.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "tests/record/RecordBytes.h"
#include "virtual/RecordingSource.h"
#include "virtual/VirtualDevice.h"

namespace nubrix::virtual_camera {

constexpr unsigned int kWidth = 6;
constexpr unsigned int kHeight = 5;
constexpr unsigned long long kStartUs = 7000000000ULL;  // past 32 bits

inline unsigned int bytesPerPixel(unsigned int streamType)
{
    if (streamType == NUBRIX_STREAM_COLOR)
        return 3;
    return streamType == NUBRIX_STREAM_DEPTH ? 2 : 1;
}

class RecordingTest : public VirtualCameraTest {
protected:
    static SentRecord record(unsigned int streamType, unsigned int index, unsigned int us)
    {
        SentRecord record;
        record.streamType = streamType;
        record.index = index;
        record.timestampUs = kStartUs + us;
        record.width = kWidth;
        record.height = kHeight;
        for (unsigned int i = 0; i < kWidth * kHeight * bytesPerPixel(streamType); ++i)
            record.pixels += static_cast<char>(i * 7 + index * 31 + streamType);
        return record;
    }

    /// Frames of colour and depth, 10 ms apart, depth 1 ms later.
    static std::vector<SentRecord> pairs(unsigned int count)
    {
        std::vector<SentRecord> records;
        for (unsigned int i = 0; i < count; ++i) {
            records.push_back(record(NUBRIX_STREAM_COLOR, i, i * 10000));
            records.push_back(record(NUBRIX_STREAM_DEPTH, i, i * 10000 + 1000));
        }
        return records;
    }

    /// Plays the bytes of a file; `more` is added to the recording object.
    void play(const std::string &bytes, const std::string &more = "",
              const std::string &pacing = "free")
    {
        m_folder.file("room.bin", bytes);
        useScenario(R"({"pacing": ")" + pacing + R"(", "source": "recording",
            "recording": {"file": ")" +
                    m_folder.file("room.bin") + "\"" + more + "}}");
        m_device = open();
    }

    /// The first `count` frames of a stream.
    std::vector<Received> take(unsigned int streamType, std::size_t count)
    {
        PixelStream stream(*m_device, streamType);
        return run(stream, count);
    }

    static void expectSame(const Received &frame, const SentRecord &sent)
    {
        EXPECT_EQ(frame.record.streamType, sent.streamType);
        EXPECT_EQ(frame.record.frameIndex, sent.index);
        EXPECT_EQ(stampOf(frame.record), sent.timestampUs);
        EXPECT_EQ(frame.record.width, sent.width);
        EXPECT_EQ(frame.record.height, sent.height);
        EXPECT_EQ(std::string(frame.pixels.begin(), frame.pixels.end()), sent.pixels);
    }

    std::uint64_t playTime()
    {
        std::uint64_t us = 0;
        unsigned int size = sizeof us;
        EXPECT_EQ(m_device->getProperty(kPropertyPlayTime, &us, &size), 0);
        EXPECT_EQ(size, 8U);
        return us;
    }
    unsigned int playFrame(unsigned int streamType)
    {
        unsigned int frame = 0;
        unsigned int size = sizeof frame;
        EXPECT_EQ(m_device->getProperty(kPropertyPlayFrame + streamType, &frame, &size), 0);
        EXPECT_EQ(size, 4U);
        return frame;
    }
    int seekTime(std::uint64_t us)
    {
        return m_device->setProperty(kPropertyPlayTime, &us, sizeof us);
    }
    int seekFrame(unsigned int streamType, unsigned int frame)
    {
        return m_device->setProperty(kPropertyPlayFrame + streamType, &frame, sizeof frame);
    }

    /// The error message for a file.
    std::string wrongWith(const std::string &bytes)
    {
        RecordingSetup setup;
        setup.file = m_folder.file("odd.bin", bytes);
        setup.fileLine = 12;
        return wrongWith(setup);
    }
    static std::string wrongWith(const RecordingSetup &setup)
    {
        const auto made = RecordingSource::create(setup);
        const auto *error = std::get_if<ScenarioError>(&made);
        return error == nullptr ? "" : error->text("scenario.json");
    }

    TemporaryFolder m_folder;
    NubrixBaseDevice *m_device = nullptr;
};

}  // namespace nubrix::virtual_camera
