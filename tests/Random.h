// Numbers that a seed determines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>

namespace nubrix {

class Random {
public:
    explicit Random(std::uint64_t seed) : m_engine(seed) {}
    /// 0 to count - 1.
    std::size_t below(std::size_t count) { return static_cast<std::size_t>(m_engine() % count); }
    bool chance(unsigned int percent) { return below(100) < percent; }
    template <class Value>
    Value oneOf(std::initializer_list<Value> values)
    {
        return values.begin()[below(values.size())];
    }

private:
    std::mt19937_64 m_engine;
};

}  // namespace nubrix
