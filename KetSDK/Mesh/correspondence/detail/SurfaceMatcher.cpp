// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>

#include <KetSDK/Common/Progress/BaseProgressReporter.h>
#include <KetSDK/Support/ParallelWork.h>

namespace KetSDK::Mesh::Detail {

SurfaceMatcher::~SurfaceMatcher() = default;

void MappingLoop::operator()(std::size_t count, std::size_t block,
                             std::function<void(std::size_t, std::size_t)> const& work) const {
    Run(
        count, block,
        [&work](std::uint64_t first, std::uint64_t last, std::size_t) {
            work(static_cast<std::size_t>(first), static_cast<std::size_t>(last));
        },
        [](std::uint64_t, std::size_t) {});
}

std::size_t MappingLoop::Slots(std::size_t count, std::size_t block) const noexcept {
    return Support::WorkSteps{.items = count, .step = block, .parallel = m_parallel}.NumberOfSlots();
}

void MappingLoop::Run(std::size_t count, std::size_t block,
                      std::function<void(std::uint64_t, std::uint64_t, std::size_t)> const& compute,
                      std::function<void(std::uint64_t, std::size_t)> const& commit) const {
    auto const ask_and_commit = [&](std::uint64_t first, std::uint64_t, std::size_t slot) {
        if (m_reporter.IsCancelled())
            return false;
        commit(first, slot);
        return true;
    };
    if (!Support::ComputeSteps({.items = count, .step = block, .parallel = m_parallel}, compute,
                               ask_and_commit))
        throw MappingCancelled();
}

} // namespace KetSDK::Mesh::Detail
