// Any bytes at all as a record file: every answer of the reader is held against the bytes.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "nubrix/record_reader.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/MemoryFile.h"

namespace nubrix {
namespace {

constexpr std::size_t kTagBytes = 26;
constexpr std::size_t kHeaderBytes = 70;
constexpr unsigned int kMostTypes = 64;
constexpr std::size_t kSomeRecords = 8;

/// The bytes of the file, looked at without the library.
class Bytes {
public:
    explicit Bytes(std::string_view all) : m_all(all) {}

    std::size_t size() const { return m_all.size(); }
    std::uint64_t number(std::size_t offset, std::size_t count) const
    {
        std::uint64_t value = 0;
        for (std::size_t i = count; i-- > 0;)
            value = value << 8 | at(offset + i);
        return value;
    }
    std::string_view piece(std::size_t offset, std::size_t sizeBytes) const
    {
        return m_all.substr(offset, sizeBytes);
    }
    /// Whether the bytes from `offset` to `end` are a tag, or can become one if they are too few.
    bool canBeTag(std::size_t offset, std::size_t end) const
    {
        const std::size_t known = std::min(end - offset, kTagBytes);
        const auto isZero = [&](std::size_t i) { return i >= known || at(offset + i) == 0; };
        const bool hasType = known == 0 || (at(offset) >= 1 && at(offset) <= 63);
        const bool hasSize = known < 18 || (number(offset + 14, 4) >= 1 && at(offset + 17) < 0x80);
        return hasType && hasSize && isZero(1) && isZero(20) && isZero(21) && isZero(24) &&
               isZero(25);
    }
    /// Whether a record is at `offset` that ends with the file or before another tag.
    bool isWhole(std::size_t offset) const
    {
        if (size() - offset < kTagBytes || !canBeTag(offset, size()))
            return false;
        const std::uint64_t end = offset + kTagBytes + number(offset + 14, 4);
        return end <= size() && canBeTag(static_cast<std::size_t>(end), size());
    }

private:
    std::uint8_t at(std::size_t offset) const { return static_cast<std::uint8_t>(m_all[offset]); }

