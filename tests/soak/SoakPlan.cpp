#include "tests/soak/SoakPlan.h"

#include <algorithm>
#include <cstring>

#include "tests/Random.h"
#include "tests/drivers/virtual/ImageWriter.h"

namespace nubrix::soak {

namespace {

// The driver looks at every fault for every frame: more of them would slow a long run down.
constexpr double kMostMoments = 300;
constexpr double kSecondsPerUnplugging = 3;
constexpr double kSecondsPerFault = 2;
constexpr unsigned int kRecurring = 8;

std::string number(std::size_t value)
{
    return std::to_string(value);
}

/// One fault of a stream with the time of its first frame: "at_ms": 12 or "at_frame": 12.
std::string frameFault(Random &random, const std::string &moment)
{
    const std::string stream = random.oneOf<const char *>({"color", "depth"});
    const std::string which = R"(, "stream": ")" + stream + "\"";
    switch (random.below(5)) {
        case 0:
            return R"({"type": "stall", )" + moment + which + R"(, "duration_ms": )" +
                   number(20 + random.below(200)) + "}";
        case 1:
            return R"({"type": "clock_jump", )" + moment + R"(, "by_ms": )" +
                   random.oneOf({"-1500", "900", "60000"}) + "}";
        case 2:
            return R"({"type": "short_frame", )" + moment + which + "}";
        case 3:
            return R"({"type": "empty_frame", )" + moment + which + "}";
        default:
            return R"({"type": "drop", )" + moment + which + R"(, "count": )" +
                   number(1 + random.below(5)) + "}";
    }
}

/// Faults at moments of the whole run, for a stream that runs all the time.
std::string faultsInTime(Random &random, double seconds)
{
    const double count = std::min(kMostMoments, seconds / kSecondsPerFault);
    std::string faults;
    for (double i = 0; i < count; ++i) {
        const double second = (i + 0.5) * seconds / count;
        faults +=
            (faults.empty() ? "" : ",\n") +
            frameFault(random, R"("at_ms": )" + number(static_cast<std::size_t>(second * 1000)));
    }
    return faults;
}

/// Faults that happen in every run of a stream.
std::string faultsInRuns(Random &random)
{
    std::string faults;
    for (unsigned int i = 0; i < kRecurring; ++i) {
        faults += (faults.empty() ? "" : ",\n") +
                  frameFault(random, R"("at_frame": )" + number(random.below(400)));
    }
    return faults;
}

/// Times at which a camera is unplugged, and returns up to a second later.
std::string hotPlug(Random &random, double seconds)
{
    const double count = std::min(kMostMoments, seconds / kSecondsPerUnplugging);
    const auto slot = static_cast<std::size_t>(seconds * 1000 / std::max(count, 1.0));
    std::string faults;
    for (std::size_t i = 0; static_cast<double>(i) < count; ++i) {
        const std::size_t away = 100 + random.below(900);
        const std::size_t from = i * slot + random.below(slot - 1000);
        faults += (faults.empty() ? "" : ",\n") +
                  (R"({"type": "unplug", "at_ms": )" + number(from)) +
                  R"(}, {"type": "plug", "at_ms": )" + number(from + away) + "}";
    }
    return faults;
}

std::string camera(const std::string &serial, const std::string &faults)
{
    return R"({"serial": ")" + serial + R"(", "faults": [)" + faults + "]}";
}

}  // namespace

SoakImages::SoakImages()
{
    for (unsigned int i = 0; i < kCount; ++i) {
        m_colors.push_back(colorPattern(kWidth, kHeight, i));
        m_depths.push_back(depthPattern(kWidth, kHeight, i));
    }
}

void SoakImages::write(const std::string &folder) const
{
    for (unsigned int i = 0; i < kCount; ++i) {
        const std::string name = folder + "/" + std::to_string(i);
        writePng(name + ".color.png", kWidth, kHeight, 8, 2, m_colors[i]);
        writePng(name + ".depth.png", kWidth, kHeight, 16, 0, m_depths[i]);
    }
}

bool SoakImages::matches(const typedefNubrixFrame &frame) const
{
    return isImage(frame, frame.frameIndex % kCount);
}

bool SoakImages::containOneOf(const typedefNubrixFrame &frame) const
{
    for (unsigned int i = 0; i < kCount; ++i) {
        if (isImage(frame, i))
            return true;
    }
    return false;
}

bool SoakImages::isImage(const typedefNubrixFrame &frame, unsigned int number) const
{
    const bool isColor = frame.streamType == NUBRIX_STREAM_COLOR;
    const Pixels &pixels = (isColor ? m_colors : m_depths)[number];
    return frame.width == kWidth && frame.height == kHeight && frame.dataSize == pixels.size() &&
           std::memcmp(frame.data, pixels.data(), pixels.size()) == 0;
}

std::string scenarioText(std::uint64_t seed, double seconds)
{
    Random random(seed);
    return R"({"pacing": "free", "source": "images",
"images": {"folder": "images", "depth_unit_mm": 0.0625,
           "intrinsics": {"fx": 130, "fy": 130, "cx": 79.5, "cy": 59.5}},
"cameras": [)" +
           camera("STEADY", faultsInTime(random, seconds)) + ",\n" +
           camera("LEFT", hotPlug(random, seconds) + ",\n" + faultsInRuns(random)) + ",\n" +
           camera("RIGHT", hotPlug(random, seconds) + ",\n" + faultsInRuns(random)) + ",\n" +
           camera("FILM", hotPlug(random, seconds)) + "]}\n";
}

}  // namespace nubrix::soak
