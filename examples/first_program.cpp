// SPDX-License-Identifier: BSD-3-Clause
// Builds a cube of six tetrahedra, asks for its volume and quality, and extracts its surface.
//
// 1. Add eight nodes, in internal units, and six elements around a diagonal.
// 2. Ask the mesh for its volume, and each element for its mean ratio.
// 3. Let an operator extract the surface into a container of ours.
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <iostream>

int main() {
    // 1.
    auto const edge = static_cast<MLong>(10 * KetSDK::Common::MInternalUnits::Get()); // 10 mm
    MMeshBase mesh;
    MMeshPoint* corners[8];
    for (int i = 0; i < 8; ++i) // the bits of a corner's index are its coordinates
        corners[i] = mesh.AddPoint((i & 1) * edge, (i >> 1 & 1) * edge, (i >> 2) * edge);
    int const around_the_diagonal[] = {1, 3, 2, 6, 4, 5, 1};
    for (int i = 0; i < 6; ++i) {
        MMeshPoint* nodes[] = {corners[0], corners[around_the_diagonal[i]],
                               corners[around_the_diagonal[i + 1]], corners[7]};
        mesh.AddElement(4, nodes);
    }

    // 2.
    std::wcout << mesh.NumberOfElements() << L" elements, " << mesh.GetVolume() << L" mm3\n";
    for (MMeshElement const& element : mesh.Elements())
        std::wcout << L"mean ratio " << TetrahedronBase<double>(&element).QualityMeanRatio() << L"\n";

    // 3.
    MStlBase surfaces;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&surfaces);
    if (!extract.Operate())
        return 1;
    for (MStlSurface const& surface : surfaces.Surfaces())
        std::wcout << surface.GetName() << L": " << surface.NumberOfTriangles() << L" triangles, "
                   << surface.GetArea() << L" mm2\n";
}
