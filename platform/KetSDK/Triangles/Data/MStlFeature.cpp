// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MStlFeature.h>

MStlFeature::MStlFeature() = default;

MStlFeature::~MStlFeature() = default;

MStlGraph* MStlFeature::AddNewGraph() {
    return &m_graphs.emplace_back();
}
