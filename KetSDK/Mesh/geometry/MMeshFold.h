// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

class MMeshElement;

// Whether the Jacobian determinant of an element is negative anywhere in it; solvers take no such element.
// A four-node element is folded when its volume is negative. The determinant of a ten-node element is a cubic
// polynomial. Its Bernstein coefficients bound it from below, and those at the corners are its values there
// (Johnen, Remacle, Geuzaine, Geometrical validity of curvilinear finite elements, 2013). The element is cut
// in two until bounds or values decide, in integers, so without rounding. Where pieces of 2^-15 of its
// length, or 2000 pieces, leave it open, the determinant comes close to zero there, and the element counts as
// not folded. So is a hexahedron, whose determinant is quadratic along each axis; that of a wedge, which is
// linear in its triangle, is decided by a formula. False for other elements. Safe from several threads that
// only read.
KETSDK_MESH_API bool IsFolded(MMeshElement const& element) noexcept;
