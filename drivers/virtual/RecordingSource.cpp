#include "virtual/RecordingSource.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "virtual/ImageSource.h"
#include "virtual/Report.h"

namespace nubrix {

namespace {

const std::vector<typedefNubrixFrameMode> kNoModes;

constexpr std::uint64_t kTagBytes = 26;  // of a record, before its pixels (docs/recording.md)
constexpr std::uint64_t kMostUs = 100000000000000;  // three years: what clocks can add up

struct Kind {
    unsigned int streamType;
    const char *name;
};

constexpr std::array<Kind, 4> kKinds = {{{NUBRIX_STREAM_COLOR, "colour"},
                                         {NUBRIX_STREAM_DEPTH, "depth"},
                                         {NUBRIX_STREAM_IR, "infrared"},
                                         {NUBRIX_STREAM_LIGHT_IR, "light infrared"}}};

/// The format whose pixels are as large as those of a record, which does not tell.
std::optional<unsigned int> formatOf(const RecordInfo &info, double depthUnitMm)
{
    const std::uint64_t pixels = std::uint64_t{info.width} * info.height;
    const bool isColor = info.streamType == NUBRIX_STREAM_COLOR;
    const bool isDepth = info.streamType == NUBRIX_STREAM_DEPTH;
    if (isColor && info.dataSize == pixels * 3)
        return NUBRIX_PIXEL_RGB888;
    if (isDepth && info.dataSize == pixels * 2)
        return depthFormatOf(depthUnitMm);
    if (isColor || isDepth)
        return std::nullopt;
    if (info.dataSize == pixels * 2)
        return NUBRIX_PIXEL_GREY16;
    if (info.dataSize == pixels)
        return NUBRIX_PIXEL_GREY8;
    return std::nullopt;
}

/// Frames per second by their times; 30 when they do not tell.
signed char rateOf(const std::vector<std::uint64_t> &us)
{
    if (us.size() < 2 || us.back() == us.front())
        return 30;
    const double rate =
        static_cast<double>(us.size() - 1) * 1e6 / static_cast<double>(us.back() - us.front());
    return static_cast<signed char>(std::lround(std::clamp(rate, 1.0, 120.0)));
}

}  // namespace

std::variant<std::shared_ptr<RecordingSource>, ScenarioError> RecordingSource::create(
    const RecordingSetup &setup)
{
    std::shared_ptr<RecordingSource> source(new RecordingSource(setup));
    const std::string wrong = source->open();
    if (!wrong.empty())
        return ScenarioError{"recording.file", setup.fileLine,
                             "the recording \"" + setup.file + "\" " + wrong};
    return source;
}

std::string RecordingSource::open()
{
    if (m_reader.open(m_setup.file.c_str()) != 0)
        return std::string("cannot be read: ") + m_reader.errorText();
    m_pixels.open(m_setup.file, std::ios::binary);
    if (!m_pixels)
        return "cannot be read: it cannot be opened a second time";
    if (*m_reader.problem() != '\0')
        report("the recording \"" + m_setup.file + "\" is not whole: " + m_reader.problem());
    std::uint64_t startUs = std::numeric_limits<std::uint64_t>::max();
    for (unsigned int i = 0; i < m_reader.count(); ++i) {
        RecordInfo info = {};
        if (m_reader.info(i, &info) != 0)
            return std::string("cannot be read: ") + m_reader.errorText();
        startUs = std::min<std::uint64_t>(startUs, info.timestampUs);
    }
    for (const Kind &kind : kKinds) {
        Series series;
        series.streamType = kind.streamType;
        const std::string wrong = readSeries(series, startUs);
        if (!wrong.empty())
            return std::string("cannot be played: its ") + kind.name + " records " + wrong;
        if (!series.records.empty())
            m_series.push_back(std::move(series));
    }
    if (m_series.empty())
        return "holds no colour, depth or infrared frames";
    return "";
}

std::string RecordingSource::readSeries(Series &series, std::uint64_t startUs)
{
    RecordInfo shape = {};
    for (unsigned int n = 0; n < m_reader.count(series.streamType); ++n) {
        unsigned int record = 0;
        RecordInfo info = {};
        if (m_reader.find(series.streamType, n, &record) != 0 || m_reader.info(record, &info) != 0)
            return std::string("cannot be read: ") + m_reader.errorText();
        const std::uint64_t us = std::min<std::uint64_t>(info.timestampUs - startUs, kMostUs);
        series.records.push_back(record);
        series.us.push_back(series.us.empty() ? us : std::max(us, series.us.back()));
        series.largest = std::max(series.largest, info.dataSize);
        if (shape.dataSize == 0 && formatOf(info, m_setup.depthUnitMm))
            shape = info;
    }
    if (series.records.empty())
        return "";
    if (shape.dataSize == 0)
        return "have pixels of an unknown size";
    const signed char rate = rateOf(series.us);
    series.modes.push_back({formatOf(shape, m_setup.depthUnitMm).value(),
                            static_cast<unsigned short>(shape.width),
                            static_cast<unsigned short>(shape.height), rate});
    m_passUs = std::max(m_passUs, series.us.back() + 1000000U / static_cast<unsigned int>(rate));
    return "";
}

const RecordingSource::Series *RecordingSource::seriesOf(unsigned int streamType) const
{
    const auto found = std::find_if(m_series.begin(), m_series.end(), [&](const Series &series) {
        return series.streamType == streamType;
    });
    return found == m_series.end() ? nullptr : &*found;
}

const std::vector<typedefNubrixFrameMode> &RecordingSource::modes(unsigned int streamType) const
{
    const Series *series = seriesOf(streamType);
    return series == nullptr ? kNoModes : series->modes;
}

unsigned int RecordingSource::largestPicture(unsigned int streamType,
                                             const typedefNubrixFrameMode & /*mode*/) const
{
    const Series *series = seriesOf(streamType);
    return series == nullptr ? 0 : series->largest;
}

FrameSource::Result RecordingSource::fill(unsigned int streamType,
                                          const typedefNubrixFrameMode & /*mode*/,
                                          std::uint32_t frameIndex, std::uint8_t *data)
{
    const Series *series = seriesOf(streamType);
    if (series == nullptr || (!m_setup.loop && frameIndex >= series->records.size()))
        return Result::kEnd;
    const unsigned int record = series->records[frameIndex % series->records.size()];
    const std::string wrong = read(record, series->largest, data);
    if (wrong.empty())
        return Result::kFilled;
    report("record " + std::to_string(record) + " of \"" + m_setup.file + "\" is lost: " + wrong);
    return Result::kLost;
}

// What is wrong, or an empty text. Not from where the reader maps the file: there one that is cut
// short meanwhile ends the process.
std::string RecordingSource::read(unsigned int record, unsigned int capacity, std::uint8_t *data)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    RecordInfo info = {};
    if (m_reader.info(record, &info) != 0)
        return m_reader.errorText();
    if (info.dataSize > capacity)
        return "it has grown";
    m_pixels.clear();
    m_pixels.seekg(static_cast<std::streamoff>(info.offset + kTagBytes));
    if (!m_pixels.read(reinterpret_cast<char *>(data), info.dataSize))
        return "the file was cut short";
    return "";
}

