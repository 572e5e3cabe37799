// SPDX-License-Identifier: BSD-3-Clause
// Reads a mesh in millimetres, extracts its surfaces, outside and between the sub-volumes, and writes them
// by name: surfaces_of_a_file data/head_small_tet4.vtu surfaces.vtp
//
// 1. Read the file as a VTK grid, and make a mesh of it.
// 2. Extract the surface of each sub-volume, outside and towards the others.
// 3. Write all of them into one file, which appears when it is whole.
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkUnstructuredGrid.h>

#include <iostream>

namespace VTKBridge = KetSDK::MeshVTK;

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: surfaces_of_a_file MESH.vtu SURFACES.vtp\n";
        return 1;
    }
    // 1.
    auto const grid = VTKBridge::ReadGridFile(argv[1], nullptr);
    auto const mesh = VTKBridge::MeshFromGrid(*grid, {}, nullptr);

    // 2.
    MStlBase surfaces;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(mesh.get());
    extract.SetStl(&surfaces);
    extract.SetExtractInterfacesBetweenSubVolumes(true);
    extract.Operate();
    for (MStlSurface const& surface : surfaces.Surfaces())
        std::wcout << surface.GetName() << L": " << surface.NumberOfTriangles() << L" triangles, "
                   << (surface.IsClosed() ? L"closed" : L"open") << L"\n";

    // 3.
    VTKBridge::OutputFile file(argv[2]); // appears under its name once it is complete
    VTKBridge::WriteSurfaceFile(surfaces, {}, file, nullptr);
    return 0;
} catch (VTKBridge::Error const& error) {
    std::cerr << "surfaces_of_a_file: " << error.what() << "\n";
    return 1;
}
