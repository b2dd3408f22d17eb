// Runs the examples on the virtual camera, and knows what that shows.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "nubrix/client.h"
#include "nubrix/image.h"
#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix {

using client::Frame;
using client::StreamType;

constexpr int kWidth = 640;  // of the virtual camera's first mode
constexpr int kHeight = 480;

class ExampleTest : public testing::Test {
protected:
    /// The command line of an example on the virtual camera; without a scenario as its README
    /// describes it.
    static Words onVirtualCamera(const std::string &name, const Words &words = {},
                                 const std::string &scenario = "")
    {
        Words command = {std::string(paths::kBin) + "/nubrix-virtual"};
        if (!scenario.empty())
            command.insert(command.end(), {"--scenario", scenario});
        const Words example = programCommand("examples/" + name, words);
        command.insert(command.end(), example.begin(), example.end());
        return command;
    }
    /// Writes a scenario and returns its path.
    std::string scenario(const std::string &text) const
    {
        return m_folder.file("scenario.json", text);
    }
    /// A scenario that plays these frames, each with the time stamp that it has.
    std::string recordingScenario(const std::vector<SentRecord> &records) const
    {
        m_folder.file("frames.bin", bytesOf(records));
        return scenario(R"({"source": "recording", "recording": {"file": "frames.bin",
            "intrinsics": {"fx": 8, "fy": 8, "cx": 3.5, "cy": 3.5}}})");
    }
    /// A frame of 8 x 8 pixels, for recordings.
    static SentRecord smallRecord(StreamType type, unsigned int index, unsigned long long us)
    {
        const std::size_t bytes = type == StreamType::kColor ? 3 : 2;
        const auto code = static_cast<unsigned int>(type);
        return {code, index, 7000000000ULL + us, patternOf(code, index, 64 * bytes), 8, 8};
    }
    /// Frames of colour and depth of 5 frames/s, always 50 ms apart.
    static std::vector<SentRecord> slowRecords()
    {
        std::vector<SentRecord> records;
        for (unsigned int i = 0; i < 100; ++i) {
            records.push_back(smallRecord(StreamType::kColor, i, i * 200000ULL));
            records.push_back(smallRecord(StreamType::kDepth, i, i * 200000ULL + 50000));
        }
        return records;
    }
    /// Bursts of 3 frames of colour and of depth in turn: 75 frames/s, never nearer than 14 ms.
    static std::vector<SentRecord> recordsOfDifferentMoments()
    {
        std::vector<SentRecord> records;
        for (unsigned int i = 0; i < 900; ++i) {
            const unsigned long long us = i / 3 * 40000ULL + i % 3 * 3000ULL;
            records.push_back(smallRecord(StreamType::kColor, i, us));
            records.push_back(smallRecord(StreamType::kDepth, i, us + 20000));
        }
        return records;
    }
    static ToolResult run(const std::string &name, const Words &words = {},
                          const std::string &scenario = "")
    {
        return ToolProcess(onVirtualCamera(name, words, scenario)).finish();
    }

    /// The frame that the virtual camera has at this index.
    Frame sceneFrame(StreamType type, unsigned int index) const
    {
        const std::string free = m_folder.file("free.json", R"({"pacing": "free"})");
        ::setenv("NUBRIX_VIRTUAL_SCENARIO", free.c_str(), 1);
        const client::Session session;  // reads it
        ::unsetenv("NUBRIX_VIRTUAL_SCENARIO");
        client::Stream stream = session.open().start(type);
        for (;;) {
            Frame frame = stream.next(std::chrono::seconds(60));
            if (frame.index() >= index)
                return frame;
        }
    }
    /// What a depth camera without errors measures there, in millimetres.
    static double trueDepth(const client::Camera &camera, unsigned int index, int x, int y)
    {
        constexpr unsigned int kTruth = 0x5700;
        struct {
            unsigned int index, x, y, reserved;
            double millimetres;
        } truth = {index, static_cast<unsigned int>(x), static_cast<unsigned int>(y), 0, 0};
        unsigned int size = sizeof(truth);
        EXPECT_EQ(camera.context().getDeviceProperty(camera.handle(), kTruth, &truth, &size), 0);
        return truth.millimetres;
    }

    TemporaryFolder m_folder;
};

/// The lines of a text that contain `part`.
inline Words linesContaining(const std::string &text, const std::string &part)
{
    Words lines;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) {
        if (line.find(part) != std::string::npos)
            lines.push_back(line);
    }
    return lines;
}

/// The lines of a text that begin with `start`.
inline Words linesWith(const std::string &text, const std::string &start)
{
    Words lines = linesContaining(text, start);
    const auto isOther = [&start](const std::string &line) {
        return line.compare(0, start.size(), start) != 0;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isOther), lines.end());
    return lines;
}

}  // namespace nubrix
