// SPDX-License-Identifier: BSD-3-Clause
// Regions of a mesh, which triangle of a surface lies on which face, and moving the mesh onto a surface.
#include "Jobs.h"

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkConnectivityFilter.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace Bench {
namespace {

void ForgetNeighbors(Case& c) {
    c.ForgetNeighbors();
}

// Gives the mesh the sub-volumes back that it was made with.
void RestoreSubVolumes(Case& c) {
    MMeshBase& mesh = c.Mesh();
    mesh.ClearSubVolumes();
    std::vector<MMeshSubVolume*> sub_volumes;
    std::size_t i = 0;
    for (MMeshElement& e : mesh.Elements()) {
        auto const place = static_cast<std::size_t>(c.elements.sub_volumes[i++]);
        while (sub_volumes.size() <= place)
            sub_volumes.push_back(mesh.AddSubVolume());
        sub_volumes[place]->IncludeElement(e);
    }
}

// The surface of the mesh and of its sub-volumes, made before the time counts.
std::shared_ptr<MStlBase> Extract(Case& c) {
    auto const stl = std::make_shared<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&c.Mesh());
    extract.SetStl(stl.get());
    extract.SetExtractInterfacesBetweenSubVolumes(true);
    extract.SetParallel(IsParallel());
    extract.Operate();
    return stl;
}

template <typename Make>
void AddMapping(Recipe const& recipe, std::string const& job, Make make) {
    auto const stl = std::make_shared<std::shared_ptr<MStlBase>>();
    AddWay(
        recipe, job, Ours, [stl](Case& c) { *stl = Extract(c); },
        [stl, make](Case& c) {
            auto mapper = make(stl->get(), &c.Mesh());
            mapper->SetParallel(IsParallel());
            mapper->Map();
            return mapper;
        },
        [stl](Case&, auto const& mapper) {
            double matched = 0.0;
            for (MStlTriangle const& triangle : (*stl)->Triangles())
                matched += mapper->GetElement(&triangle) != nullptr;
            stl->reset();
            return std::optional(matched);
        });
}

// Puts the nodes beside the places that they were made at, by up to 0.015 model units along each axis.
void PlaceNodes(Case& c, bool beside) {
    MLong i = 0;
    for (auto const& [x, y, z] : c.elements.points) {
        auto const off = [&](MLong factor) { return beside ? i * factor % 1999 - 999 : 0; };
        MMeshPoint& p = *c.Mesh().GetRandomPoint(static_cast<std::uint64_t>(i++));
        p.x = x + off(17);
        p.y = y + off(31);
        p.z = z + off(53);
    }
    c.Mesh().NodesMoved();
}

void AddProjection(Recipe const& recipe) {
    auto const stl = std::make_shared<std::shared_ptr<MStlBase>>();
    AddWay(
        recipe, "project", Ours,
        [stl](Case& c) {
            *stl = Extract(c);
            PlaceNodes(c, true);
        },
        [stl](Case& c) {
            MMeshProjectTetOnStlOperator project;
            project.SetMesh(&c.Mesh());
            project.SetStl(stl->get());
            project.SetDistance(1.0);
            project.SetInterfaces(true);
            project.SetParallel(IsParallel());
            project.Operate();
            return static_cast<double>(project.GetNbMoved());
        },
        [stl](Case& c, double moved) {
            PlaceNodes(c, false);
            stl->reset();
            return std::optional(moved);
        });
}

} // namespace

void AddLabelJobs(Recipe const& recipe) {
    AddWay(
        recipe, "label_regions", Ours, ForgetNeighbors,
        [](Case& c) {
            MStlBase nothing;
            MMeshOperatorLabelSubVolumes label;
            label.SetMesh(&c.Mesh());
            label.SetStl(&nothing);
            label.SetParallel(IsParallel());
            label.Operate();
            return label.GetNbVolumes();
        },
        [](Case& c, auto) {
            RestoreSubVolumes(c);
            return std::optional<double>();
        });
    // Parts that are joined by an edge or a point alone are one to VTK, so the counts can differ.
    AddWay(
        recipe, "label_regions", "vtkConnectivityFilter", ForgetNeighbors,
        [](Case& c) {
            auto filter = vtkSmartPointer<vtkConnectivityFilter>::New();
            filter->SetInputData(c.Grid());
            filter->SetExtractionModeToAllRegions();
            filter->ColorRegionsOn();
            filter->Update();
            return filter;
        },
        NoAnswer);
    if (!recipe.IsOfLinearTetrahedra())
        return;
    AddProjection(recipe);
    AddMapping(recipe, "map_exact", [](MStlBase* stl, MMeshBase* mesh) {
        return std::make_shared<MMeshCorrespondenceMapperExact>(stl, mesh);
    });
    AddMapping(recipe, "map_projection", [](MStlBase* stl, MMeshBase* mesh) {
        return std::make_shared<MMeshCorrespondenceMapperProjection>(stl, mesh, 0.001);
    });
}

} // namespace Bench
