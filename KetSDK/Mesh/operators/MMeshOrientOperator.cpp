// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vector>

namespace {

bool IsInverted(MMeshElement const& e) {
    bool const is_tetrahedron = e.GetNodeCount() == 4 || e.GetNodeCount() == 10;
    return is_tetrahedron && !TetrahedronBase<double>(&e).OrientationOK();
}

void Invert(MMeshElement& e) noexcept {
    e.SwapNodes(2, 3);
    if (e.GetNodeCount() == 10) { // the edges 1-2 and 1-3, 2-0 and 0-3
        e.SwapNodes(5, 8);
        e.SwapNodes(6, 7);
    }
}

} // namespace

MMeshOrientOperator::~MMeshOrientOperator() = default;

bool MMeshOrientOperator::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    using Numbers = std::vector<std::uint64_t>;
    auto const find = [mesh](std::uint64_t first, std::uint64_t last, Numbers& inverted) {
        inverted.clear();
        mesh->Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            if (IsInverted(e))
                inverted.push_back(number);
        });
    };
    auto const invert = [this, mesh](std::uint64_t, std::uint64_t, Numbers const& inverted) {
        for (std::uint64_t const number : inverted)
            Invert(*mesh->GetElement(number));
        m_corrected += static_cast<int>(inverted.size());
        return true;
    };
    return KetSDK::Support::ComputeSteps<Numbers>(
        {.items = mesh->Elements().GetNumElements(), .step = 4096, .parallel = GetParallel()}, find, invert);
}

bool MMeshOrientOperator::TurnIfInverted(MMeshElement& e) {
    bool const inverted = IsInverted(e);
    if (inverted)
        Invert(e);
    return inverted;
}
