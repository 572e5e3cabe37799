// SPDX-License-Identifier: BSD-3-Clause
// Uses something of every library that is installed, from its public headers only.
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <iostream>

int main() {
    double const scale = KetSDK::Common::MInternalUnits::Get();
    MMeshBase mesh;
    MMeshPoint* nodes[4] = {
        &mesh.AddPointUnique({0.0, 0.0, 0.0}, scale), &mesh.AddPointUnique({1.0, 0.0, 0.0}, scale),
        &mesh.AddPointUnique({0.0, 1.0, 0.0}, scale), &mesh.AddPointUnique({0.0, 0.0, 6.0}, scale)};
    MMeshElement* const element = mesh.AddElement(4, nodes);

    MMeshMaterial bone;
    bone.SetDensity(1.9);
    mesh.GetMaterialCatalog().AddMaterialNewID(bone);
    if (mesh.GetMaterialCatalog().NumberOfMaterials() != 1 || MTemporaryDirectory().GetPath().IsEmpty())
        return 1;

    MStlBase surfaces;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&surfaces);
    if (!extract.Operate())
        return 1;

    std::wcout << L"volume " << mesh.GetVolume() << L", jacobian "
               << TetrahedronBase<double>(element).QualityJacobian();
    for (MStlSurface const& surface : surfaces.Surfaces())
        std::wcout << L", " << surface.GetName() << L" " << surface.NumberOfTriangles();
    std::wcout << std::endl;
}
