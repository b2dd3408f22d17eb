#include "net/FeatureGraph.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace nubrix::net {

namespace {

constexpr std::size_t kDeepest = 64;
constexpr long long kLongest = 1 << 20;     // bytes of a register
constexpr std::size_t kMostSteps = 100000;  // for one value
// What a value is made of. Limits and locks, which may depend on each other, are not.
constexpr std::string_view kParts[] = {"pValue", "pVariable", "pAddress",
                                       "pIndex", "pLength",   "pCommandValue"};

struct Feature {
    std::vector<std::string> parts;
    std::size_t steps = 0;   // features that are looked at for this one; 0: not known yet
    std::size_t height = 0;  // of the longest chain of features from here
    bool isOpen = false;     // it is just being counted
};

using Features = std::map<std::string, Feature>;

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
bool hasLength(std::string_view kind, std::string_view tag, ArvDomNode *node)
{
    if (tag == "pLength")
        return kind == "Register";
    const long long length = tag == "Length" ? std::strtoll(textOf(node).c_str(), nullptr, 0) : 0;
    return length >= 0 && length <= kLongest;
}

/// Registers are nested in groups.
bool collect(ArvDomNode *element, Features &features, std::size_t depth)
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
        if (tag != nullptr && !hasLength(arv_dom_node_get_node_name(element), tag, node))
            return false;
        if (isPart && name != nullptr)
            features[name].parts.push_back(textOf(node));
        else if (!isPart && !collect(node, features, depth + 1))
            return false;
    }
    return true;
}

/// Counts the steps and the height of a feature that is `depth` features from the first one. False
/// when there are too many, or no end. Whether some feature of a description fails does not depend
/// on which one is counted first: a chain that is too long is so by its height or by its depth.
bool count(Feature &feature, Features &features, std::size_t depth)
{
    if (feature.isOpen || depth >= kDeepest)
        return false;
    if (feature.steps != 0)
        return depth + feature.height <= kDeepest;
    feature.isOpen = true;
    std::size_t steps = 1;
    std::size_t height = 1;
    for (const std::string &part : feature.parts) {
        const auto found = features.find(part);
        if (found == features.end()) {
            ++steps;
            continue;
        }
        if (!count(found->second, features, depth + 1))
            return false;
        steps += found->second.steps;
        height = std::max(height, found->second.height + 1);
        if (steps > kMostSteps)
            return false;
    }
    feature.isOpen = false;
    feature.steps = steps;
    feature.height = height;
    return true;
}

}  // namespace

bool isComputable(ArvGc &features)
{
    ArvDomElement *root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(&features));
    Features found;
    if (root == nullptr || !collect(ARV_DOM_NODE(root), found, 0))
        return false;
    return std::all_of(found.begin(), found.end(),
                       [&](auto &feature) { return count(feature.second, found, 0); });
}

}  // namespace nubrix::net
