#include "Machine.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace nubrix {

namespace {

std::string userName()
{
    const passwd *user = getpwuid(geteuid());
    return user != nullptr ? user->pw_name : std::to_string(geteuid());
}

/// Whether the system's list of groups has the user in the group.
bool isListed(const group &members)
{
    const std::string user = userName();
    for (char **member = members.gr_mem; *member != nullptr; ++member) {
        if (user == *member)
            return true;
    }
    return false;
}

Machine::Access accessOf(const std::string &path)
{
    struct stat status = {};
    if (access(path.c_str(), R_OK | W_OK) == 0)
        return Machine::Access::kGranted;
    if (stat(path.c_str(), &status) != 0)
        return Machine::Access::kDenied;
    const group *owner = getgrgid(status.st_gid);
    if (owner == nullptr || (status.st_mode & 060U) != 060U)
        return Machine::Access::kClosed;
    if (isListed(*owner))
        return Machine::Access::kAfterLogin;
    return std::string(owner->gr_name) == "video" ? Machine::Access::kDenied
                                                  : Machine::Access::kClosed;
}

}  // namespace

Machine Machine::real()
{
    utsname system = {};
    uname(&system);
    return {{}, system.release, userName(), accessOf};
}

bool Machine::has(const std::string &absolute) const
{
    std::error_code ignored;
    return std::filesystem::exists(path(absolute), ignored);
}

std::vector<std::string> Machine::list(const std::string &absolute) const
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(path(absolute), error))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::string Machine::read(const std::string &absolute) const
{
    std::ifstream file(path(absolute), std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const auto begin = text.find_first_not_of(" \n");
    if (begin == std::string::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \n") - begin + 1);
}

}  // namespace nubrix
