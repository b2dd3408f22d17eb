// nubrix checksum: CRC-32 and MD5 of a file.
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include "commands/Command.h"
#include "nubrix/checksum.h"

namespace nubrix::tool {

namespace {

// The library treats a folder or a device as an empty file.
void requireReadableFile(const std::string &file)
{
    if (access(file.c_str(), R_OK) != 0)
        throw std::runtime_error("cannot read " + file + ": " + std::strerror(errno));
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored))
        throw std::runtime_error("cannot read " + file + ": not a file");
}

std::string crc32Of(const std::string &file)
{
    unsigned int crc = 0;
    if (calculateCRC32(file, crc) != 1)
        throw std::runtime_error("cannot read " + file);
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08x", crc);
    return text.data();
}

std::string md5Of(const std::string &file)
{
    const std::unique_ptr<char[]> text(MD5File(file, 32));
    if (!text)
        throw std::runtime_error("cannot read " + file);
    return text.get();
}

class ChecksumCommand final : public Command {
public:
    explicit ChecksumCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_file;
    bool m_crc32 = false;
    bool m_md5 = false;
};

ChecksumCommand::ChecksumCommand(CLI::App &parent)
    : Command(parent, "checksum", "Print the CRC-32 and the MD5 of a file")
{
    app().add_option("FILE", m_file, "The file")->required();
    app().add_flag("--crc32", m_crc32, "The CRC-32");
    app().add_flag("--md5", m_md5, "The MD5");
    app().footer(R"(The CRC-32 is that of MPEG-2: most significant bit first, not inverted. Without
--crc32 and --md5 it prints both.

Examples:
  nubrix checksum camera.fw
      Both, a line each.
  nubrix checksum camera.fw --md5 --json
      One of them for a program.)");
}

void ChecksumCommand::run()
{
    requireReadableFile(m_file);
    const bool both = m_crc32 == m_md5;
    Json report = {{"file", m_file}};
    if (both || m_crc32)
        report["crc32"] = crc32Of(m_file);
    if (both || m_md5)
        report["md5"] = md5Of(m_file);
    if (json()) {
        printJson(report);
        return;
    }
    for (const char *name : {"crc32", "md5"}) {
        if (report.contains(name))
            std::cout << name << ' ' << report[name].get<std::string>() << '\n';
    }
}

}  // namespace

std::unique_ptr<Command> makeChecksumCommand(CLI::App &parent)
{
    return std::make_unique<ChecksumCommand>(parent);
}

}  // namespace nubrix::tool
