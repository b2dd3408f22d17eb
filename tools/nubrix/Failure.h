// Failures of a command, and the sentences for failing calls of the library.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace nubrix::tool {

// The statuses that are not always a failure.
constexpr int kStatusNotFound = -4;
constexpr int kStatusNotSupported = -8;
constexpr int kStatusTimeout = -11;

/// Ends a command; main prints the text and exits with status 1.
class Failure final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// "openDevice: no such camera (status -4, error 0x80300208); run 'nubrix list'". `operation` is
/// the name of the operation, optionally with details in brackets: "openStream (depth)".
std::string describeFailure(const std::string &operation, int status, unsigned int errorNumber);

/// Makes a call of the library; throws a Failure that describes a status other than 0.
void require(const std::string &operation, const std::function<int()> &call);

/// Like require, but returns the status and sets `*problem` to its description.
int attempt(const std::string &operation, const std::function<int()> &call, std::string *problem);

}  // namespace nubrix::tool
