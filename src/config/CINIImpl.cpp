#include "config/CINIImpl.h"

#include <locale.h>
#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "base/FileWrapper.h"

namespace nubrix {

namespace {

constexpr int kNullPointer = -4;
// Typed values go through a buffer of this size. Kept: a read uses one character less of it.
constexpr unsigned int kValueSize = 256;
constexpr int kChunkSize = 255;

// While it lives, numbers on this thread are written and read with a point: the application may
// have set a locale whose decimal separator is another one.
class NumbersWithAPoint {
public:
    NumbersWithAPoint() : m_before(uselocale(kClassic)) {}
    ~NumbersWithAPoint() { uselocale(m_before); }
    NumbersWithAPoint(const NumbersWithAPoint &) = delete;
    NumbersWithAPoint &operator=(const NumbersWithAPoint &) = delete;

private:
    inline static const locale_t kClassic = newlocale(LC_ALL_MASK, "C", nullptr);

    const locale_t m_before;
};

std::size_t afterSection(const std::string &data, std::size_t from)
{
    const std::size_t nextSection = data.find("\n[", from);
    return nextSection == std::string::npos ? data.size() : nextSection + 1;
}

void endWithOneLineEnd(std::string &data)
{
    data.erase(data.find_last_not_of('\n') + 1);
    if (!data.empty())
        data += '\n';
}

}  // namespace

CINIImpl::CINIImpl(const std::string &file, const std::string &section, const std::string &key)
    : m_file(file), m_sectionTag("[" + section + "]"), m_keyTag(key + "=")
{
}

int CINIImpl::readDataFromFile(std::string &data, bool forReading)
{
    const std::unique_ptr<FileWrapper> file(FileWrapper::create());
    if (file->openFile(m_file.c_str(), forReading, false, false) != 0)
        return -1;
    data.clear();
    char chunk[kChunkSize + 1] = {};
    // Kept: each chunk counts up to its first NUL byte only.
    for (int size = 0; (size = file->read(chunk, kChunkSize)) > 0;) {
        chunk[size] = '\0';
        data += chunk;
    }
    return 0;
}

int CINIImpl::writeData2File(const std::string &data)
{
    const std::unique_ptr<FileWrapper> file(FileWrapper::create());
    if (file->openFile(m_file.c_str(), false, false, false) != 0)
        return -1;
    return file->write(data.data(), static_cast<int>(data.size())) < 0 ? -1 : 0;
}

int CINIImpl::getSection(std::string &data)
{
    const std::size_t tag = data.find(m_sectionTag);
    if (tag == std::string::npos)
        return -1;
    data.erase(0, tag + m_sectionTag.size());
    data.erase(afterSection(data, 0));
    return 0;
}

int CINIImpl::getKey(std::string &data)
{
    // Kept: the tag is found inside a longer key, too.
    const std::size_t tag = data.find(m_keyTag);
    if (tag == std::string::npos)
        return -1;
    data.erase(0, tag + m_keyTag.size());
    data.erase(std::min(data.find('\n'), data.size()));
    if (!data.empty() && data.front() == '"')
        data.erase(0, 1);
    if (const std::size_t carriageReturn = data.find('\r'); carriageReturn != std::string::npos)
        data.erase(carriageReturn, 1);
    if (!data.empty() && data.back() == '"')
        data.pop_back();
    return 0;
}

int CINIImpl::readString(char *dst, unsigned int size)
{
    if (!dst)
        return kNullPointer;
    std::string data;
    if (readDataFromFile(data, true) != 0 || getSection(data) != 0 || getKey(data) != 0)
        return -1;
    std::snprintf(dst, size, "%s", data.c_str());
    return 0;
}

int CINIImpl::readInt(int *value)
{
    if (!value)
        return kNullPointer;
    char text[kValueSize] = {};
    if (const int failed = readString(text, kValueSize - 1))
        return failed;
    *value = static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), INT_MIN, INT_MAX));
    return 0;
}

int CINIImpl::readDouble(double *value)
{
    if (!value)
        return kNullPointer;
    char text[kValueSize] = {};
    if (const int failed = readString(text, kValueSize - 1))
        return failed;
    const NumbersWithAPoint point;
    *value = std::strtod(text, nullptr);
    return 0;
}

int CINIImpl::readBool(bool *value)
{
    if (!value)
        return kNullPointer;
    char text[kValueSize] = {};
    if (const int failed = readString(text, kValueSize - 1))
        return failed;
    const auto is = [&text](const char *word) { return strcasecmp(text, word) == 0; };
    if (is("true") || is("1")) {
        *value = true;
        return 0;
    }
    if (is("false") || is("0")) {
        *value = false;
        return 0;
    }
    return -1;
}

int CINIImpl::writeString(const char *value, bool bare)
{
    if (!value)
        return kNullPointer;
    std::string data;
    if (readDataFromFile(data, true) != 0 && readDataFromFile(data, false) != 0)
        return -1;
    const std::string quote = bare ? "" : "\"";
    return writeData2File(withEntry(std::move(data), quote + value + quote));
}

int CINIImpl::writeInt(int value)
{
    char text[kValueSize];
    std::snprintf(text, sizeof text, "%d", value);
    return writeString(text, true);
}

int CINIImpl::writeDouble(double value)
{
    char text[kValueSize];
    {
        const NumbersWithAPoint point;
        std::snprintf(text, sizeof text, "%f", value);
    }
    return writeString(text, true);
}

int CINIImpl::writeBool(bool value)
{
    return writeString(value ? "true" : "false", true);
}

std::string CINIImpl::withEntry(std::string data, const std::string &entry) const
{
    endWithOneLineEnd(data);
    std::size_t body = data.find(m_sectionTag);
    if (body == std::string::npos)
        return data + m_sectionTag + "\n" + m_keyTag + entry + "\n";

    body += m_sectionTag.size();
    const std::size_t key = data.find(m_keyTag, body);
    if (key == std::string::npos || key + m_keyTag.size() > afterSection(data, body))
        return data.insert(body, "\n" + m_keyTag + entry);

    // There is a line end: the text ends with one.
    const std::size_t oldValue = key + m_keyTag.size();
    return data.replace(oldValue, data.find('\n', oldValue) + 1 - oldValue, entry + "\n");
}

}  // namespace nubrix
