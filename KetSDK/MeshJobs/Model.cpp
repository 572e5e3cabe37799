// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Model.h>

#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/SubVolumeReports.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

auto FindIn(auto& arrays, std::wstring const& name, MMeshArray::Place place) {
    return std::ranges::find_if(
        arrays, [&](MMeshArray const& array) { return array.place == place && array.name == name; });
}

} // namespace

void SetArray(std::vector<MMeshArray>& arrays, MMeshArray array) {
    auto const found = FindIn(arrays, array.name, array.place);
    if (found == arrays.end())
        arrays.push_back(std::move(array));
    else
        *found = std::move(array);
}

MMeshArray const* FindArray(std::vector<MMeshArray> const& arrays, std::wstring const& name,
                            MMeshArray::Place place) {
    auto const found = FindIn(arrays, name, place);
    return found == arrays.end() ? nullptr : &*found;
}

std::vector<KindCount> CountKinds(MMeshBase const& mesh) {
    std::vector<KindCount> kinds = {{"tet4", 4, 0}, {"tet10", 10, 0}, {"hex8", 8, 0}, {"wedge6", 6, 0}};
    for (MMeshElement const& e : mesh.Elements())
        for (KindCount& kind : kinds)
            kind.elements += kind.nodes == e.GetNodeCount();
    return kinds;
}

std::uint64_t CountTenNodeTetrahedra(MMeshBase const& mesh) {
    auto const has_ten = [](MMeshElement const& e) { return e.GetNodeCount() == 10; };
    return static_cast<std::uint64_t>(std::ranges::count_if(mesh.Elements(), has_ten));
}

std::uint64_t CountSolids(MMeshBase const& mesh) {
    auto const is_solid = [](MMeshElement const& e) {
        return e.GetNodeCount() == 6 || e.GetNodeCount() == 8;
    };
    return static_cast<std::uint64_t>(std::ranges::count_if(mesh.Elements(), is_solid));
}

void RequireTetrahedra(Model const& model) {
    std::string others;
    for (KindCount const& kind : CountKinds(*model.mesh))
        if (kind.nodes != 4 && kind.nodes != 10 && kind.elements > 0)
            others += (others.empty() ? "" : ", ") + std::to_string(kind.elements) + " " + kind.name;
    if (!others.empty())
        throw FileError(model.file, "only tetrahedra can be used here, but there are other elements (" +
                                        others +
                                        "); cut them into tetrahedra first (ketmesh convert --to tet4)");
}

std::vector<SubVolumeReport> Detail::ReportSubVolumes(MMeshBase const& mesh, bool parallel) {
    // One pass for all: a mesh that was split can have hundreds.
    std::vector<double> volumes(static_cast<std::size_t>(mesh.NumberOfSubVolumes()), 0.0);
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    using Volumes = std::vector<std::pair<std::size_t, double>>; // of elements, with their sub-volumes
    Support::ComputeSteps<Volumes>(
        {.items = mesh.Elements().GetNumElements(), .step = 2048, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Volumes& found) {
            found.resize(static_cast<std::size_t>(last - first));
            mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t i) {
                found[static_cast<std::size_t>(i - first)] = {
                    static_cast<std::size_t>(numbers ? numbers->GetValue(e) : -1), GetCurvedElementVolume(e)};
            });
        },
        [&](std::uint64_t, std::uint64_t, Volumes const& found) {
            for (auto const& [number, volume] : found)
                if (number < volumes.size())
                    volumes[number] += volume;
            return true;
        });
    std::vector<SubVolumeReport> reports;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        reports.push_back({(*it)->GetID(), MeshVTK::ToUtf8((*it)->GetName()), (*it)->GetNbElements(),
                           volumes[reports.size()]});
    return reports;
}

std::vector<SubVolumeReport> ReportSubVolumes(MMeshBase const& mesh) {
    return Detail::ReportSubVolumes(mesh, false);
}

std::vector<MMeshSubVolume*> FindSubVolumes(Model const& model, std::vector<std::string> const& names) {
    std::set<std::string> const wanted(names.begin(), names.end());
    std::set<std::string> missing = wanted;
    std::vector<MMeshSubVolume*> found;
    std::string known;
    for (auto it = model.mesh->BeginSubVolume(); it != model.mesh->EndSubVolume(); ++it) {
        std::string const name = MeshVTK::ToUtf8((*it)->GetName());
        known += (known.empty() ? "" : ", ") + name;
        if (wanted.contains(name))
            found.push_back(it->get());
        missing.erase(name);
    }
    for (std::string const& name : names)
        if (missing.contains(name))
            throw FileError(model.file,
                            "there is no sub-volume \"" + name + "\"; the sub-volumes are " + known);
    return found;
}

std::array<double, 6> BoxOf(MMeshBase const& mesh) {
    std::unique_ptr<MMeshBase::BoundingBoxDouble> const box(mesh.GetBoundingBoxDouble());
    auto const low = box->GetMin();
    auto const high = box->GetMax();
    return {low[0], low[1], low[2], high[0], high[1], high[2]};
}

} // namespace KetSDK::MeshJobs
