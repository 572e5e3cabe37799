// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

MMeshOperatorSettings::~MMeshOperatorSettings() = default;

MMeshOperator::~MMeshOperator() = default;

MMeshOperatorSettings const* MMeshOperator::GetSettings() const {
    return m_settings;
}

MMeshOperatorSettings* MMeshOperator::GetSettings() {
    return m_settings;
}

void MMeshOperator::SetSettings(MMeshOperatorSettings* settings) {
    m_settings = settings;
}

void MMeshOperator::SetMesh(MMeshBase* mesh) {
    m_mesh = mesh;
}

MMeshBase* MMeshOperator::GetMesh() {
    return m_mesh;
}

void MMeshOperator::ClearOperator() {}
