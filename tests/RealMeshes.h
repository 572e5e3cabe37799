// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>

#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>

#include <memory>
#include <string>

// The sample meshes in data/, by the names of their files.
inline std::string DataFile(std::string const& name) {
    return std::string(KETSDK_DATA_DIR) + "/" + name;
}

inline vtkSmartPointer<vtkUnstructuredGrid> ReadGrid(std::string const& name) {
    return KetSDK::MeshVTK::ReadGridFile(DataFile(name), nullptr);
}

inline std::unique_ptr<MMeshBase> ReadMesh(std::string const& name) {
    return KetSDK::MeshVTK::MeshFromGrid(*ReadGrid(name), {}, nullptr);
}
