// Measures a job and its peer in turn, so that both see the same noise, and tells the ratio.
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

/// Each iteration runs both once; the time shown is the job's. The counters are the medians in
/// nanoseconds of one of `operations` operations, and their ratio.
template <class Job, class Peer>
void measureBeside(benchmark::State &state, int operations, Job &&job, Peer &&peer)
{
    std::vector<double> jobs;
    std::vector<double> peers;
    for (auto _ : state) {
        peers.push_back(secondsOf(peer));
        jobs.push_back(secondsOf(job));
        state.SetIterationTime(jobs.back());
    }
    const double ours = median(jobs) * 1e9 / operations;
    const double theirs = median(peers) * 1e9 / operations;
    state.counters["ns"] = ours;
    state.counters["peer_ns"] = theirs;
    state.counters["ratio"] = ours / theirs;
}

}  // namespace nubrix::bench
