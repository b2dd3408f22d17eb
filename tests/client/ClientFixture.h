// A virtual camera as a scenario describes it, and the client layer on it.
#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "nubrix/client.h"
#include "nubrix/image.h"
#include "nubrix/record_reader.h"
#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/FirmwareBytes.h"
#include "tests/fakes/HangGuard.h"

namespace nubrix {

using client::Camera;
using client::Error;
using client::Frame;
using client::Session;
using client::Stream;
using client::StreamType;

constexpr std::chrono::milliseconds kLong{30000};  // for what comes, on a slow machine too
constexpr std::chrono::milliseconds kShort{100};   // for what does not come

class ClientTest : public testing::Test {
protected:
    explicit ClientTest(const std::string &scenario = R"({"pacing": "free"})")
    {
        const std::string file = m_folder.file("scenario.json", scenario);
        ::setenv("NUBRIX_VIRTUAL_SCENARIO", file.c_str(), 1);
    }
    ~ClientTest() override { ::unsetenv("NUBRIX_VIRTUAL_SCENARIO"); }

    /// The context is initialized as long as something of the layer lives.
    static bool isInUse()
    {
        typedefNubrixeviceAttribute *records = nullptr;
        unsigned int count = 0;
        return ContextFactory()->nubrixGetDeviceList(&records, &count) == 0;
    }

    /// An image of version 7.0.0 that the virtual camera takes.
    static std::string firmware() { return firmwareImage(std::string(20000, 'x'), 7, 0, 0); }

    TemporaryFolder m_folder;
    HangGuard m_guard{"a test of the client layer"};
};

}  // namespace nubrix
