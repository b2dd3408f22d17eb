// Any bytes at all as an INI file, read and written through the exported functions. An input is
// section, key and value, each ended by a NUL byte, and then the file.
#include <strings.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "nubrix/ini.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/MemoryFile.h"

namespace nubrix {
namespace {

constexpr std::size_t kLongestNumber = 254;  // typed values are cut there
constexpr char kUntouched = '\x5a';

/// Takes what is before the first NUL byte away from the input.
std::string takeText(std::string_view &input)
{
    const std::size_t length = std::min(input.find('\0'), input.size());
    std::string text(input.substr(0, length));
    input.remove_prefix(std::min(length + 1, input.size()));
    return text;
}

bool has(const std::string &text, const char *characters)
{
    return text.find_first_of(characters) != std::string::npos;
}

struct Entry {
    const char *file;
    std::string section;
    std::string key;

    int read(char *value, unsigned int size) const
    {
        return nubrixReadString(file, section.c_str(), key.c_str(), value, size);
    }
    int write(const std::string &value) const
    {
        return nubrixWriteString(file, section.c_str(), key.c_str(), value.c_str());
    }
    /// Whether an entry of this name can be found again: others end a section or a line.
    bool isTame() const
    {
        return !has(section, "\n") && !has(key, "\n") && (key.empty() || key.front() != '[');
    }
};

/// The whole value; empty when there is none.
std::string valueOf(const Entry &entry, std::size_t fileSize, int &status)
{
    std::vector<char> text(fileSize + 1, '\0');
    status = entry.read(text.data(), static_cast<unsigned int>(text.size()));
    return text.data();
}

void checkBuffer(const Entry &entry, const std::string &whole, int expected, std::size_t size)
{
    std::vector<char> text(size + 1, kUntouched);
    const int status = entry.read(text.data(), static_cast<unsigned int>(size));
    require(status == expected, "the size of the buffer makes no difference to the status");
    std::size_t written = 0;
    if (status == 0 && size > 0) {
        const std::string cut = whole.substr(0, size - 1);
        require(cut == text.data(), "a value is cut to the buffer and ends with a NUL byte");
        written = cut.size() + 1;
    }
    require(std::all_of(text.begin() + static_cast<std::ptrdiff_t>(written), text.end(),
                        [](char each) { return each == kUntouched; }),
            "nothing else is written to the buffer");
}

void checkNumbers(const Entry &entry, const std::string &whole, int expected)
{
    const char *const section = entry.section.c_str();
    const char *const key = entry.key.c_str();
    const std::string text = whole.substr(0, kLongestNumber);
    int integer = 4711;
    require(nubrixReadInt(entry.file, section, key, &integer) == expected, "an int is read");
    const long long wide = std::strtoll(text.c_str(), nullptr, 10);
    const auto nearest = static_cast<int>(std::clamp<long long>(wide, INT_MIN, INT_MAX));
    require(integer == (expected == 0 ? nearest : 4711), "an int is the value of the text");

    double real = 0.25;
    require(nubrixReadDouble(entry.file, section, key, &real) == expected, "a double is read");
    const double exact = expected == 0 ? std::strtod(text.c_str(), nullptr) : 0.25;
    require(real == exact || (std::isnan(real) && std::isnan(exact)),
            "a double is the value of the text");

    for (const bool before : {false, true}) {
        bool truth = before;
        const auto is = [&](const char *word) { return strcasecmp(text.c_str(), word) == 0; };
        const bool isTrue = is("true") || is("1");
        const bool isTruth = expected == 0 && (isTrue || is("false") || is("0"));
        require(nubrixReadBool(entry.file, section, key, &truth) == (isTruth ? 0 : -1),
                "a bool is read when the text is one");
        require(truth == (isTruth ? isTrue : before), "a bool is the value of the text");
    }
}

void checkReading(const Entry &entry, const MemoryFile &file, const std::string &content)
{
    int status = 0;
    const std::string whole = valueOf(entry, content.size(), status);
    require(status == 0 || status == -1, "reading gives 0 or -1");
    require(status == 0 || whole.empty(), "a failure leaves the output alone");
    require(!has(whole, "\n"), "a value is within a line");
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{7},
                                   whole.size(), whole.size() + 1, whole.size() + 2})
        checkBuffer(entry, whole, status, size);
    checkNumbers(entry, whole, status);
    require(file.content() == content, "reading does not change the file");
}

