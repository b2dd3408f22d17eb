// One entry of an INI file, read and written in place.
#pragma once

#include <string>

namespace nubrix {

/// The entry `key` of the section `section` of one file.
///
/// The file is one text that is searched for "[section]" and "key=". Nothing is trimmed and nothing
/// is a comment; a section ends before the next line that starts with "[". Lines end with "\n"; one
/// "\r" in a value is tolerated. A string is written in double quotes, everything else bare.
///
/// All operations give 0; -1 when the file, the section or the key cannot be found (a write makes
/// them), the file cannot be written, or a boolean cannot be understood; -4 for a null pointer. An
/// output changes only with 0. Not thread-safe: two writers of one file can lose an update.
class CINIImpl {
public:
    CINIImpl(const std::string &file, const std::string &section, const std::string &key);
    CINIImpl(const CINIImpl &) = delete;
    CINIImpl &operator=(const CINIImpl &) = delete;
    virtual ~CINIImpl() = default;

    /// Replaces `data` with the content. A NUL byte hides what follows it up to the next multiple
    /// of 255 bytes. Without `forReading` the file is created, or emptied, instead.
    int readDataFromFile(std::string &data, bool forReading);
    int writeData2File(const std::string &data);

    /// Narrows a whole file to what follows the section's tag, up to the next section.
    int getSection(std::string &data);
    /// Narrows a section to the value of the key, without its quotes.
    int getKey(std::string &data);

    /// Cuts the value to size - 1 characters and terminates it; size 0 writes nothing.
    int readString(char *dst, unsigned int size);
    /// Base 10; no number reads as 0, a number out of range as the nearest int.
    int readInt(int *value);
    /// No number reads as 0.0.
    int readDouble(double *value);
    /// "true", "1", "false" and "0", in any case.
    int readBool(bool *value);

    /// Writes the value as it is when `bare`, else in double quotes. An old entry is replaced, a
    /// new one becomes the first of its section, a new section the last of the file.
    int writeString(const char *value, bool bare);
    int writeInt(int value);
    /// With six decimals.
    int writeDouble(double value);
    int writeBool(bool value);

private:
    /// The file's text with `entry` (the value and its quotes) in the place of the old one.
    std::string withEntry(std::string data, const std::string &entry) const;

    const std::string m_file;
    const std::string m_sectionTag;  // "[section]"
    const std::string m_keyTag;      // "key="
};

}  // namespace nubrix
