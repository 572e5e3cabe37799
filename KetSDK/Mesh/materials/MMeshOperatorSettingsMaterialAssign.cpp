// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>

MMeshOperatorSettingsMaterialAssign::~MMeshOperatorSettingsMaterialAssign() = default;
