// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>

MMeshNamedScalarMaskPoints::MMeshNamedScalarMaskPoints(std::wstring const& id, std::wstring const& user_label,
                                                       MMeshBase* mesh, double default_value)
    : MMeshMask(mesh)
    , MMeshNamedMask(id, user_label, mesh)
    , MMeshScalarMaskPoints(mesh, default_value) {}

MMeshNamedScalarMaskPoints::~MMeshNamedScalarMaskPoints() = default;
