// Measures a job and its peer in turn, so that both see the same noise, and reports the ratio.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace nubrix::bench {

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Seconds that `job` takes.
template <class Job>
double secondsOf(Job &&job)
{
    const auto begin = std::chrono::steady_clock::now();
    job();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The counters of a benchmark: nanoseconds of an operation, those of the peer's, and how many
/// times as fast as the peer we are.
inline void setRatio(benchmark::State &state, double ns, double peerNs)
{
    state.counters["ns"] = ns;
    state.counters["peer_ns"] = peerNs;
    state.counters["ratio"] = peerNs / ns;
}

/// Each iteration runs both once; the time shown is the job's. The counters are of the medians, of
/// one of `operations` operations.
template <class Job, class Peer>
void measureAgainst(benchmark::State &state, int operations, Job &&job, Peer &&peer)
{
    std::vector<double> jobs;
    std::vector<double> peers;
    for (auto _ : state) {
        peers.push_back(secondsOf(peer));
        jobs.push_back(secondsOf(job));
        state.SetIterationTime(jobs.back());
    }
    setRatio(state, median(jobs) * 1e9 / operations, median(peers) * 1e9 / operations);
}

}  // namespace nubrix::bench
