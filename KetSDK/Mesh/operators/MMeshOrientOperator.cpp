// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vector>

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
            TurnIfInverted(*mesh->GetElement(number));
        m_corrected += static_cast<int>(inverted.size());
        return true;
    };
    return KetSDK::Support::ComputeSteps<Numbers>(
        {.items = mesh->Elements().GetNumElements(), .step = 4096, .parallel = GetParallel()}, find, invert);
}

bool MMeshOrientOperator::TurnIfInverted(MMeshElement& e) {
    return TurnIfInverted(e, [&e](unsigned int i, unsigned int k) { e.SwapNodes(i, k); });
}

bool MMeshOrientOperator::IsInverted(MMeshElement const& e) {
    bool const is_tetrahedron = e.GetNodeCount() == 4 || e.GetNodeCount() == 10;
    return is_tetrahedron && !TetrahedronBase<double>(&e).OrientationOK();
}
