// What all commands of the tool share.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>

namespace nubrix {

/// A command adds itself and its options to the command line when it is made; run does its work
/// and throws a Failure when that cannot be done.
class Command {
public:
    using Json = nlohmann::ordered_json;

    virtual ~Command() = default;
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    bool chosen() const { return m_app->parsed(); }
    virtual void run() = 0;

protected:
    Command(CLI::App &parent, const std::string &name, const std::string &description);

    CLI::App &app() { return *m_app; }
    /// Adds the optional URI of the camera.
    void addUri(std::string &uri);
    bool json() const { return m_json; }
    static void printJson(const Json &json);

private:
    CLI::App *m_app;
    bool m_json = false;
};

}  // namespace nubrix
