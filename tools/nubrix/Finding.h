// What a check of the machine has found.
#pragma once

#include <string>
#include <vector>

namespace nubrix {

struct Finding {
    enum class State {
        kGood,
        kNote,     ///< works, though not for everyone or not as well as it could
        kProblem,  ///< something does not work
    };

    std::string name;  // what was looked at
    State state;
    std::string text;       // how it is
    std::string cure = {};  // what to do about it; empty where all is good
};

using Findings = std::vector<Finding>;

}  // namespace nubrix
