#include "tests/examples/XScreen.h"

#include <signal.h>

#include <stdexcept>

#include "tests/Paths.h"

namespace nubrix {

namespace {

constexpr std::size_t kColourBytes = 12;  // of an entry of the table behind the header
constexpr std::size_t kPixelBytes = 4;    // blue, green, red and one that is not used

/// A number of the header, of which each has four bytes, the highest first.
std::size_t headerNumber(const std::string &file, std::size_t place)
{
    std::size_t number = 0;
    for (std::size_t i = 0; i < 4; ++i)
        number = number << 8 | static_cast<unsigned char>(file[place * 4 + i]);
    return number;
}

}  // namespace

bool XScreen::isInstalled()
{
    return ToolProcess({"sh", "-c", "command -v Xvfb"}).finish().status == 0;
}

bool XScreen::hasInput()
{
    return ToolProcess({"/usr/bin/python3", "-c", "import Xlib"}).finish().status == 0;
}

std::string XScreen::send(const std::string &title, const std::string &input) const
{
    const std::string script = std::string(paths::kExamples) + "/../../tests/examples/x_input.py";
    const ToolResult result = ToolProcess(Words{script, ":" + m_display, title, input}).finish();
    return result.status == 0 ? "" : "x_input.py: " + result.err;
}

XScreen::XScreen(int width, int height)
    : m_width(static_cast<std::size_t>(width)), m_height(static_cast<std::size_t>(height))
{
    const std::string size = std::to_string(width) + "x" + std::to_string(height) + "x24";
    m_server = std::make_unique<ToolProcess>(Words{"Xvfb", "-displayfd", "1", "-fbdir",
                                                   m_folder.path().string(), "-screen", "0", size,
                                                   "-nolisten", "tcp", "-noreset"});
    // The number of a display that was free, when it is ready. On its other output it may warn.
    for (unsigned int lines = 1; m_server->output().find('\n') == std::string::npos; ++lines) {
        if (!m_server->waitForOutput("\n", lines))
            throw std::runtime_error("Xvfb does not start");
    }
    m_display = m_server->output().substr(0, m_server->output().find('\n'));
}

XScreen::~XScreen()
{
    m_server->signal(SIGTERM);  // it removes what it made in /tmp
    m_server->finish();
}

std::string XScreen::pixels() const
{
    // The format of xwd: a header of numbers, a table of colours, the pixels.
    const std::string file = readFile(m_folder.file("Xvfb_screen0"));
    if (file.size() < 100 || headerNumber(file, 1) != 7 || headerNumber(file, 4) != m_width ||
        headerNumber(file, 5) != m_height || headerNumber(file, 11) != 8 * kPixelBytes)
        return {};
    const std::size_t bytesPerRow = headerNumber(file, 12);
    const std::size_t begin = headerNumber(file, 0) + headerNumber(file, 19) * kColourBytes;
    if (file.size() < begin + m_height * bytesPerRow || bytesPerRow < m_width * kPixelBytes)
        return {};
    std::string all;
    for (std::size_t y = 0; y < m_height; ++y) {
        for (std::size_t x = 0; x < m_width; ++x) {
            const std::size_t at = begin + y * bytesPerRow + x * kPixelBytes;
            all += {file[at + 2], file[at + 1], file[at]};
        }
    }
    return all;
}

}  // namespace nubrix
