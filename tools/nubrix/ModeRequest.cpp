#include "ModeRequest.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <set>
#include <tuple>

namespace nubrix::tool {

namespace {

using Modes = std::vector<client::Mode>;

/// Parses a number that `end` follows ('\0': the end of the text), and moves `text` after it.
bool takeNumber(const char *&text, const char *last, char end, int &number)
{
    const auto [stop, error] = std::from_chars(text, last, number);
    if (error != std::errc() || number <= 0 || number > 65535)
        return false;
    if (end == '\0')
        return stop == last;
    if (stop == last || *stop != end)
        return false;
    text = stop + 1;
    return true;
}

std::string sizeText(int width, int height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

std::string join(const std::set<int> &numbers)
{
    std::string text;
    for (const int number : numbers)
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    return text;
}

const client::Mode &nearest(const Modes &offered, const ModeRequest &wanted)
{
    const auto distance = [&](const client::Mode &mode) {
        return std::make_tuple(
            std::abs(mode.width - wanted.width) + std::abs(mode.height - wanted.height),
            std::abs(mode.framesPerSecond - wanted.framesPerSecond));
    };
    return *std::min_element(offered.begin(), offered.end(), [&](const auto &a, const auto &b) {
        return distance(a) < distance(b);
    });
}

/// The first unsupported field of the request, and its supported values.
std::string wrongField(const Modes &offered, const ModeRequest &wanted)
{
    std::set<int> widths;
    std::set<int> heights;
    std::set<int> rates;
    for (const client::Mode &mode : offered) {
        widths.insert(mode.width);
        if (mode.width != wanted.width)
            continue;
        heights.insert(mode.height);
        if (mode.height == wanted.height)
            rates.insert(mode.framesPerSecond);
    }
    if (!rates.empty())
        return "frame rate " + std::to_string(wanted.framesPerSecond) + " is not offered at " +
               sizeText(wanted.width, wanted.height) + " (offered: " + join(rates) + ")";
    if (!heights.empty())
        return "height " + std::to_string(wanted.height) + " is not offered with width " +
               std::to_string(wanted.width) + " (offered: " + join(heights) + ")";
    return "width " + std::to_string(wanted.width) + " is not offered (offered: " + join(widths) +
           ")";
}

}  // namespace

std::optional<ModeRequest> parseMode(const std::string &text)
{
    const char *next = text.data();
    const char *last = next + text.size();
    ModeRequest mode = {};
    if (!takeNumber(next, last, 'x', mode.width) || !takeNumber(next, last, '@', mode.height) ||
        !takeNumber(next, last, '\0', mode.framesPerSecond))
        return std::nullopt;
    return mode;
}

std::string modeText(const client::Mode &mode)
{
    return sizeText(mode.width, mode.height) + "@" + std::to_string(mode.framesPerSecond);
}

std::optional<client::Mode> findMode(const Modes &offered, const ModeRequest &wanted,
                                     NubrixPixelFormat format)
{
    std::optional<client::Mode> found;
    for (const client::Mode &mode : offered) {
        if (mode.width != wanted.width || mode.height != wanted.height ||
            mode.framesPerSecond != wanted.framesPerSecond)
            continue;
        if (!found || mode.format == format)
            found = mode;
        if (mode.format == format)
            break;
    }
    return found;
}

std::string explainMissingMode(const Modes &offered, const ModeRequest &wanted)
{
    return wrongField(offered, wanted) + "; nearest mode: " + modeText(nearest(offered, wanted));
}

}  // namespace nubrix::tool
