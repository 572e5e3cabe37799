// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/DisjointSets.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeSelection.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

using Number = DisjointSets::Number; // of an element

// Which elements of one sub-volume are connected; an element stands for its component when it is the first of
// it.
template <bool WithQuadrilaterals>
void Connect(MMeshBase const& mesh, bool parallel, DisjointSets& components) {
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    FaceMatcher<WithQuadrilaterals> matcher(
        mesh, parallel, [numbers](MMeshElement const& e) { return numbers ? numbers->GetValue(e) : -1; });
    matcher.ForEachConnectionAtOnce([&components](Number a, Number b) { components.Join(a, b); });
}

DisjointSets FindComponents(MMeshBase const& mesh, bool parallel) {
    DisjointSets components(static_cast<std::size_t>(mesh.NumberOfElements()), parallel);
    if (HasTrianglesOnly(mesh.Elements(), parallel))
        Connect<false>(mesh, parallel, components);
    else
        Connect<true>(mesh, parallel, components);
    return components;
}

// A component by its first element, and its size.
using Component = std::pair<Number, std::uint64_t>;

// The components of each sub-volume in the set, the largest first, and those of equal size in the order of
// the mesh.
std::map<MMeshSubVolume*, std::vector<Component>>
ComponentsOf(MMeshBase& mesh, std::span<Number const> component_of,
             std::set<MMeshSubVolume const*> const& sub_volumes) {
    std::vector<std::uint64_t> sizes(component_of.size(), 0);
    DisjointSets::ForEachRun(component_of, [&sizes](Number component, std::size_t begin, std::size_t end) {
        sizes[component] += end - begin;
    });
    std::map<MMeshSubVolume*, std::vector<Component>> components_of;
    for (std::size_t i = 0; i < sizes.size(); ++i)
        if (MMeshSubVolume* const sub_volume =
                sizes[i] > 0 ? mesh.GetSubVolume(*mesh.GetElement(i)) : nullptr)
            if (sub_volumes.empty() || sub_volumes.contains(sub_volume))
                components_of[sub_volume].emplace_back(static_cast<Number>(i), sizes[i]);
    for (auto& [sub_volume, list] : components_of)
        std::ranges::stable_sort(list, std::ranges::greater{}, &Component::second);
    return components_of;
}

} // namespace

MMeshSplitVolumesOperator::~MMeshSplitVolumesOperator() = default;

bool MMeshSplitVolumesOperator::Operate() {
    m_nb_new = 0;
    MMeshBase* const mesh = GetMesh();
    if (!mesh || !AreAllOf(*mesh, m_sub_volumes))
        return false;
    DisjointSets components = FindComponents(*mesh, GetParallel());
    std::span<Number const> const component_of = components.FirstOfEach();
    auto const components_of = ComponentsOf(*mesh, component_of, m_sub_volumes);

    // Where the elements go that do not stay, by the first element of their component.
    std::vector<MMeshSubVolume*> target(static_cast<std::size_t>(mesh->NumberOfElements()), nullptr);
    std::uint64_t const listed = mesh->NumberOfSubVolumes();
    for (std::uint64_t i = 0; i < listed; ++i) {
        MMeshSubVolume& whole = **(mesh->BeginSubVolume() + static_cast<std::ptrdiff_t>(i));
        auto const found = components_of.find(&whole);
        for (std::size_t k = 1; found != components_of.end() && k < found->second.size(); ++k) {
            MMeshSubVolume* const split = mesh->AddSubVolume();
            split->SetName(whole.GetName() + L" " + std::to_wstring(k + 1));
            split->SetMatID(whole.GetMatID());
            target[found->second[k].first] = split;
        }
    }
    DisjointSets::ForEachRun(component_of, [&](Number component, std::size_t begin, std::size_t end) {
        MMeshSubVolume* const split = target[component];
        for (std::size_t i = begin; split && i < end; ++i) {
            MMeshElement& e = *mesh->GetElement(i);
            mesh->GetSubVolume(e)->MoveElement(e, split);
        }
    });
    m_nb_new = mesh->NumberOfSubVolumes() - listed;
    return true;
}
