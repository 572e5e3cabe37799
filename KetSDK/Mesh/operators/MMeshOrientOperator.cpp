// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

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
    mesh->Elements().ForEachWithNodes([this, mesh](MMeshElement const& e, std::uint64_t number) {
        if (IsInverted(e)) {
            Invert(*mesh->GetElement(number));
            ++m_corrected;
        }
    });
    return true;
}

bool MMeshOrientOperator::TurnIfInverted(MMeshElement& e) {
    bool const inverted = IsInverted(e);
    if (inverted)
        Invert(e);
    return inverted;
}
