// nubrix photo: the newest colour frame as a bitmap file.
#include <iostream>
#include <string>
#include "Camera.h"
#include "Failure.h"
#include "commands/Command.h"
#include "commands/FirstFrame.h"

namespace nubrix::tool {

namespace {

constexpr int kMaxTries = 5;
constexpr int kNoFrame = -1;  // within a second, or another reader received the frame

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
}

void PhotoCommand::run()
{
    Session session;
    Camera camera(session, m_uri);
    const FirstFrame first(camera, *streamKind("color"));  // from here on the stream delivers
    std::string problem;
    int status = kNoFrame;
    for (int tries = 0; status == kNoFrame && tries < kMaxTries; ++tries) {
        status = attempt(
            "takePhoto (" + m_out + ")", [&] { return session.context().takePhoto(m_out.c_str()); },
            &problem);
    }
    if (status != 0)
        throw Failure(problem);
    if (json()) {
        printJson(
            {{"file", m_out}, {"width", first.frame().width}, {"height", first.frame().height}});
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
