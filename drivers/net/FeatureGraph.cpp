#include "net/FeatureGraph.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace nubrix {

namespace {

constexpr int kDeepest = 64;
constexpr long long kLongest = 1 << 20;     // bytes of a register
constexpr std::size_t kMostSteps = 100000;  // for one value
// What a value is made of. Limits and locks, which may depend on each other, are not.
constexpr std::string_view kParts[] = {"pValue", "pVariable", "pAddress",
                                       "pIndex", "pLength",   "pCommandValue"};

struct Feature {
    std::vector<std::string> parts;
    std::size_t steps = 0;  // 0: not known yet
    bool isOpen = false;    // it is just being counted
};

using Features = std::unordered_map<std::string, Feature>;

std::string textOf(ArvDomNode *element)
{
    std::string text;
    for (ArvDomNode *node = arv_dom_node_get_first_child(element); node != nullptr;
         node = arv_dom_node_get_next_sibling(node)) {
        if (const char *value = arv_dom_node_get_node_value(node))
            text += value;
    }
    const auto isBlank = [](char c) {
        return std::string_view(" \t\r\n").find(c) != std::string_view::npos;
    };
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isBlank));
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isBlank).base(), text.end());
    return text;
}

/// Aravis allocates the stated length of a register, and ends the process without that memory.
/// What is read here is no plain register, so its length must be known before.
bool hasLength(const std::string &kind, const std::string &tag, const std::string &text)
{
    if (tag == "pLength")
        return kind == "Register";
    const long long length = tag == "Length" ? std::strtoll(text.c_str(), nullptr, 0) : 0;
    return length >= 0 && length <= kLongest;
}

/// Registers are nested in groups.
bool collect(ArvDomNode *element, Features &features, int depth)
{
    if (depth > kDeepest)
        return false;
    const char *name = ARV_IS_DOM_ELEMENT(element)
                           ? arv_dom_element_get_attribute(ARV_DOM_ELEMENT(element), "Name")
                           : nullptr;
    for (ArvDomNode *node = arv_dom_node_get_first_child(element); node != nullptr;
         node = arv_dom_node_get_next_sibling(node)) {
        const char *tag = arv_dom_node_get_node_name(node);
        const bool isPart = tag != nullptr && std::find(std::begin(kParts), std::end(kParts),
                                                        tag) != std::end(kParts);
        if (tag != nullptr && !hasLength(arv_dom_node_get_node_name(element), tag, textOf(node)))
            return false;
        if (isPart && name != nullptr)
            features[name].parts.push_back(textOf(node));
        else if (!isPart && !collect(node, features, depth + 1))
            return false;
    }
    return true;
}

/// How many features are looked at for this one; more than kMostSteps for one without an end.
std::size_t stepsOf(const std::string &name, Features &features, int depth)
{
    const auto found = features.find(name);
    if (found == features.end())
        return 1;
    Feature &feature = found->second;
    if (feature.isOpen || depth > kDeepest)
        return kMostSteps + 1;
    if (feature.steps != 0)
        return feature.steps;
    feature.isOpen = true;
    std::size_t steps = 1;
    for (std::size_t i = 0; i < feature.parts.size() && steps <= kMostSteps; ++i)
        steps += stepsOf(feature.parts[i], features, depth + 1);
    feature.isOpen = false;
    feature.steps = std::min(steps, kMostSteps + 1);
    return feature.steps;
}

}  // namespace

bool isComputable(ArvGc &features)
{
    ArvDomElement *root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(&features));
    Features found;
    if (root == nullptr || !collect(ARV_DOM_NODE(root), found, 0))
        return false;
    return std::all_of(found.begin(), found.end(), [&](const auto &feature) {
        return stepsOf(feature.first, found, 0) <= kMostSteps;
    });
}

}  // namespace nubrix
