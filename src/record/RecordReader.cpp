#include "nubrix/record_reader.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "record/RecordFile.h"
#include "record/RecordIndex.h"
#include "record/RecordTag.h"

namespace nubrix {

namespace {

constexpr const char *kNotOpen = "no file is open";
constexpr const char *kNoPlace = "there is no place for the result";

RecordInfo infoOf(const RecordTag &tag, std::uint64_t offset)
{
    return {offset,       tag.timestampUs, tag.streamType, tag.index,
            tag.dataSize, tag.width,       tag.height,     0};
}

template <std::size_t Size>
int fail(char (&place)[Size], int status, const char *text)
{
    std::snprintf(place, Size, "%s", text);
    return status;
}

// Runs what makes or changes an index. Gives 0 or -1.
template <std::size_t Size, class Work>
int tryToIndex(char (&place)[Size], Work &&work)
{
    try {
        work();
        return 0;
    } catch (const std::bad_alloc &) {
        return fail(place, -1, "there is not enough memory for the index");
    } catch (const std::exception &failure) {
        return fail(place, -1, failure.what());
    }
}

template <std::size_t Size>
int failAt(char (&place)[Size], std::uint64_t offset, const char *text)
{
    std::snprintf(place, Size, "byte %llu: %s", static_cast<unsigned long long>(offset), text);
    return -1;
}

// Fills `found` from the tag of a record as it is now. False when the file is not what it was.
bool readInfo(const RecordIndex &index, unsigned int record, RecordInfo &found)
{
    const RecordIndex::Entry &entry = index.records()[record];
    unsigned char bytes[kRecordTagSize];
    if (index.file().read(entry.offset, bytes, sizeof(bytes)) < sizeof(bytes))
        return false;
    const RecordTag tag = RecordTag::read(bytes);
    found = infoOf(tag, entry.offset);
    return tag.isValid() && RecordIndex::Entry(entry.offset, tag) == entry &&
           entry.offset + kRecordTagSize + tag.dataSize <= index.file().size();
}

}  // namespace

RecordFrame::RecordFrame() noexcept : m_info(), m_data(nullptr), m_window(nullptr)
{
}

RecordFrame::RecordFrame(const RecordFrame &other) noexcept
    : m_info(other.m_info), m_data(other.m_data), m_window(RecordWindow::share(other.m_window))
{
}

RecordFrame::RecordFrame(RecordFrame &&other) noexcept : RecordFrame()
{
    std::swap(m_info, other.m_info);
    std::swap(m_data, other.m_data);
    std::swap(m_window, other.m_window);
}

RecordFrame &RecordFrame::operator=(RecordFrame other) noexcept
{
    std::swap(m_info, other.m_info);
    std::swap(m_data, other.m_data);
    std::swap(m_window, other.m_window);
    return *this;
}

RecordFrame::~RecordFrame()
{
    RecordWindow::release(m_window);
}

RecordReader::RecordReader() noexcept : m_index(nullptr), m_window(nullptr), m_errorText()
{
}

RecordReader::~RecordReader()
{
    close();
}

int RecordReader::open(const char *path) noexcept
{
    close();
    if (!path)
        return fail(m_errorText, -4, "there is no path");
    return tryToIndex(m_errorText,
                      [&] { m_index = std::make_unique<RecordIndex>(path).release(); });
}

int RecordReader::update() noexcept
{
    if (!m_index)
        return fail(m_errorText, -2, kNotOpen);
    return tryToIndex(m_errorText, [&] { m_index->update(); });
}

void RecordReader::close() noexcept
{
    RecordWindow::release(std::exchange(m_window, nullptr));
    delete std::exchange(m_index, nullptr);
}

unsigned int RecordReader::count(unsigned int streamType) const noexcept
{
    if (!m_index)
        return 0;
    if (streamType == 0)
        return static_cast<unsigned int>(m_index->records().size());
    const auto *const records = m_index->recordsOf(streamType);
    return records ? static_cast<unsigned int>(records->size()) : 0;
}

NubrixRecordCondition RecordReader::condition() const noexcept
{
    return m_index ? m_index->condition() : NUBRIX_RECORD_COMPLETE;
}

const char *RecordReader::problem() const noexcept
{
    return m_index ? m_index->problem().c_str() : "";
}

unsigned long long RecordReader::trailingBytes() const noexcept
{
    return m_index ? m_index->trailingBytes() : 0;
}

unsigned long long RecordReader::skippedBytes() const noexcept
{
    return m_index ? m_index->skippedBytes() : 0;
}

bool RecordReader::hasHeader() const noexcept
{
    return m_index && m_index->hasHeader();
}

int RecordReader::find(unsigned int streamType, unsigned int n, unsigned int *record) noexcept
{
    if (!m_index)
        return fail(m_errorText, -2, kNotOpen);
    if (!record)
        return fail(m_errorText, -4, kNoPlace);
    if (n >= count(streamType))
        return fail(m_errorText, -4, "there are not so many records of this type");
    *record = streamType == 0 ? n : (*m_index->recordsOf(streamType))[n];
    return 0;
}

int RecordReader::findNearest(unsigned int streamType, unsigned long long timestampUs,
                              unsigned int *record) noexcept
{
    if (!m_index)
        return fail(m_errorText, -2, kNotOpen);
    if (!record)
        return fail(m_errorText, -4, kNoPlace);
    const unsigned int records = count(streamType);
    if (records == 0)
        return fail(m_errorText, -4, "there is no record of this type");
    const auto *const ofType = m_index->recordsOf(streamType);
    unsigned long long least = 0;
    for (unsigned int n = 0; n < records; ++n) {
        const unsigned int candidate = streamType == 0 ? n : (*ofType)[n];
        const unsigned long long time = m_index->records()[candidate].timestampUs;
        const unsigned long long away =
            time > timestampUs ? time - timestampUs : timestampUs - time;
        if (n == 0 || away < least) {
            least = away;
            *record = candidate;
        }
    }
    return 0;
}

int RecordReader::info(unsigned int record, RecordInfo *info) noexcept
{
    if (!m_index)
        return fail(m_errorText, -2, kNotOpen);
    if (!info)
        return fail(m_errorText, -4, kNoPlace);
    if (record >= count())
        return fail(m_errorText, -4, "there is no such record");
    const std::uint64_t offset = m_index->records()[record].offset;
    try {
        RecordInfo found;
        if (!readInfo(*m_index, record, found))
            return failAt(m_errorText, offset, "the file has changed");
        *info = found;
        return 0;
    } catch (const std::exception &failure) {
        return failAt(m_errorText, offset, failure.what());
    }
}

int RecordReader::frame(unsigned int record, RecordFrame *frame) noexcept
{
    if (!m_index)
        return fail(m_errorText, -2, kNotOpen);
    if (!frame)
        return fail(m_errorText, -4, kNoPlace);
    RecordFrame found;
    if (const int refused = info(record, &found.m_info))
        return refused;
    const std::uint64_t offset = found.m_info.offset + kRecordTagSize;
    const std::size_t size = found.m_info.dataSize;
    try {
        if (!m_window || !m_window->find(offset, size)) {
            RecordWindow *const window = m_index->file().map(offset, size);
            RecordWindow::release(std::exchange(m_window, window));
        }
    } catch (const std::exception &failure) {
        return failAt(m_errorText, found.m_info.offset, failure.what());
    }
    found.m_data = m_window->find(offset, size);
    if (!found.m_data)
        return failAt(m_errorText, found.m_info.offset, "the file has become shorter");
    found.m_window = RecordWindow::share(m_window);
    *frame = std::move(found);
    return 0;
}

const char *RecordReader::errorText() const noexcept
{
    return m_errorText;
}

}  // namespace nubrix
