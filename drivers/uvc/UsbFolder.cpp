#include "uvc/UsbFolder.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace nubrix {

namespace {

namespace fs = std::filesystem;

/// What the folder holds, nothing when it is gone.
std::vector<fs::path> entriesOf(const fs::path &folder)
{
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        entries.push_back(entry->path());
    return entries;
}

bool attributeIs(const fs::path &folder, const char *name, const char *value)
{
    std::ifstream file(folder / name);
    std::string text;
    return std::getline(file, text) && text == value;
}

}  // namespace

UsbFolder readUsbFolder(const std::string &sysPath)
{
    UsbFolder contents;
    const std::string interfaces = fs::path(sysPath).filename().string() + ":";
    for (const fs::path &entry : entriesOf(sysPath)) {
        if (entry.filename().string().rfind(interfaces, 0) != 0)
            continue;
        // Of the video class, and its stream interfaces.
        if (attributeIs(entry, "bInterfaceClass", "0e") &&
            attributeIs(entry, "bInterfaceSubClass", "02"))
            ++contents.videoStreams;
        for (const fs::path &node : entriesOf(entry / "video4linux")) {
            if (node.filename().string().rfind("video", 0) == 0)
                contents.videoNodes.push_back(node.string());
        }
    }
    return contents;
}

}  // namespace nubrix
