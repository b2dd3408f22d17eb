// nubrix convert: a raw image of a camera as a PNG file.
#pragma once

#include <string>

#include "Command.h"
#include "FrameImage.h"

namespace nubrix {

class ConvertCommand final : public Command {
public:
    explicit ConvertCommand(CLI::App &parent);
    void run() override;

private:
    std::vector<unsigned char> read() const;
    Image convert(std::vector<unsigned char> &raw) const;

    std::string m_in;
    std::string m_from;
    std::string m_size;
    std::string m_out;
    int m_rotate = 0;
    bool m_mirror = false;
};

}  // namespace nubrix
