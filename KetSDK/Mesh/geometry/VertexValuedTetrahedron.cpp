// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/VertexValuedTetrahedron.h>

VertexValuedTetrahedron::~VertexValuedTetrahedron() = default;
