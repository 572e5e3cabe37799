// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/PeakMemory.h>

#include <sys/resource.h>

namespace ketmesh {

std::uint64_t PeakMemory() noexcept {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage); // cannot fail for the program itself
    constexpr std::uint64_t kilobyte = 1024;
    return kilobyte * static_cast<std::uint64_t>(usage.ru_maxrss);
}

} // namespace ketmesh
