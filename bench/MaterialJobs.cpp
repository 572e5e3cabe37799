// SPDX-License-Identifier: BSD-3-Clause
// Grey values of elements from an image, intervals of them, and the materials that follow.
#include "Jobs.h"

#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>
#include <KetSDK/MeshVTK/ImageSampling.h>

#include <vtkDoubleArray.h>
#include <vtkImageData.h>
#include <vtkImageProbeFilter.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkProbeFilter.h>

#include <array>
#include <cmath>
#include <memory>

namespace Bench {
namespace {

using KetSDK::MeshVTK::SamplingMode;

constexpr unsigned int Bins = 64;

// An image of about the size of a CT of the head around the mesh, and the centroids of the elements. Of
// the mesh used last only.
struct Scene {
    std::string mesh;
    vtkSmartPointer<vtkImageData> image;
    vtkSmartPointer<vtkPolyData> centroids;
};

vtkSmartPointer<vtkImageData> MakeImage(double const (&box)[6]) {
    constexpr int size[3] = {256, 256, 108};
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(size[0], size[1], size[2]);
    image->SetOrigin(box[0], box[2], box[4]);
    image->SetSpacing((box[1] - box[0]) / (size[0] - 1), (box[3] - box[2]) / (size[1] - 1),
                      (box[5] - box[4]) / (size[2] - 1));
    vtkNew<vtkDoubleArray> values;
    values->SetName("grey");
    values->SetNumberOfValues(image->GetNumberOfPoints());
    vtkIdType voxel = 0;
    for (int k = 0; k < size[2]; ++k)
        for (int j = 0; j < size[1]; ++j)
            for (int i = 0; i < size[0]; ++i)
                values->SetValue(voxel++, 1000.0 + 500.0 * std::sin(0.05 * i) * std::cos(0.04 * j) + k);
    image->GetPointData()->SetScalars(values);
    return image;
}

vtkSmartPointer<vtkPolyData> MakeCentroids(vtkUnstructuredGrid& grid) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(grid.GetNumberOfCells());
    for (vtkIdType cell = 0; cell < grid.GetNumberOfCells(); ++cell) {
        vtkIdType count = 0;
        vtkIdType const* ids = nullptr;
        grid.GetCellPoints(cell, count, ids);
        double centroid[3] = {0.0, 0.0, 0.0};
        for (vtkIdType i = 0; i < count; ++i)
            for (int c = 0; c < 3; ++c)
                centroid[c] += 0.25 * grid.GetPoint(ids[i])[c];
        points->SetPoint(cell, centroid);
    }
    auto centroids = vtkSmartPointer<vtkPolyData>::New();
    centroids->SetPoints(points);
    return centroids;
}

Scene& UseScene(Case& c) {
    static Scene scene;
    if (scene.mesh != c.name) {
        double box[6];
        c.Grid()->GetBounds(box);
        scene = {c.name, MakeImage(box), MakeCentroids(*c.Grid())};
        c.MakeFor(true);
    }
    return scene;
}

void MakeScene(Case& c) {
    UseScene(c);
}

double SumOfGreyValues(MMeshBase& mesh) {
    auto const& grey = *mesh.GetElementMasks()->GetGreyValueMask();
    double sum = 0.0;
    for (MMeshElement const& e : mesh.Elements())
        sum += grey.GetValue(e);
    return sum;
}

void AddSampling(Recipe const& recipe, char const* job, SamplingMode mode) {
    AddWay(
        recipe, job, Ours, MakeScene,
        [mode](Case& c) {
            KetSDK::MeshVTK::SamplingOptions options;
            options.mode = mode;
            options.parallel = IsParallel();
            return KetSDK::MeshVTK::SampleImage(c.Mesh(), *UseScene(c).image, options, nullptr);
        },
        [](Case& c, auto const&) { return std::optional(SumOfGreyValues(c.Mesh())); });
}

template <typename Filter, typename Answer>
void AddProbe(Recipe const& recipe, char const* name, Answer answer) {
    AddWay(
        recipe, "sample_centroid", name, MakeScene,
        [](Case& c) {
            auto filter = vtkSmartPointer<Filter>::New();
            filter->SetInputData(UseScene(c).centroids);
            filter->SetSourceData(UseScene(c).image);
            filter->Update();
            return filter;
        },
        answer);
}

void AddProbes(Recipe const& recipe) {
    AddProbe<vtkProbeFilter>(recipe, "vtkProbeFilter", [](Case&, auto const& filter) {
        vtkDataArray& values = *filter->GetOutput()->GetPointData()->GetArray("grey");
        double sum = 0.0;
        for (vtkIdType i = 0; i < values.GetNumberOfTuples(); ++i)
            sum += values.GetTuple1(i);
        return std::optional(sum);
    });
    // Its sum is that of the others to 1e-4 only, which is not compared.
    AddProbe<vtkImageProbeFilter>(recipe, "vtkImageProbeFilter", NoAnswer);
}

// Grey values that differ from element to element.
void MakeGreyValues(Case& c) {
    auto& grey = *c.Mesh().GetElementMasks()->GetGreyValueMask();
    double value = 0.0;
    for (MMeshElement const& e : c.Mesh().Elements())
        grey.SetValue(e, value = std::fmod(value + 997.0, 3000.0));
    c.Mesh().SetGreyValuesFlag(true);
}

MHUList MakeIntervals(Case& c) {
    MHUList list;
    list.CreateUniform(&c.Mesh(), Bins, 0.1, 0.001, 1.0, 0.0, 0.0, MHUList::MeshUnit, nullptr, IsParallel());
    return list;
}

// A material for each interval, and the lookup that finds it.
struct Materials {
    explicit Materials(Case& c) {
        MHUList list = MakeIntervals(c);
        for (auto it = list.Begin(); it != list.End(); ++it) {
            std::uint64_t const index = it->first;
            MMeshMaterial material;
            material.SetID(static_cast<unsigned int>(index) + 1);
            material.SetDensity(list.GetValue(index).value);
            catalog.AddMaterial(material);
            lookup.AddMaterial(0, material.GetID(), list.GetStart(index));
        }
        lookup.Sort();
        settings.SetMatCatalog(&catalog);
        settings.SetGrey2dens(&lookup);
        settings.SetAssignType(MMeshOperatorSettingsMaterialAssign::GreyValueInFirstVolume);
    }

    MMaterialCatalog catalog;
    MDensityLookup lookup;
    MMeshOperatorSettingsMaterialAssign settings;
};

void AddAssignment(Recipe const& recipe) {
    auto const materials = std::make_shared<std::unique_ptr<Materials>>();
    AddWay(
        recipe, "assign_by_grey", Ours,
        [materials](Case& c) {
            MakeGreyValues(c);
            *materials = std::make_unique<Materials>(c);
        },
        [materials](Case& c) {
            MMeshOperatorMaterialAssign assign;
            assign.SetMesh(&c.Mesh());
            assign.SetSettings(&(*materials)->settings);
            assign.SetParallel(IsParallel());
            return assign.Operate();
        },
        NoAnswer);
}

} // namespace

void AddMaterialJobs(Recipe const& recipe) {
    AddSampling(recipe, "sample_centroid", SamplingMode::Centroid);
    AddProbes(recipe);
    AddSampling(recipe, "sample_mean", SamplingMode::Mean);
    AddSampling(recipe, "sample_voxels", SamplingMode::Voxels);
    AddWay(recipe, "intervals_uniform", Ours, MakeGreyValues, MakeIntervals, NoAnswer);
    AddAssignment(recipe);
}

} // namespace Bench
