// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "TestMeshes.h"

#include <vector>

// Meshes of which only what is known of the elements matters.
namespace GreyMesh {

using VolumeList = MMeshElementMaskContainer::VolumeList;

struct Element {
    double grey = 0.0;
    unsigned int sub_volume = 0;
    VolumeList volumes = {};
    int material = -1;
};

inline void Fill(MMeshBase& mesh, std::vector<Element> const& elements) {
    std::vector<MMeshPoint*> const nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
    mesh.SetGreyValuesFlag(true);
    MMeshElementMaskContainer& masks = *mesh.GetElementMasks();
    for (Element const& element : elements) {
        while (mesh.NumberOfSubVolumes() <= element.sub_volume)
            mesh.AddSubVolume();
        std::vector<MMeshPoint*> copy = nodes;
        MMeshElement const& e = *mesh.BeginSubVolume()[element.sub_volume]->AddElement(4, copy.data());
        masks.GetGreyValueMask()->SetValue(e, element.grey);
        masks.GetVolumeIndexMask()->SetValue(e, element.volumes);
        masks.GetMaterialMask()->SetValue(e, element.material);
    }
}

} // namespace GreyMesh
