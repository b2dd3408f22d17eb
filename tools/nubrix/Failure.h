// Failures of a command.
#pragma once

#include <stdexcept>

namespace nubrix::tool {

/// Ends a command, as does a client::Error; main prints the text and exits with status 1.
class Failure final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace nubrix::tool
