// What an operation did, as an application sees it.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace nubrix {

struct Outcome {
    int status = 0;
    unsigned int error = 0;             // 0: the error number was left alone
    std::vector<std::string> log = {};  // "LEVEL TEXT" of the caller's thread, in order

    bool operator==(const Outcome &) const = default;
};

inline std::ostream &operator<<(std::ostream &stream, const Outcome &outcome)
{
    stream << "status " << outcome.status << ", error 0x" << std::hex << outcome.error << std::dec;
    for (const std::string &line : outcome.log)
        stream << "\n      \"" << line << '"';
    return stream;
}

}  // namespace nubrix
