// What ends a command with exit status 1, and failing calls of the library put into words.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace nubrix {

/// Ends a command; main prints the text and exits with status 1.
class Failure final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// "openDevice: no such camera (status -4, error 0x80300208); run 'nubrix list'". `operation` is
/// the name of the operation, with details in brackets if it has any: "openStream (depth)".
std::string describeFailure(const std::string &operation, int status, unsigned int errorNumber);

/// Makes a call of the library; throws a Failure that describes a status other than 0.
void require(const std::string &operation, const std::function<int()> &call);

/// As require, but hands the status out and sets `*problem` to its description.
int attempt(const std::string &operation, const std::function<int()> &call, std::string *problem);

}  // namespace nubrix
