// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

// Base of the settings objects of operators; each operator that needs more than a mesh derives its own.
class KETSDK_MESH_API MMeshOperatorSettings {
public:
    MMeshOperatorSettings() = default;
    MMeshOperatorSettings(MMeshOperatorSettings const&) = default;
    MMeshOperatorSettings& operator=(MMeshOperatorSettings const&) = default;
    virtual ~MMeshOperatorSettings();
};
