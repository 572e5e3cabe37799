#pragma once

#include "TestMeshes.h"

#include <random>
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

inline std::vector<Element> Random(std::mt19937& random, std::size_t count) {
    std::vector<Element> elements(count);
    for (Element& e : elements) {
        e.grey = (static_cast<double>(random() % 4000) - 1000.0) / 8.0;
        e.sub_volume = random() % 4;
        e.material = static_cast<int>(random() % 6) - 1;
        for (auto volumes = random() % 4; volumes > 0; --volumes)
            e.volumes.push_back(
                {static_cast<unsigned short>(random() % 6), 0.25 * static_cast<double>(random() % 4)});
    }
    return elements;
}

inline std::vector<bool> RandomFlags(std::mt19937& random) {
    std::vector<bool> flags(random() % 7);
    for (std::size_t i = 0; i < flags.size(); ++i)
        flags[i] = random() % 3 != 0;
    return flags;
}

// The material index, in plain loops.
inline unsigned int MaterialIndex(VolumeList const& list, std::vector<bool> const& flags) {
    std::size_t chosen = 65535;
    double largest = -1.0;
    for (auto const& [volume, weight] : list)
        if (volume < flags.size() && flags.at(volume) && weight > largest) {
            chosen = volume;
            largest = weight;
        }
    unsigned int index = 0;
    for (std::size_t i = 0; i < chosen && i < flags.size(); ++i)
        index += flags[i] ? 1 : 0;
    return index;
}

} // namespace GreyMesh
