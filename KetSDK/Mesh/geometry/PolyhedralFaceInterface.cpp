// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/PolyhedralFaceInterface.h>

PolyhedralFaceInterface::~PolyhedralFaceInterface() = default;

void PolyhedralFaceInterface::_InitZero() {
    std::uint64_t const count = GetNbNodes();
    for (std::uint64_t i = 0; i < count; ++i)
        SetNode(i, MMVector<double, 3>());
}
