// A virtual camera as a scenario describes it, and the client layer on it.
#pragma once

#include <gmock/gmock.h>
#include <zlib.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "nubrix/client.h"
#include "nubrix/image.h"
#include "nubrix/record_reader.h"
#include "tests/TemporaryFolder.h"
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
    static std::string firmware()
    {
        const std::string content(20000, 'x');
        std::string image = "NUBRIXFW";
        const auto put = [&image](std::uint64_t value, int bytes) {
            for (int i = 0; i < bytes; ++i)
                image += static_cast<char>(value >> (8 * i) & 0xFF);
        };
        put(7, 2);
        put(0, 6);
        put(content.size(), 4);
        put(::crc32(0, reinterpret_cast<const Bytef *>(content.data()),
                    static_cast<uInt>(content.size())),
            4);
        put(0, 8);
        return image + content;
    }

    TemporaryFolder m_folder;
    HangGuard m_guard{"a test of the client layer"};
};

}  // namespace nubrix
