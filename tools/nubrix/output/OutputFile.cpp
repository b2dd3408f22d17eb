#include "output/OutputFile.h"

#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace nubrix::tool {

void makeFolder(const std::string &folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw std::runtime_error("cannot create the folder " + folder + ": " + error.message());
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw std::runtime_error("cannot write to the folder " + folder);
}

void writeFile(const std::string &path, std::string_view content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace nubrix::tool
