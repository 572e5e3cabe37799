#include <KetSDK/Mesh/geometry/VertexValuedTetrahedron.h>

VertexValuedTetrahedron::~VertexValuedTetrahedron() = default;
