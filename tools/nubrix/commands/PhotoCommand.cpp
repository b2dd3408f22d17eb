// nubrix photo: the next colour frame as a bitmap file.
#include <iostream>
#include <string>
#include "commands/Command.h"
#include "nubrix/client/session.h"

namespace nubrix::tool {

namespace {

class PhotoCommand final : public Command {
public:
    explicit PhotoCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_uri;
    std::string m_out;
};

PhotoCommand::PhotoCommand(CLI::App &parent)
    : Command(parent, "photo", "Save a colour frame as a bitmap (BMP)")
{
    addUri(m_uri);
    app().add_option("--out", m_out, "The file to write")->required()->type_name("FILE");
    app().footer(R"(The colour stream is started for it in its current mode, and stopped
afterwards.

Examples:
  nubrix photo --out photo.bmp
      The next colour frame of the first camera.
  nubrix photo usb:1-2 --out photo.bmp --json
      That of one camera; report the size of the image for a program.)");
}

void PhotoCommand::run()
{
    const client::Frame frame = client::Session().open(m_uri).photo(m_out);
    if (json()) {
        printJson({{"file", m_out}, {"width", frame.width()}, {"height", frame.height()}});
    } else {
        std::cout << "saved " << m_out << '\n';
    }
}

}  // namespace

std::unique_ptr<Command> makePhotoCommand(CLI::App &parent)
{
    return std::make_unique<PhotoCommand>(parent);
}

}  // namespace nubrix::tool
