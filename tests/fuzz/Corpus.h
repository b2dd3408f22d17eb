// The inputs of a fuzz target that are kept.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace nubrix {

struct CorpusInput {
    std::string path;
    std::string bytes;
};

/// Every file of a folder, in the order of their names. Throws std::runtime_error when there is no
/// such folder or nothing in it, and when something in it cannot be read as a file.
inline std::vector<CorpusInput> readCorpus(const std::string &folder)
{
    std::error_code failure;
    std::vector<CorpusInput> inputs;
    for (std::filesystem::directory_iterator at(folder, failure), end; !failure && at != end;
         at.increment(failure))
        inputs.push_back({at->path().string(), ""});
    if (failure)
        throw std::runtime_error(folder + ": " + failure.message());
    if (inputs.empty())
        throw std::runtime_error(folder + ": there is nothing in it");
    std::sort(inputs.begin(), inputs.end(),
              [](const CorpusInput &a, const CorpusInput &b) { return a.path < b.path; });
    for (CorpusInput &input : inputs) {
        const auto size = std::filesystem::file_size(input.path, failure);
        if (failure)
            throw std::runtime_error(input.path + ": " + failure.message());
        input.bytes.resize(static_cast<std::size_t>(size));
        std::ifstream file(input.path, std::ios::binary);
        if (!file.read(input.bytes.data(), static_cast<std::streamsize>(size)))
            throw std::runtime_error(input.path + ": cannot be read");
    }
    return inputs;
}

}  // namespace nubrix