    std::string_view m_all;
};

std::size_t endOf(const RecordInfo &info)
{
    return static_cast<std::size_t>(info.offset) + kTagBytes + info.dataSize;
}

void checkRecord(RecordReader &reader, unsigned int record, const Bytes &bytes)
{
    RecordFrame frame;
    require(reader.frame(record, &frame) == 0, "a record can be mapped");
    const RecordInfo &info = frame.info();
    RecordInfo alone;
    require(reader.info(record, &alone) == 0, "a tag can be read");
    require(std::memcmp(&alone, &info, sizeof(info)) == 0, "a frame has the tag of its record");
    require(info.offset < bytes.size() && endOf(info) <= bytes.size(), "a record is in the file");
    const auto offset = static_cast<std::size_t>(info.offset);
    require(bytes.canBeTag(offset, bytes.size()), "a record has a sound tag");
    require(info.streamType == bytes.number(offset, 2) &&
                info.index == bytes.number(offset + 2, 4) &&
                info.timestampUs == bytes.number(offset + 6, 8) &&
                info.dataSize == bytes.number(offset + 14, 4) &&
                info.width == bytes.number(offset + 18, 4) &&
                info.height == bytes.number(offset + 22, 4) && info.reserved == 0,
            "the tag is the one in the file");
    require(bytes.piece(offset + kTagBytes, info.dataSize) ==
                std::string_view(reinterpret_cast<const char *>(frame.data()), info.dataSize),
            "the pixels are those in the file");
}

std::vector<RecordInfo> infosOf(RecordReader &reader)
{
    std::vector<RecordInfo> infos(reader.count());
    for (unsigned int i = 0; i < reader.count(); ++i)
        require(reader.info(i, &infos[i]) == 0, "a tag can be read");
    return infos;
}

/// No complete record is left out, and each has behind it what it must have.
void checkPlaces(RecordReader &reader, const std::vector<RecordInfo> &infos, const Bytes &bytes)
{
    std::uint64_t known = reader.skippedBytes() + reader.trailingBytes();
    for (const RecordInfo &info : infos)
        known += kTagBytes + info.dataSize;
    const bool beginsWithHeader = reader.hasHeader() && known + kHeaderBytes == bytes.size();
    require(beginsWithHeader || known == bytes.size(), "every byte is counted once");
    std::size_t end = beginsWithHeader ? kHeaderBytes : 0;
    for (std::size_t i = 0; i <= infos.size(); ++i) {
        const bool isLast = i == infos.size();
        const std::size_t next = isLast ? bytes.size() : static_cast<std::size_t>(infos[i].offset);
        require(next >= end, "records do not overlap");
        for (std::size_t offset = end; offset < next; ++offset)
            require(!bytes.isWhole(offset), "no complete record is left out");
        require(i == 0 || bytes.canBeTag(end, bytes.size()) ||
                    (!isLast && next - end < kTagBytes && bytes.canBeTag(end, next)),
                "a record is followed by a tag");
        require(!isLast || reader.trailingBytes() == next - end, "the rest is what trails");
        end = isLast ? end : endOf(infos[i]);
    }
}

void checkCondition(const RecordReader &reader, const Bytes &bytes)
{
    const bool complete = reader.skippedBytes() == 0 && reader.trailingBytes() == 0;
    require((reader.condition() == NUBRIX_RECORD_COMPLETE) == complete, "complete is complete");
    require(reader.condition() != NUBRIX_RECORD_CUT || reader.skippedBytes() == 0,
            "a file that is only cut has nothing to skip");
    const std::string problem = reader.problem();
    require(problem.empty() == complete, "a problem is reported, and only then");
    if (complete)
        return;
    require(problem.rfind("byte ", 0) == 0 && problem.find(": ") != std::string::npos,
            "a problem has a place");
    require(std::strtoull(problem.c_str() + 5, nullptr, 10) < bytes.size(),
            "the place of a problem is in the file");
}

void checkTypes(RecordReader &reader, const std::vector<RecordInfo> &infos)
{
    unsigned int all = 0;
    unsigned int record = 0;
    for (unsigned int type = 1; type < kMostTypes; ++type) {
        unsigned int n = 0;
        for (unsigned int i = 0; i < infos.size(); ++i) {
            if (infos[i].streamType == type)
                require(reader.find(type, n++, &record) == 0 && record == i,
                        "the n-th record of a type is found");
        }
        require(reader.count(type) == n, "the records of a type are counted");
        require(reader.find(type, n, &record) == -4, "there is no record behind the last");
        all += n;
    }
    require(all == infos.size(), "every record has a type");
    require(reader.find(0, all, &record) == -4, "there is no record behind the last");
    require(all == 0 || (reader.find(0, all - 1, &record) == 0 && record == all - 1),
            "any type is every type");
}

void checkNearest(RecordReader &reader, const std::vector<RecordInfo> &infos, unsigned int type,
                  std::uint64_t timestampUs)
{
    unsigned int expected = 0;
    std::uint64_t least = 0;
    bool found = false;
    for (unsigned int i = 0; i < infos.size(); ++i) {
        const std::uint64_t time = infos[i].timestampUs;
        const std::uint64_t away = std::max(time, timestampUs) - std::min(time, timestampUs);
        if ((type != 0 && infos[i].streamType != type) || (found && away >= least))
            continue;
        found = true;
        least = away;
        expected = i;
    }
    unsigned int record = 0;
    const int status = reader.findNearest(type, timestampUs, &record);
    require(status == (found ? 0 : -4), "a nearest record is there when one of the type is");
    require(!found || record == expected, "the nearest record is found");
}

void checkTimes(RecordReader &reader, const std::vector<RecordInfo> &infos)
{
    for (const unsigned int type : {0U, 1U, 2U, 63U}) {
        checkNearest(reader, infos, type, 0);
        checkNearest(reader, infos, type, std::numeric_limits<std::uint64_t>::max());
    }
    for (std::size_t i = 0; i < std::min(infos.size(), kSomeRecords); ++i) {
        checkNearest(reader, infos, 0, infos[i].timestampUs + 1);
        checkNearest(reader, infos, infos[i].streamType, infos[i].timestampUs - 1);
    }
}

void checkRefusals(RecordReader &reader)
{
    RecordInfo info;
    RecordFrame frame;
    for (const unsigned int record : {reader.count(), std::numeric_limits<unsigned int>::max()}) {
        require(reader.info(record, &info) == -4, "there is no tag behind the last record");
        require(reader.frame(record, &frame) == -4, "there is no frame behind the last record");
        require(reader.errorText()[0] != '\0' && !frame.data(), "a refusal has a reason");
    }
}

/// The last frame outlives its reader.
void checkFrameAlone(const MemoryFile &file, const Bytes &bytes)
{
    RecordFrame frame;
    {
        RecordReader reader;
        require(reader.open(file.path()) == 0, "any file can be opened");
        if (reader.count() == 0)
            return;
        require(reader.frame(reader.count() - 1, &frame) == 0, "a record can be mapped");
    }
    require(
        bytes.piece(endOf(frame.info()) - frame.info().dataSize, frame.info().dataSize) ==
            std::string_view(reinterpret_cast<const char *>(frame.data()), frame.info().dataSize),
        "a frame stays when its reader is gone");
}

void checkSame(RecordReader &grown, RecordReader &anew)
{
    const std::vector<RecordInfo> infos = infosOf(anew);
    require(grown.count() == infos.size(), "an updated reader has the records of a new one");
    RecordInfo info;
    for (unsigned int i = 0; i < infos.size(); ++i)
        require(grown.info(i, &info) == 0 && std::memcmp(&info, &infos[i], sizeof info) == 0,
                "an updated reader has the same records as a new one");
    checkTypes(grown, infos);
    require(grown.condition() == anew.condition() && grown.hasHeader() == anew.hasHeader() &&
                grown.skippedBytes() == anew.skippedBytes() &&
                grown.trailingBytes() == anew.trailingBytes() &&
                std::strcmp(grown.problem(), anew.problem()) == 0,
            "an updated reader judges the file as a new one does");
}

/// A reader that follows a file while it grows is as one that opens it anew. The bytes themselves
/// choose the places where it looks.
void checkGrowth(std::string_view all)
{
    const MemoryFile file("");
    RecordReader grown;
    require(grown.open(file.path()) == 0, "any file can be opened");
    std::size_t seed = all.size();
    for (std::size_t done = 0; done < all.size();) {
        seed = seed * 31 + static_cast<std::uint8_t>(all[done]);
        const std::size_t piece = 1 + seed % (all.size() / 3 + 1);
        file.append(all.substr(done, piece));
        done += std::min(piece, all.size() - done);
        require(grown.update() == 0, "a file that has grown can be read on");
        RecordReader anew;
        require(anew.open(file.path()) == 0, "any file can be opened");
        checkSame(grown, anew);
    }
}

/// A file that was complete and is cut returns what was complete before the cut.
void checkCut(RecordReader &old, const std::vector<RecordInfo> &infos, const MemoryFile &file,
              std::size_t sizeBytes)
{
    file.resize(sizeBytes);
    RecordReader reader;
    require(reader.open(file.path()) == 0, "any file can be opened");
    RecordInfo info;
    for (unsigned int i = 0; i < infos.size(); ++i) {
        const bool isWhole = endOf(infos[i]) <= sizeBytes;
        require(old.info(i, &info) == (isWhole ? 0 : -1), "a reader notices that a file was cut");
        if (isWhole)
            require(reader.info(i, &info) == 0 && std::memcmp(&info, &infos[i], sizeof info) == 0,
                    "what was complete before the cut is still there");
    }
}

}  // namespace
}  // namespace nubrix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix;
    const std::string_view all(reinterpret_cast<const char *>(data), sizeBytes);
    const Bytes bytes(all);
    const MemoryFile file(all);
    RecordReader reader;
    require(reader.open(file.path()) == 0, "any file can be opened");
    for (unsigned int i = 0; i < reader.count(); ++i)
        checkRecord(reader, i, bytes);
    const std::vector<RecordInfo> infos = infosOf(reader);
    checkPlaces(reader, infos, bytes);
    checkCondition(reader, bytes);
    checkTypes(reader, infos);
    checkTimes(reader, infos);
    checkRefusals(reader);
    checkFrameAlone(file, bytes);
    checkGrowth(all);
    if (reader.condition() == NUBRIX_RECORD_COMPLETE && sizeBytes > 0)
        checkCut(reader, infos, file, (data[sizeBytes - 1] * 257U + data[0]) % sizeBytes);
    return 0;
}
