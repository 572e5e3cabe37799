// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/Memory.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

namespace KetSDK::MeshJobs::Detail {

namespace {

constexpr double Unlimited = std::numeric_limits<double>::infinity();

double MemoryOfMachine() {
    long const pages = sysconf(_SC_PHYS_PAGES), size = sysconf(_SC_PAGESIZE);
    return pages > 0 && size > 0 ? static_cast<double>(pages) * static_cast<double>(size) : 1e10;
}

// The number that a file begins with; no limit where there is no such file or no number in it ("max").
double NumberIn(std::filesystem::path const& file) {
    double number = Unlimited;
    return std::ifstream(file) >> number ? number : Unlimited;
}

// What is left of the address space: libraries take much of it that is no memory.
double LimitOfProcess() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return Unlimited;
    double const taken = NumberIn("/proc/self/statm") * static_cast<double>(sysconf(_SC_PAGESIZE));
    return std::max(0.0, static_cast<double>(limit.rlim_cur) - (taken < Unlimited ? taken : 0.0));
}

// The lowest limit of the groups that this process is in: of version 2, or of version 1 for memory.
double LimitOfGroups() {
    double limit = Unlimited;
    std::ifstream groups("/proc/self/cgroup"); // lines like 0::/a/b and 5:memory:/a/b
    for (std::string line; std::getline(groups, line);) {
        auto const path = line.find(":/");
        bool const is_second = line.starts_with("0::/");
        if (path == std::string::npos || (!is_second && line.find(":memory:") == std::string::npos))
            continue;
        std::string const root = is_second ? "/sys/fs/cgroup" : "/sys/fs/cgroup/memory";
        char const* const name = is_second ? "memory.max" : "memory.limit_in_bytes";
        for (std::filesystem::path group = line.substr(path + 1);; group = group.parent_path()) {
            limit = std::min(limit, NumberIn(root + group.string() + "/" + name));
            if (group == group.parent_path())
                break;
        }
    }
    return limit;
}

} // namespace

double AvailableMemory() {
    return std::min({MemoryOfMachine(), LimitOfProcess(), LimitOfGroups()});
}

} // namespace KetSDK::MeshJobs::Detail
