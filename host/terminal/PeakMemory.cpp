// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/PeakMemory.h>

#include <sys/resource.h>

#include <fstream>
#include <limits>
#include <string>

namespace ketmesh {

namespace {

constexpr std::uint64_t kilobyte = 1024;

// In kilobytes, as Linux counts it for this program alone; 0 where the system does not tell.
std::uint64_t PeakInStatus() {
    std::ifstream status("/proc/self/status");
    for (std::string key; status >> key; status.ignore(std::numeric_limits<std::streamsize>::max(), '\n'))
        if (std::uint64_t peak = 0; key == "VmHWM:" && status >> peak)
            return peak;
    return 0;
}

} // namespace

std::uint64_t PeakMemory() {
    if (std::uint64_t const peak = PeakInStatus())
        return kilobyte * peak;
    rusage usage{}; // on Linux at least what the program that started this one had then
    getrusage(RUSAGE_SELF, &usage);
    return kilobyte * static_cast<std::uint64_t>(usage.ru_maxrss);
}

} // namespace ketmesh
