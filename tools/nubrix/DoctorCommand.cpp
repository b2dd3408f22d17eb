#include "DoctorCommand.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <optional>

#include "CameraChecks.h"
#include "Failure.h"
#include "FirewallChecks.h"
#include "LibraryChecks.h"
#include "Machine.h"
#include "NetSettingsChecks.h"
#include "NetworkChecks.h"
#include "SystemChecks.h"

namespace nubrix {

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

}  // namespace

DoctorCommand::DoctorCommand(CLI::App &parent)
    : Command(parent, "doctor", "Look for what keeps cameras from working, and say how to mend it")
{
}

void DoctorCommand::run()
{
    const Findings findings = examine();
    if (json())
        reportJson(findings);
    else
        reportText(findings);
    if (const long problems = countOf(findings, State::kProblem))
        throw Failure("problems found: " + std::to_string(problems));
}

Findings DoctorCommand::examine()
{
    const Machine machine = Machine::real();
    Findings findings = checkLibrary();
    std::optional<Session> session;
    try {
        session.emplace();
        append(findings, checkPlugins(pluginStates()));
        append(findings, checkLog());
    } catch (const Failure &failure) {
        findings.push_back({"library", State::kProblem, failure.what(),
                            "'nubrix --verbose doctor' shows the log"});
    }
    for (const auto check : {checkKernel, checkStrayCameras, checkUdev, checkUdevRule,
                             checkPermissions, checkInterfaces, checkNetworks, checkSocketBuffers,
                             checkReversePath, checkFirewall, checkCameraPort})
        append(findings, check(machine));
    append(findings, checkNetSettings(machine, pluginPath("nubrixNet.ini")));
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

}  // namespace nubrix
