// A counted object that records its destruction.
#pragma once

#include <atomic>

#include "nubrix/driver.h"

namespace nubrix {

class CountedObject : public RefCntr {
public:
    explicit CountedObject(std::atomic<int> &deaths) : m_deaths(deaths) {}

    int count() const { return m_count; }

protected:
    ~CountedObject() override { ++m_deaths; }

private:
    std::atomic<int> &m_deaths;
};

}  // namespace nubrix