/// What is before the section's tag and behind the section stays as it was.
void checkOthers(const Entry &entry, std::string before, const std::string &after)
{
    before.erase(before.find_last_not_of('\n') + 1);
    before += before.empty() ? "" : "\n";
    const std::string tag = "[" + entry.section + "]";
    const std::size_t begin = before.find(tag);
    if (begin == std::string::npos) {
        require(after.rfind(before, 0) == 0, "a new section comes behind the others");
        return;
    }
    const std::string head = before.substr(0, begin + tag.size());
    require(after.rfind(head, 0) == 0, "what is before the section stays");
    const std::size_t next = before.find("\n[", head.size());
    if (next == std::string::npos)
        return;
    const std::string tail = before.substr(next);
    require(after.size() >= tail.size() &&
                after.compare(after.size() - tail.size(), tail.size(), tail) == 0,
            "what is behind the section stays");
}

/// Written once into the file as it is, and again in place of the first.
void checkWriting(const Entry &entry, const std::string &value, const MemoryFile &file,
                  const std::string &content)
{
    require(entry.write(value) == 0, "an entry is written");
    require(entry.write(value) == 0, "an entry is written again");
    if (!entry.isTame() || has(value, "\n\r"))
        return;
    const std::string once = file.content();
    int status = -1;
    require(valueOf(entry, once.size(), status) == value && status == 0, "a value is read back");
    if (content.find('\0') == std::string::npos)
        checkOthers(entry, content, once);
    require(entry.write(value) == 0 && file.content() == once, "writing again changes nothing");
}

void checkWritingNumbers(const Entry &entry, const std::string &value)
{
    const char *const section = entry.section.c_str();
    const char *const key = entry.key.c_str();
    const double real = std::strtod(value.c_str(), nullptr);
    const auto integer = static_cast<int>(
        std::clamp<long long>(std::strtoll(value.c_str(), nullptr, 10), INT_MIN, INT_MAX));
    const bool truth = integer % 2 != 0;
    require(nubrixWriteInt(entry.file, section, key, integer) == 0, "an int is written");
    int integerBack = 0;
    require(!entry.isTame() || (nubrixReadInt(entry.file, section, key, &integerBack) == 0 &&
                                integerBack == integer),
            "an int is read back");
    require(nubrixWriteDouble(entry.file, section, key, real) == 0, "a double is written");
    double realBack = 0;
    require(!entry.isTame() || !(std::fabs(real) < 1e9) ||
                (nubrixReadDouble(entry.file, section, key, &realBack) == 0 &&
                 std::fabs(real - realBack) < 1e-6),
            "a double is read back");
    require(nubrixWriteBool(entry.file, section, key, truth) == 0, "a bool is written");
    bool truthBack = !truth;
    require(!entry.isTame() ||
                (nubrixReadBool(entry.file, section, key, &truthBack) == 0 && truthBack == truth),
            "a bool is read back");
}

}  // namespace
}  // namespace nubrix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix;
    std::string_view input(reinterpret_cast<const char *>(data), sizeBytes);
    const std::string section = takeText(input);
    const std::string key = takeText(input);
    const std::string value = takeText(input);
    const std::string content(input);
    const MemoryFile file(content);
    const Entry entry{file.path(), section, key};
    checkReading(entry, file, content);
    checkWriting(entry, value, file, content);
    checkWritingNumbers(entry, value);
    return 0;
}
