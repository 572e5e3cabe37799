// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "TestMeshes.h"

#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

// A mesh that holds something of everything that a mesh can hold, values at the limits of their types
// among it, and the named scalar fields on its nodes.
struct FullMesh {
    std::unique_ptr<MMeshBase> mesh = std::make_unique<MMeshBase>();
    std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> fields;

    FullMesh() {
        AddElements();
        AddValues();
        AddMaterials();
        AddFields();
        mesh->SetGreyValuesFlag(true);
        mesh->SetVolumeIndexFlag(true);
        mesh->SetMeshType(MMeshBase::Quadratic);
        mesh->SetMeshState(static_cast<MMeshBase::MeshStateType>(7));
    }

private:
    // An element of each kind in three sub-volumes, the last of which is empty.
    void AddElements() {
        for (int const kind : {4, 6, 8, 10})
            TestMeshes::AddElementOfKind(*mesh, static_cast<unsigned char>(kind));
        mesh->AddPoint(std::numeric_limits<MLong>::max(), std::numeric_limits<MLong>::min(), 0);
        MMeshSubVolume* const bone = mesh->AddSubVolume();
        bone->SetName(L"Knochen \u00e4\u4e2d\U0001F9B4 <&\"'\\]]>\n\t\x01");
        bone->SetMatID(-4);
        mesh->GetMainSubVolume()->MoveElement(*mesh->GetElement(2), bone);
        mesh->AddSubVolume()->SetName(L"");
    }

    void AddValues() {
        MMeshElementMaskContainer& masks = *mesh->GetElementMasks();
        double const nan = std::numeric_limits<double>::quiet_NaN();
        double const grey[] = {-1024.5, nan, -0.0, std::numeric_limits<double>::denorm_min()};
        for (int i = 0; i < 4; ++i) {
            MMeshElement const& e = *mesh->GetElement(static_cast<std::uint64_t>(i));
            masks.GetGreyValueMask()->SetValue(e, grey[i]);
            masks.GetMaterialMask()->SetValue(e, i == 3 ? -1 : i);
            masks.GetVolumeIndexMask()->SetValue(
                e, MMeshElementMaskContainer::VolumeList(static_cast<std::size_t>(i), {65535, 0.1 * i}));
            masks.GetOriginalIDs()->SetValue(e, 100 - i);
            masks.GetVisibleMask()->SetValue(e, i % 2 == 0);
            MMeshSurfaceTriangleList faces;
            for (unsigned char k = 0; k < i; ++k)
                faces.Add(k, static_cast<unsigned char>(3 - k));
            masks.GetSurfaceMask()->SetValue(e, faces);
        }
        for (auto node = mesh->BeginPoint(); node != mesh->EndPoint(); ++node)
            mesh->GetPointMasks()->GetOriginalIDs()->SetValue(*node, 1000 - node->GetIndex());
    }

    void AddMaterials() {
        MMeshMaterial material; // one with nothing set
        for (unsigned int const id : {1u, 0u, 0xFFFFFFF0u}) {
            material.SetID(id);
            mesh->GetMaterialCatalog().AddMaterial(material);
            material.SetDensity(1.0 / 3.0);
            material.SetEmodulus(1.0e308);
            material.SetPoisson(std::numeric_limits<double>::quiet_NaN());
            material.SetColor(0x12345678);
        }
    }

    void AddFields() {
        auto const add = [this](std::wstring const& id, std::wstring const& label, double default_value) {
            fields.push_back(
                std::make_unique<MMeshNamedScalarMaskPoints>(id, label, mesh.get(), default_value));
        };
        add(L"temperature", L"Temperatur [\u00b0C]", 36.6);
        add(L"", L"", std::numeric_limits<double>::quiet_NaN());
        MDataMask<MMeshPoint, double>& values = *fields.front();
        values.SetValue(*mesh->GetRandomPoint(3), std::numeric_limits<double>::infinity());
    }
};
