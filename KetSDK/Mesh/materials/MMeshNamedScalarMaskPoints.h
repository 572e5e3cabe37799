// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MMeshNamedMask.h>
#include <KetSDK/Mesh/materials/MMeshScalarMaskPoints.h>

#include <string>

// A scalar field on the nodes of a mesh that has an identifier and a label; otherwise as
// MMeshScalarMaskPoints, the threads too.
class KETSDK_MESH_API MMeshNamedScalarMaskPoints : public MMeshNamedMask, public MMeshScalarMaskPoints {
public:
    MMeshNamedScalarMaskPoints(std::wstring const& id, std::wstring const& user_label, MMeshBase* mesh,
                               double default_value);
    ~MMeshNamedScalarMaskPoints() override;
};
