#include "record/RecordIndex.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

namespace nubrix {

namespace {

constexpr std::size_t kBlockSize = 4096;
constexpr std::size_t kFirstSearchSize = 256;  // the next record is mostly near
constexpr std::size_t kSearchSize = 65536;
constexpr std::uint64_t kSearchLimit = 64 << 20;

[[noreturn]] void failShorter()
{
    throw std::system_error(EIO, std::generic_category(), "the file has become shorter");
}

std::string cutTag(std::uint64_t sizeBytes)
{
    return "a tag of 26 bytes is cut after " + std::to_string(sizeBytes);
}

}  // namespace

RecordIndex::Entry::Entry(std::uint64_t place, const RecordTag &tag)
    : offset(place),
      timestampUs(tag.timestampUs),
      index(tag.index),
      dataSize(tag.dataSize),
      width(static_cast<std::uint16_t>(tag.width)),
      height(static_cast<std::uint16_t>(tag.height)),
      streamType(static_cast<std::uint16_t>(tag.streamType))
{
}

RecordIndex::RecordIndex(const char *path) : m_file(path), m_size(m_file.size())
{
    walkToEnd();
}

void RecordIndex::update()
{
    const std::uint64_t size = m_file.size();
    if (size < m_size)
        failShorter();
    if (size == m_size && m_walked)
        return;
    m_size = size;
    returnToSettled();
    walkToEnd();
}

const std::deque<std::uint32_t> *RecordIndex::recordsOf(unsigned int streamType) const
{
    const auto found = m_recordsOfType.find(streamType);
    return found == m_recordsOfType.end() ? nullptr : &found->second;
}

void RecordIndex::walkToEnd()
{
    m_walked = false;
    try {
        walk();
    } catch (const std::system_error &failure) {
        note(NUBRIX_RECORD_DAMAGED, m_walk.offset, failure.what());
        return;
    }
    m_walked = true;
}

void RecordIndex::walk()
{
    if (m_walk.offset == 0)
        m_walk.offset = skipHeader();
    while (m_walk.offset < m_size) {
        keepSettled();
        const std::uint64_t offset = m_walk.offset;
        const Finding finding = lookAt(offset);
        if (finding.kind == Kind::kRecord) {
            add(offset, finding.tag);
            continue;
        }
        const std::optional<std::uint64_t> next = findRecord(offset + 1);
        if (next && finding.kind == Kind::kAstray && isPieceOfTag(finding.end, *next)) {
            add(offset, finding.tag);
            note(NUBRIX_RECORD_DAMAGED, finding.end, cutTag(*next - finding.end));
        } else {
            note(finding.kind == Kind::kCut && !next ? NUBRIX_RECORD_CUT : NUBRIX_RECORD_DAMAGED,
                 offset, describe(offset, finding));
        }
        if (!next)
            return;
        m_walk.skippedBytes += *next - m_walk.offset;
        m_walk.offset = *next;
    }
}

void RecordIndex::keepSettled()
{
    if (m_settled)
        m_settledWalk = m_walk;
}

void RecordIndex::returnToSettled()
{
    m_walk = m_settledWalk;
    m_settled = true;
    m_block.clear();
    while (m_records.size() > m_walk.records)
        m_records.pop_back();
    for (auto &[type, records] : m_recordsOfType) {
        while (!records.empty() && records.back() >= m_walk.records)
            records.pop_back();
    }
}

std::uint64_t RecordIndex::skipHeader()
{
    if (m_size <= kRecordHeaderSize)
        m_settled = false;
    if (m_size < kRecordHeaderSize || lookAt(0).kind != Kind::kNothing)
        return 0;
    unsigned char head[kRecordHeaderSize] = {};
    m_file.read(0, head, sizeof(head));
    m_walk.hasHeader = isRecordHeader(head);
    if (!m_walk.hasHeader)
        return 0;
    if (m_size == kRecordHeaderSize)
        return kRecordHeaderSize;
    const Kind kind = lookAt(kRecordHeaderSize).kind;
    if (kind == Kind::kRecord || kind == Kind::kCut)
        return kRecordHeaderSize;
    note(NUBRIX_RECORD_DAMAGED, 0, "a header of 70 bytes lies over the first records");
    return 0;
}

void RecordIndex::add(std::uint64_t offset, const RecordTag &tag)
{
    if (m_records.size() == UINT32_MAX)
        throw std::bad_alloc();
    m_recordsOfType[tag.streamType].push_back(static_cast<std::uint32_t>(m_records.size()));
    m_records.emplace_back(offset, tag);
    m_walk.records = m_records.size();
    m_walk.offset = offset + kRecordTagSize + tag.dataSize;
}

RecordIndex::Finding RecordIndex::lookAt(std::uint64_t offset)
{
    return judge(offset, readTag(offset, m_size));
}

RecordIndex::Finding RecordIndex::judge(std::uint64_t offset, const RecordTag &tag)
{
    const std::uint64_t end = offset + kRecordTagSize + tag.dataSize;
    if (!tag.isValid())
        return {Kind::kNothing, tag, end};
    if (end > m_size) {
        m_settled = false;
        return {Kind::kCut, tag, end};
    }
    const bool follows = end == m_size || readTag(end, m_size).isValid();
    if (follows && m_size - end < kRecordTagSize)
        m_settled = false;
    return {follows ? Kind::kRecord : Kind::kAstray, tag, end};
}

std::optional<std::uint64_t> RecordIndex::findRecord(std::uint64_t offset)
{
    const std::uint64_t limit = std::min(m_size, offset + kSearchLimit);
    std::vector<unsigned char> bytes(kFirstSearchSize);
    while (offset < limit) {
        const std::size_t got = m_file.read(offset, bytes.data(), bytes.size());
        if (got <= kRecordTagSize)
            break;
        const std::size_t tags = got - kRecordTagSize;
        for (std::size_t i = 0; i < tags; ++i) {
            if (bytes[i] == 0 || bytes[i + 1] != 0)  // most bytes are no stream type
                continue;
            // Not lookAt: m_block keeps the bytes after the pixels, near those of the last attempt.
            const RecordTag tag = RecordTag::read(&bytes[i]);
            if (tag.isValid() && judge(offset + i, tag).kind == Kind::kRecord)
                return offset + i;
        }
        offset += tags;
        bytes.resize(std::min(2 * bytes.size(), kSearchSize));
    }
    return {};
}

bool RecordIndex::isPieceOfTag(std::uint64_t offset, std::uint64_t end)
{
    return offset < end && end - offset < kRecordTagSize && readTag(offset, end).isValid();
}

RecordTag RecordIndex::readTag(std::uint64_t offset, std::uint64_t end)
{
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(kRecordTagSize, end - offset));
    if (offset < m_blockOffset || offset + size > m_blockOffset + m_block.size()) {
        m_block.resize(kBlockSize);
        m_block.resize(m_file.read(offset, m_block.data(), m_block.size()));
        m_blockOffset = offset;
        if (m_block.size() < size)
            failShorter();
    }
    return RecordTag::readPrefix(&m_block[static_cast<std::size_t>(offset - m_blockOffset)], size);
}

void RecordIndex::note(NubrixRecordCondition condition, std::uint64_t offset,
                       const std::string &text)
{
    m_walk.condition = std::max(m_walk.condition, condition);
    if (m_walk.problem.empty())
        m_walk.problem = "byte " + std::to_string(offset) + ": " + text;
}

std::string RecordIndex::describe(std::uint64_t offset, const Finding &finding) const
{
    const std::uint64_t left = m_size - offset;
    switch (finding.kind) {
        case Kind::kCut:
            if (left < kRecordTagSize)
                return cutTag(left);
            return "a record of " + std::to_string(finding.end - offset) + " bytes is cut after " +
                   std::to_string(left);
        case Kind::kAstray:
            return "a record of " + std::to_string(finding.end - offset) +
                   " bytes is not followed by another";
        case Kind::kNothing:
        case Kind::kRecord:
            break;
    }
    return "no record: " + finding.tag.fault();
}

}  // namespace nubrix
