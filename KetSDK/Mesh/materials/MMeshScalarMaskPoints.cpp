// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshScalarMaskPoints.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

MMeshScalarMaskPoints::MMeshScalarMaskPoints(MMeshBase* mesh, double default_value)
    : MMeshMask(mesh)
    , MDataMask<MMeshPoint, double>(default_value) {
    if (mesh)
        mesh->GetPointMasks()->RegisterMask(this);
}

MMeshScalarMaskPoints::~MMeshScalarMaskPoints() = default;

double MMeshScalarMaskPoints::GetValueAt(std::uint64_t index) const {
    return MDataMask<MMeshPoint, double>::GetValueAt(index);
}

void MMeshScalarMaskPoints::SetValueAt(std::uint64_t index, double value) {
    MDataMask<MMeshPoint, double>::SetValueAt(index, value);
}

double MMeshScalarMaskPoints::GetDefaultValue() const {
    return MDataMask<MMeshPoint, double>::GetDefaultValue();
}
