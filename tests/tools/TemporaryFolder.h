// A folder of a test's own, removed afterwards.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace nubrix {

class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string name = std::filesystem::temp_directory_path() / "nubrix-tool-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
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

    /// Writes a file and returns its path.
    std::string file(const std::string &name, const std::string &text) const
    {
        std::ofstream(m_path / name, std::ios::binary) << text;
        return m_path / name;
    }

private:
    std::filesystem::path m_path;
};

}  // namespace nubrix
