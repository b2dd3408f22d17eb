/// @file
/// Where the frames of a stream went, in words.
#pragma once

#include <chrono>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/ledger.h"

namespace nubrix {
namespace client {

/// What each lost frame of a stream was lost to, a line for each cause with its reason: "37
/// replaced: the callback takes 48 ms, the camera gives a frame every 33 ms". Empty when no frame
/// was lost. `interval` is the time between two frames of the camera, 0 when it is not known.
inline std::vector<std::string> losses(const NubrixStreamLedger &ledger,
                                       std::chrono::microseconds interval = {});

namespace detail {

inline NubrixStreamLedger emptyLedger()
{
    NubrixStreamLedger ledger = {};
    ledger.size = sizeof(ledger);
    return ledger;
}

/// The causes of losses, as lines.
class LossText {
public:
    LossText(const NubrixStreamLedger &ledger, std::chrono::microseconds interval)
        : m_ledger(ledger), m_every(static_cast<double>(interval.count()))
    {
        add(ledger.replaced, "replaced", replacedBecause());
        add(ledger.discarded, "discarded",
            "nobody took them before the stream was stopped or lost its callback");
        add(ledger.unclaimed, "unclaimed", "the camera gave them while no stream was connected");
        addShortage();
        add(ledger.lostOnWire, "lost on the wire", "they never reached the driver");
        add(ledger.damaged, "damaged", "the driver could not use them");
        add(ledger.flagged, "short or damaged", "the driver handed them over with flags");
        addUnrecorded();
    }
    std::vector<std::string> take() { return std::move(m_lines); }

private:
    /// "48 ms", "0.5 ms".
    static std::string milliseconds(double micros)
    {
        const double tenths = std::round(micros / 100);
        const auto number = static_cast<unsigned long long>(tenths < 0 ? 0 : tenths);
        if (number >= 100)
            return std::to_string(static_cast<unsigned long long>(std::round(micros / 1000))) +
                   " ms";
        return std::to_string(number / 10) +
               (number % 10 != 0 ? "." + std::to_string(number % 10) : "") + " ms";
    }
    void add(unsigned long long count, const char *what, const std::string &reason)
    {
        if (count != 0)
            m_lines.push_back(std::to_string(count) + " " + what + ": " + reason);
    }
    std::string everyFrame() const
    {
        return m_every > 0 ? "the camera gives a frame every " + milliseconds(m_every)
                           : "the camera gives frames faster";
    }
    std::string replacedBecause() const
    {
        if (m_ledger.delivered != 0) {
            const double takes = static_cast<double>(m_ledger.callbackMicroseconds) /
                                 static_cast<double>(m_ledger.delivered);
            const bool isSlow = m_every > 0 && takes >= m_every;
            return "the callback takes " + milliseconds(takes) +
                   (isSlow ? ", " : " on average and at times longer, ") + everyFrame();
        }
        if (m_ledger.read != 0) {
            return "the application has read " + std::to_string(m_ledger.read) + " of " +
                   std::to_string(m_ledger.handedOver) + " frames, " + everyFrame();
        }
        if (m_ledger.toRecorders != 0)
            return "a recorder had not begun or was still writing the frame before, " +
                   everyFrame();
        return "nobody reads the stream";
    }
    void addShortage()
    {
        const bool isKnown = m_ledger.driverKnows != 0;
        std::string reason = "no frame was free; the application holds " +
                             std::to_string(m_ledger.held) + " of this stream";
        if (m_ledger.held != 0) {
            reason += ", the oldest for " +
                      milliseconds(static_cast<double>(m_ledger.longestHeldMicroseconds));
        }
        add(isKnown ? m_ledger.droppedWhileSlow : m_ledger.refused,
            isKnown ? "dropped by the driver" : "requests of the driver refused", reason);
    }
    void addUnrecorded()
    {
        add(m_ledger.toRecorders - m_ledger.recorded, "not recorded",
            "a recorder got " + std::to_string(m_ledger.toRecorders) + " frames and has written " +
                std::to_string(m_ledger.recorded) +
                "; the disk is full, or they are empty or of another stream's type");
    }

    const NubrixStreamLedger &m_ledger;
    const double m_every;  // microseconds
    std::vector<std::string> m_lines;
};

}  // namespace detail

inline std::vector<std::string> losses(const NubrixStreamLedger &ledger,
                                       std::chrono::microseconds interval)
{
    return detail::LossText(ledger, interval).take();
}

}  // namespace client
}  // namespace nubrix
