// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapper.h>

MMeshCorrespondenceMapper::~MMeshCorrespondenceMapper() = default;

bool MMeshCorrespondenceMapper::IsAssignedTo(MStlTriangle const* triangle, MMeshElement* e) {
    return triangle && e && GetElement(triangle) == e;
}
