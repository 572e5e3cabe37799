// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>

#include <KetSDK/Common/Progress/BaseProgressReporter.h>
#include <KetSDK/Support/ParallelWork.h>

namespace KetSDK::Mesh::Detail {

SurfaceMatcher::~SurfaceMatcher() = default;

void MappingLoop::operator()(std::size_t count, std::size_t block,
                             std::function<void(std::size_t, std::size_t)> const& work) const {
    auto const compute = [&work](std::uint64_t first, std::uint64_t last, std::size_t) {
        work(static_cast<std::size_t>(first), static_cast<std::size_t>(last));
    };
    auto const commit = [this](std::uint64_t, std::uint64_t, std::size_t) {
        return !m_reporter.IsCancelled();
    };
    if (!Support::ComputeSteps({.items = count, .step = block, .parallel = m_parallel}, compute, commit))
        throw MappingCancelled();
}

} // namespace KetSDK::Mesh::Detail
