// Runs the examples on the virtual camera, and knows what that shows.
#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "nubrix/client.h"
#include "nubrix/image.h"
#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
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

/// The lines of a text that begin with `start`.
inline Words linesWith(const std::string &text, const std::string &start)
{
    Words lines;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) {
        if (line.compare(0, start.size(), start) == 0)
            lines.push_back(line);
    }
    return lines;
}

}  // namespace nubrix
