// The fixture of the tests of nubrix export: runs it and reads the files that it writes.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {

constexpr const char *kTableHead = "stream,record,index,timestamp_us,width,height,bytes,files";

inline std::string hexOf(const std::string &bytes)
{
    static const char *const kDigits = "0123456789abcdef";
    std::string hex;
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        hex += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return hex;
}

/// A record's number as in the names of its files.
inline std::string sixDigits(unsigned int number)
{
    const std::string digits = std::to_string(number);
    return std::string(6 - digits.size(), '0') + digits;
}

inline std::vector<std::string> linesOf(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// Exports a record file to a folder.
class ExportFixture : public testing::Test {
protected:
    std::string fileOf(const std::vector<SentRecord> &records) const
    {
        return m_folder.file("records.bin", bytesOf(records));
    }
    ToolResult exported(const std::string &file, const Words &words = {}) const
    {
        Words all = {"export", file, "--out", m_out};
        all.insert(all.end(), words.begin(), words.end());
        return runTool(all);
    }
    std::vector<std::string> table() const { return linesOf(readFile(m_out + "/timestamps.csv")); }
    /// The names in the folder without the table.
    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(m_out)) {
            if (entry.path().filename() != "timestamps.csv")
                names.push_back(entry.path().filename());
        }
        return names;
    }
    std::string image(const std::string &name) const
    {
        return readBy(paths::kReadImage, m_out + "/" + name);
    }
    std::vector<std::string> points(const std::string &name) const
    {
        return linesOf(readBy(paths::kReadPoints, m_out + "/" + name));
    }

    TemporaryFolder m_folder;
    const std::string m_out = m_folder.file("new/images");
};

}  // namespace nubrix::tool
