#include "tests/stress/StressOperations.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <sstream>

#include "tests/stress/StressTable.h"

namespace nubrix::stress {

namespace {

const std::vector<Operation> &operations()
{
    static const std::vector<Operation> table = [] {
        std::vector<Operation> made;
        addContextOperations(made);
        addStreamOperations(made);
        return made;
    }();
    return table;
}

// --- checking

std::vector<int> allowedOf(const Operation &operation, Origin origin, LifeState::State state)
{
    const bool destroys = std::strcmp(operation.name, "destroy") == 0;
    if (destroys && origin != Origin::kThread)
        return {-1};
    if (state == LifeState::State::kInitialized)
        return operation.initialized;
    std::vector<int> allowed = operation.uninitialized;
    if (state == LifeState::State::kUnknown) {
        allowed.insert(allowed.end(), operation.initialized.begin(), operation.initialized.end());
        if (origin != Origin::kThread && std::strcmp(operation.name, "initialize") == 0)
            allowed.push_back(-2);
        if (std::strcmp(operation.name, "takePhoto") == 0)
            allowed.push_back(-9);  // destroy ends its wait
    }
    return allowed;
}

void check(const Operation &operation, const Caller &caller, int status, LifeState::State state)
{
    const std::vector<int> allowed = allowedOf(operation, caller.origin, state);
    if (std::find(allowed.begin(), allowed.end(), status) != allowed.end())
        return;
    constexpr const char *kStates[] = {"a changing", "an initialized", "an uninitialized"};
    std::ostringstream text;
    text << nameOf(caller.origin) << "." << operation.name << " returns " << status << " on "
         << kStates[static_cast<int>(state)] << " context";
    caller.world.violation(text.str());
}

int perform(const Operation &operation, Caller &caller)
{
    World &world = caller.world;
    // A callback runs on a context that exists: destroy waits for it.
    const bool ordinary = caller.origin == Origin::kThread;
    if (ordinary)
        world.contextDoor.enter();
    const LifeState::Snapshot before = world.life.now();
    int status = 0;
    {
        const StallWatch::Call call(world.watch, operation.name);
        status = operation.call(world.context, caller);
    }
    const LifeState::Snapshot after = world.life.now();
    if (ordinary)
        world.contextDoor.leave();
    if (status == kSkipped)
        return status;
    // Its own change of the state is checked where it is called.
    const bool changes = ordinary && (std::strcmp(operation.name, "destroy") == 0 ||
                                      std::strcmp(operation.name, "initialize") == 0);
    const LifeState::State state =
        changes ? LifeState::State::kUnknown : LifeState::between(before, after);
    check(operation, caller, status, state);
    world.countCall(operation.name, caller.origin, status);
    return status;
}

}  // namespace

void callSomething(Caller &caller)
{
    static const std::size_t total =
        std::accumulate(operations().begin(), operations().end(), std::size_t{0},
                        [](std::size_t sum, const Operation &each) { return sum + each.weight; });
    // Refused in callbacks, where nothing else would call it often enough.
    const bool destroys = caller.origin != Origin::kThread && caller.random.chance(4);
    if (destroys && caller.world.isOn(caller.origin, "destroy")) {
        callOperation("destroy", caller);
        return;
    }
    std::size_t place = caller.random.below(total);
    for (const Operation &operation : operations()) {
        if (place >= operation.weight) {
            place -= operation.weight;
            continue;
        }
        if (caller.world.isOn(caller.origin, operation.name))
            perform(operation, caller);
        return;
    }
}

int callOperation(const char *name, Caller &caller)
{
    for (const Operation &operation : operations()) {
        if (std::strcmp(operation.name, name) == 0)
            return perform(operation, caller);
    }
    caller.world.violation(std::string("there is no operation ") + name);
    return -1;
}

}  // namespace nubrix::stress
