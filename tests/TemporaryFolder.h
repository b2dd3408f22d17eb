// A folder of a test's own, and the files in it.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace nubrix {

/// Made empty, removed with everything in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}
    explicit TemporaryFolder(const std::filesystem::path &parent)
    {
        std::string name = (parent / "nubrix-test-XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("cannot make " + name);
        m_path = name;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return m_path; }
    std::string file(const std::string &name) const { return (m_path / name).string(); }
    /// Writes a file and returns its path.
    std::string file(const std::string &name, const std::string &content) const
    {
        std::ofstream(m_path / name, std::ios::binary) << content;
        return file(name);
    }

private:
    std::filesystem::path m_path;
};

inline void writeFile(const std::string &path, const std::string &content)
{
    std::ofstream(path, std::ios::binary) << content;
}

/// The whole content; empty also when there is no such file.
inline std::string readFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace nubrix
