// nubrix doctor: looks for what keeps cameras from working, and says how to mend it.
#pragma once

#include "Command.h"
#include "Finding.h"

namespace nubrix {

class DoctorCommand final : public Command {
public:
    explicit DoctorCommand(CLI::App &parent);
    /// Throws a Failure when there is a problem.
    void run() override;

private:
    static Findings examine();
    static void reportJson(const Findings &findings);
    static void reportText(const Findings &findings);
};

}  // namespace nubrix