std::optional<RecordedPicture> RecordingSource::recorded(unsigned int streamType,
                                                         std::uint32_t frameIndex)
{
    const Series *series = seriesOf(streamType);
    if (series == nullptr || (!m_setup.loop && frameIndex >= series->records.size()))
        return std::nullopt;
    const std::size_t place = frameIndex % series->records.size();
    const std::uint64_t pass =
        std::min<std::uint64_t>(frameIndex / series->records.size(), kMostUs / m_passUs);
    RecordInfo info = {};
    {
        // One that cannot be read any more keeps its place: fill returns that it is lost.
        const std::lock_guard<std::mutex> lock(m_lock);
        m_reader.info(series->records[place], &info);
    }
    // Recorders count the frames of colour and of depth only.
    const bool isCounted = streamType == NUBRIX_STREAM_COLOR || streamType == NUBRIX_STREAM_DEPTH;
    return RecordedPicture{pass * m_passUs + series->us[place],
                           info.timestampUs,
                           isCounted ? info.index : static_cast<std::uint32_t>(place),
                           info.dataSize,
                           static_cast<unsigned short>(info.width),
                           static_cast<unsigned short>(info.height)};
}

std::uint32_t RecordingSource::firstFrom(unsigned int streamType, std::uint64_t us) const
{
    const Series *series = seriesOf(streamType);
    if (series == nullptr)
        return 0;
    const std::uint64_t pass = m_setup.loop ? us / m_passUs : 0;
    const auto first = std::lower_bound(series->us.begin(), series->us.end(), us - pass * m_passUs);
    return static_cast<std::uint32_t>(pass * series->us.size() +
                                      static_cast<std::uint64_t>(first - series->us.begin()));
}

std::optional<Intrinsics> RecordingSource::intrinsics(unsigned int /*streamType*/,
                                                      const typedefNubrixFrameMode & /*mode*/) const
{
    return m_setup.intrinsics;
}

std::optional<double> RecordingSource::trueDepth(const typedefNubrixFrameMode & /*mode*/,
                                                 std::uint32_t /*frameIndex*/, unsigned int /*x*/,
                                                 unsigned int /*y*/) const
{
    return std::nullopt;
}

}  // namespace nubrix
