// nubrix checksum: CRC-32 and MD5 of a file.
#pragma once

#include <string>

#include "Command.h"

namespace nubrix {

class ChecksumCommand final : public Command {
public:
    explicit ChecksumCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_file;
    bool m_crc32 = false;
    bool m_md5 = false;
};

}  // namespace nubrix
