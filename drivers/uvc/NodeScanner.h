// Finds video nodes by udev and describes them.
#pragma once

#include <sys/types.h>
#include <optional>
#include <vector>

#include "uvc/NodeInfo.h"
#include "uvc/NodeIo.h"
#include "uvc/UdevHandles.h"

namespace nubrix {

/// What a look at all video nodes found.
struct Scan {
    std::vector<NodeInfo> nodes;
    bool complete = true;  ///< false: some could not be read, for want of descriptors for example
};

/// Not thread-safe.
class NodeScanner {
public:
    enum class Look { kNode, kNoNode, kUnreadable };

    /// `opener` serves where udev does not say what a node can do. `context` must outlive it.
    NodeScanner(udev &context, NodeOpener opener);

    /// All video nodes that are attached and that udev, where it runs, has done with; lowest number
    /// first.
    Scan scan() const;
    /// Fills `node` for kNode. kUnreadable: it may be one; another look may succeed.
    Look describe(udev_device &device, NodeInfo &node) const;
    /// The node of a device number, nothing if udev does not know it or it cannot be read.
    std::optional<NodeInfo> find(dev_t number) const;

private:
    bool captures(udev_device &device) const;

    udev &m_udev;
    const NodeOpener m_opener;
};

/// Whether udev runs: without it nobody describes devices or tells of them.
bool isUdevThere(udev &context);

/// The text of an attribute, which may be null, as it may be shown and without blanks at its ends.
std::string attributeText(const char *value);

}  // namespace nubrix
