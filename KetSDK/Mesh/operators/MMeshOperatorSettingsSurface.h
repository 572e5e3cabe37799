// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperatorSettings.h>

// What MMeshOperatorSurface is to do. A value; used by one thread at a time.
struct KETSDK_MESH_API MMeshOperatorSettingsSurface : public MMeshOperatorSettings {
public:
    // Whether faces between two sub-volumes count as boundary as well. False unless set.
    void SetInterfacesAreBoundary(bool interfaces) noexcept { m_interfaces_are_boundary = interfaces; }
    bool GetInterfacesAreBoundary() const noexcept { return m_interfaces_are_boundary; }

private:
    bool m_interfaces_are_boundary = false;
};
