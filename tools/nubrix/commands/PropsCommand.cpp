// nubrix props: the version record and the stream flag mode of a camera.
#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include "Names.h"
#include "commands/Command.h"
#include "common/Text.h"
#include "nubrix/client/session.h"

namespace nubrix::tool {

namespace {

constexpr const char *kNotSupported = "not supported by this camera";

/// What `read` returns, nothing when the camera does not support it.
template <class Read>
auto ifSupported(const Read &read) -> std::optional<decltype(read())>
{
    try {
        return read();
    } catch (const client::Unsupported &) {
        return std::nullopt;
    }
}

/// The three versions and the serial number; null where there are none.
Command::Json jsonOf(const std::optional<NubrixVersions> &versions)
{
    if (!versions)
        return nullptr;
    return {{"sdk", versionText(versions->sdk)},
            {"firmware", versionText(versions->firmware)},
            {"hardware", versionText(versions->hardware)},
            {"serial_number", fieldText(versions->serialNumber)}};
}

void reportText(const std::string &uri, const Command::Json &version,
                const std::optional<unsigned int> &flagMode)
{
    std::cout << uri << '\n';
    if (version.is_null())
        std::cout << "  version           " << kNotSupported << '\n';
    for (const auto &[name, value] : version.items())
        std::cout << "  " << std::left << std::setw(18) << name << value.get<std::string>() << '\n';
    std::cout << "  stream flag mode  " << (flagMode ? std::to_string(*flagMode) : kNotSupported)
              << '\n';
}

class PropsCommand final : public Command {
public:
    explicit PropsCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_uri;
    unsigned int m_flagMode = 0;  // 0: leave it
};

PropsCommand::PropsCommand(CLI::App &parent)
    : Command(parent, "props", "Show the version record and the stream flag mode of a camera")
{
    addUri(m_uri);
    app()
        .add_option("--flag-mode", m_flagMode, "Set the stream flag mode first, 1 to 4")
        ->check(CLI::Range(1, 4).description(""))
        ->type_name("N");
    app().footer(R"(The version record has the versions of the interface, the firmware and the
hardware, and the serial number. What a camera does not support is shown as
such and is no error.

Examples:
  nubrix props
      The versions of the first camera.
  nubrix props usb:1-2 --flag-mode 2
      Set the stream flag mode of one camera, then show it.)");
}

void PropsCommand::run()
{
    client::Camera camera = client::Session().open(m_uri);
    if (m_flagMode != 0)
        camera.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, m_flagMode);
    const Json version = jsonOf(ifSupported([&] { return camera.versions(); }));
    const std::optional<unsigned int> flagMode = ifSupported(
        [&] { return camera.property<unsigned int>(NUBRIX_PROPERTY_STREAM_FLAG_MODE); });
    if (json()) {
        printJson({{"uri", camera.info().uri},
                   {"version", version},
                   {"stream_flag_mode", flagMode ? Json(*flagMode) : Json()}});
    } else {
        reportText(camera.info().uri, version, flagMode);
    }
    if (m_flagMode != 0 && flagMode && *flagMode != m_flagMode) {
        throw std::runtime_error("the camera accepted stream flag mode " +
                                 std::to_string(m_flagMode) + ", but reports " +
                                 std::to_string(*flagMode));
    }
}

}  // namespace

std::unique_ptr<Command> makePropsCommand(CLI::App &parent)
{
    return std::make_unique<PropsCommand>(parent);
}

}  // namespace nubrix::tool
