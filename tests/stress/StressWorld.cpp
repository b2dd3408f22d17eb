#include "tests/stress/StressWorld.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "tests/LedgerCheck.h"

namespace nubrix::stress {

namespace {

std::set<std::string> wordsOf(const char *variable)
{
    const char *const value = std::getenv(variable);
    std::istringstream words(value ? value : "");
    std::set<std::string> found;
    for (std::string word; std::getline(words, word, ',');)
        found.insert(word);
    return found;
}

}  // namespace

const char *nameOf(Origin origin)
{
    switch (origin) {
        case Origin::kFrame:
            return "frame";
        case Origin::kState:
            return "state";
        case Origin::kUpgrade:
            return "upgrade";
        default:
            return "thread";
    }
}

World::World(const VirtualLibrary &loaded, std::uint64_t seedOfRun, StallWatch &stallWatch)
    : library(loaded),
      seed(seedOfRun),
      watch(stallWatch),
      context(loaded.context()),
      m_without(wordsOf("NUBRIX_STRESS_WITHOUT"))
{
}

void World::retireAllHandles()
{
    const auto every = [](const auto &) { return true; };
    devices.retire(every);
    streams.retire(every);
    recorders.retire(every);
}

Receiver *World::newReceiver(NubrixDevice *device)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    Receiver &receiver = m_receivers.emplace_back();
    receiver.world = this;
    receiver.device = device;
    return &receiver;
}

bool World::holdFrame(typedefNubrixFrame *frame)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_frames.size() >= kHeldFrames)
        return false;
    m_frames.push_back(frame);
    return true;
}

void World::takeBackFrame(typedefNubrixFrame *frame)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_frames.push_back(frame);
}

typedefNubrixFrame *World::takeFrame(Random &random)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_frames.empty())
        return nullptr;
    std::swap(m_frames[random.below(m_frames.size())], m_frames.back());
    typedefNubrixFrame *const frame = m_frames.back();
    m_frames.pop_back();
    return frame;
}

bool World::isOn(Origin origin, const std::string &operation) const
{
    const std::string name = nameOf(origin);
    return isOn(operation) && isOn(name) && isOn(name + "." + operation);
}

int World::checkLedger(NubrixStream *stream)
{
    NubrixStreamLedger ledger;
    const int status = library.ledger(stream, ledger);
    const std::string fault = status == 0 ? ledgerFault(ledger) : "";
    if (!fault.empty())
        violation("the ledger: " + fault);
    return status;
}

void World::violation(const std::string &text)
{
    std::fprintf(stderr, "seed %llu: %s\n", static_cast<unsigned long long>(seed), text.c_str());
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_violations.push_back(text);
}

std::vector<std::string> World::violations() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_violations;
}

void World::countCall(const char *operation, Origin origin, int status)
{
    const std::string name = std::string(nameOf(origin)) + "." + operation;
    const std::lock_guard<std::mutex> guard(m_mutex);
    ++m_calls[name][status];
}

std::string World::statistics() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    std::ostringstream text;
    for (const auto &[name, statuses] : m_calls) {
        text << name << ":";
        for (const auto &[status, count] : statuses)
            text << " " << status << " x" << count;
        text << "\n";
    }
    return text.str();
}

}  // namespace nubrix::stress
