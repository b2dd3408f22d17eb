// A folder that lives as long as a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace nubrix {

class TempFolder {
public:
    TempFolder()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "nubrix-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("there is no folder to be had in " + pattern);
        m_path = pattern;
    }
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace nubrix
