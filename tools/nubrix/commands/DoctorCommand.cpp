// nubrix doctor: checks whether cameras can work on this machine, and suggests fixes.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>
#include "commands/Command.h"
#include "doctor/Checks.h"
#include "doctor/LibraryChecks.h"
#include "doctor/Machine.h"

namespace nubrix::tool {

namespace {

using State = Finding::State;

const char *nameOf(State state)
{
    switch (state) {
        case State::kGood:
            return "good";
        case State::kNote:
            return "note";
        default:
            return "problem";
    }
}

void append(Findings &all, const Findings &more)
{
    all.insert(all.end(), more.begin(), more.end());
}

long countOf(const Findings &findings, State state)
{
    return std::count_if(findings.begin(), findings.end(),
                         [state](const Finding &finding) { return finding.state == state; });
}

class DoctorCommand final : public Command {
public:
    explicit DoctorCommand(CLI::App &parent);
    /// Throws a std::runtime_error when there is a problem.
    void run() override;

private:
    static Findings examine();
    static void reportJson(const Findings &findings);
    static void reportText(const Findings &findings);
};

DoctorCommand::DoctorCommand(CLI::App &parent)
    : Command(parent, "doctor", "Check whether cameras can work on this machine, and suggest fixes")
{
    app().footer(R"(It checks the library and its plug-ins, the kernel, rights, network interfaces,
firewall, settings and each attached camera, and changes nothing.

Exit status: 0 no problem, notes at most; 1 problems found or failed; 2 wrong
use.

Examples:
  nubrix doctor
      A line for each check, and what to do about each problem.
  nubrix doctor --json
      The same for a program, or for a report to those who help.)");
}

void DoctorCommand::run()
{
    const Findings findings = examine();
    if (json())
        reportJson(findings);
    else
        reportText(findings);
    if (const long problems = countOf(findings, State::kProblem))
        throw std::runtime_error("problems found: " + std::to_string(problems));
}

Findings DoctorCommand::examine()
{
    const Machine machine = Machine::real();
    Findings findings = checkLibrary();
    std::optional<client::Session> session;
    try {
        session.emplace();
        append(findings, checkPlugins(pluginStates()));
        append(findings, checkLog());
    } catch (const client::Error &error) {
        findings.push_back(
            {"library", State::kProblem, error.what(), "'nubrix --verbose doctor' shows the log"});
    }
    for (const auto check : {checkKernel, checkUndrivenCameras, checkUdev, checkUdevRule,
                             checkPermissions, checkInterfaces, checkNetworks, checkSocketBuffers,
                             checkReversePath, checkFirewall, checkCameraPort})
        append(findings, check(machine));
    append(findings, checkNetSettings(machine, netSettingsPaths()));
    if (session) {
        std::vector<CameraLoad> loads;
        append(findings, checkCameras(*session, loads));
        append(findings, checkBuses(machine, loads));
        append(findings, checkNetworkLoads(machine, loads));
    }
    return findings;
}

void DoctorCommand::reportJson(const Findings &findings)
{
    Json report = {{"problems", countOf(findings, State::kProblem)}, {"checks", Json::array()}};
    for (const Finding &finding : findings) {
        report["checks"].push_back({{"name", finding.name},
                                    {"state", nameOf(finding.state)},
                                    {"text", finding.text},
                                    {"cure", finding.cure}});
    }
    printJson(report);
}

void DoctorCommand::reportText(const Findings &findings)
{
    std::size_t width = 0;
    for (const Finding &finding : findings)
        width = std::max(width, finding.name.size());
    for (const Finding &finding : findings) {
        std::cout << std::left << std::setw(9) << nameOf(finding.state)
                  << std::setw(static_cast<int>(width) + 2) << finding.name << finding.text << '\n';
        if (!finding.cure.empty())
            std::cout << std::string(width + 11, ' ') << "-> " << finding.cure << '\n';
    }
}

}  // namespace

std::unique_ptr<Command> makeDoctorCommand(CLI::App &parent)
{
    return std::make_unique<DoctorCommand>(parent);
}

}  // namespace nubrix::tool
