// SPDX-License-Identifier: BSD-3-Clause
// Reads a volume mesh from a file and counts what VTK makes of it, with the bridge alone.
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>

#include <vtkUnstructuredGrid.h>

#include <iostream>

int main(int, char** arguments) {
    auto const grid = KetSDK::MeshVTK::ReadGridFile(arguments[1], nullptr);
    auto const mesh = KetSDK::MeshVTK::MeshFromGrid(*grid, {}, nullptr);
    std::cout << KetSDK::MeshVTK::GridFromMesh(*mesh, {}, nullptr)->GetNumberOfCells() << " cell"
              << std::endl;
}
