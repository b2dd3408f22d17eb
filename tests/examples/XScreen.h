// A screen of the X Window System without a display, and what is on it.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "tests/TemporaryFolder.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix {

/// The server Xvfb, which keeps its screen in a file.
class XScreen {
public:
    static bool isInstalled();

    /// Throws std::runtime_error when it does not start.
    XScreen(int width, int height);
    ~XScreen();
    XScreen(const XScreen &) = delete;
    XScreen &operator=(const XScreen &) = delete;

    /// What a program needs in its environment: "DISPLAY=:1".
    std::string environment() const { return "DISPLAY=:" + m_display; }

    /// Red, green and blue of every pixel as they are now, row by row, 3 bytes each; empty when
    /// the file has another form than expected.
    std::string pixels() const;

    /// Whether input can be sent: python3-xlib is installed.
    static bool hasInput();
    /// Presses a key in the window with this title, or closes it with "--close". Returns what went
    /// wrong, nothing when all went well.
    std::string send(const std::string &title, const std::string &input) const;

private:
    const std::size_t m_width;
    const std::size_t m_height;
    TemporaryFolder m_folder;
    std::string m_display;
    std::unique_ptr<ToolProcess> m_server;
};

}  // namespace nubrix
