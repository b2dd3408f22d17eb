// The window of live_view on a screen without a display.
#include <signal.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "tests/examples/ExampleFixture.h"
#include "tests/examples/XScreen.h"

namespace nubrix {
namespace {

using testing::HasSubstr;

// The upper part of the room, where nothing moves and no shadow falls.
constexpr int kStillRows = 100;
constexpr int kScreenWidth = 2100;
constexpr int kScreenHeight = 700;

class LiveViewTest : public ExampleTest {
protected:
    void SetUp() override
    {
        if (*paths::kLiveView == '\0')
            GTEST_SKIP() << "live_view is not built: OpenCV's highgui is not installed";
        if (!XScreen::isInstalled())
            GTEST_SKIP() << "Xvfb is not installed";
    }
    /// What the upper rows of the window show when they show the right thing: colour as it is,
    /// infrared in grey. Depth is looked at by itself.
    std::string expectedRow(int y) const
    {
        std::string row;
        const auto colors = m_color.image<RGB888Pixel>();
        row.append(reinterpret_cast<const char *>(colors.row(y)), std::size_t{kWidth} * 3);
        return row;
    }
    /// Where the colour frame begins on the screen, as an index into its pixels.
    std::size_t placeOfColour(const std::string &screen) const
    {
        std::size_t place = screen.find(expectedRow(0));
        for (int y = 1; place != std::string::npos && y < kStillRows; ++y) {
            const std::size_t row = place + static_cast<std::size_t>(y * kScreenWidth * 3);
            if (screen.compare(row, kWidth * 3, expectedRow(y)) != 0)
                return std::string::npos;
        }
        return place;
    }
    /// Waits until the colour frame is on the screen; npos when it never is.
    std::size_t waitForColour(const XScreen &screen, std::string &pixels) const
    {
        // A screen gives no event when it is drawn.
        std::size_t place = std::string::npos;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (place == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            pixels = screen.pixels();
            place = placeOfColour(pixels);
        }
        return place;
    }
    static ToolProcess::Options on(const XScreen &screen)
    {
        ToolProcess::Options options;
        options.environment = {screen.environment(), "QT_QPA_PLATFORM=xcb"};
        return options;
    }
    /// Expects that the example ends with success after this input.
    void expectEndAfter(const std::string &input) const
    {
        const XScreen screen(kScreenWidth, kScreenHeight);
        ToolProcess view(onVirtualCamera("live_view"), on(screen));
        std::string pixels;
        ASSERT_NE(waitForColour(screen, pixels), std::string::npos);
        ASSERT_EQ(screen.send("nubrix", input), "");
        const ToolResult result = view.finish();
        EXPECT_EQ(result.status, 0) << result.err;
    }
    const Frame m_color = sceneFrame(StreamType::kColor, 0);
    const Frame m_depth = sceneFrame(StreamType::kDepth, 0);
    const Frame m_infrared = sceneFrame(StreamType::kInfrared, 0);
};

TEST_F(LiveViewTest, ShowsThreeStreamsSideBySide)
{
    const XScreen screen(kScreenWidth, kScreenHeight);
    ToolProcess view(onVirtualCamera("live_view"), on(screen));
    std::string pixels;
    const std::size_t place = waitForColour(screen, pixels);
    view.signal(SIGTERM);
    ASSERT_NE(place, std::string::npos) << "no colour frame on the screen\n" << view.finish().err;

    const auto at = [&](int x, int y) {
        const auto pixel = static_cast<std::size_t>(y * kScreenWidth + x) * 3;
        RGB888Pixel color = {};
        std::memcpy(&color, pixels.data() + place + pixel, sizeof(color));
        return color;
    };
    const auto infrared = m_infrared.image<unsigned char>();
    for (int y = 0; y < kStillRows; y += 7) {
        for (int x = 0; x < kWidth; x += 7) {
            const RGB888Pixel grey = at(2 * kWidth + x, y);
            ASSERT_EQ(grey.r, infrared(x, y)) << x << ", " << y;
            ASSERT_TRUE(grey.r == grey.g && grey.g == grey.b) << x << ", " << y;
            // The room is 1.5 to 3.7 m deep: green, between red for 0 and blue for 5 m.
            const RGB888Pixel depth = at(kWidth + x, y);
            ASSERT_TRUE(depth.g > depth.r && depth.g > 100) << x << ", " << y;
        }
    }
}

TEST_F(LiveViewTest, EndsWhenQIsPressedOrTheWindowIsClosed)
{
    if (!XScreen::hasInput())
        GTEST_SKIP() << "python3-xlib is not installed";
    expectEndAfter("q");
    expectEndAfter("--close");
}

TEST_F(LiveViewTest, EndsWithTheReasonWhenTheCameraIsUnplugged)
{
    const XScreen screen(kScreenWidth, kScreenHeight);
    ToolProcess view(onVirtualCamera("live_view", {}, scenario(R"({"pacing": "free", "faults": [
                         {"type": "unplug", "at_frame": 10, "stream": "depth"}]})")),
                     on(screen));
    const ToolResult result = view.finish();
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_THAT(result.err, HasSubstr("the camera is gone"));
}

}  // namespace
}  // namespace nubrix
