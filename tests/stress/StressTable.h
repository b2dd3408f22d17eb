// The parts of the table of operations.
#pragma once

#include <limits>
#include <vector>

#include "tests/stress/StressOperations.h"

namespace nubrix::stress {

constexpr int kSkipped = std::numeric_limits<int>::min();  // nothing was called

inline const std::vector<int> kNothingElse = {0};
inline const std::vector<int> kRefused = {-2};

/// The life of the context, its devices, their upgrades, and what needs neither.
void addContextOperations(std::vector<Operation> &table);
/// Streams, their frames and recorders.
void addStreamOperations(std::vector<Operation> &table);

}  // namespace nubrix::stress
