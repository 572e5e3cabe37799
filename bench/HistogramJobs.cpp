// SPDX-License-Identifier: BSD-3-Clause
// The histogram of ten million values.
#include "Jobs.h"

#include <KetSDK/Mesh/geometry/QualityHistogram.h>

#include <vtkDoubleArray.h>
#include <vtkIdTypeArray.h>
#include <vtkImageAccumulate.h>
#include <vtkImageData.h>
#include <vtkImageHistogram.h>
#include <vtkNew.h>
#include <vtkPointData.h>

#include <memory>
#include <random>

namespace Bench {
namespace {

constexpr unsigned int Partitions = 64; // a power of two: the same bins however their bounds are computed

std::vector<double>& Values() {
    static std::vector<double> values = [] {
        std::mt19937 random(7);
        std::uniform_real_distribution<double> uniform(0.0, 1.0);
        std::vector<double> made(10'000'000);
        for (double& value : made)
            value = uniform(random);
        return made;
    }();
    return values;
}

void AddOurs() {
    auto const histogram = std::make_shared<QualityHistogram<int, double>>();
    AddWayOn(
        "values_1e7", Values, "histogram", Ours,
        [histogram](std::vector<double> const& values) {
            *histogram = {};
            histogram->AddValues(values);
            histogram->SetMaxRange(1.0);
        },
        [histogram](std::vector<double> const&) {
            histogram->SetNbPartitions(Partitions);
            histogram->ComputeHistogram(IsParallel());
            return histogram;
        },
        [](auto&, auto const& result) {
            return std::optional<double>(result->GetPartitionCount(Partitions / 2));
        });
}

// The values as an image of one row.
vtkSmartPointer<vtkImageData> MakeImage(std::vector<double>& values) {
    auto const count = static_cast<vtkIdType>(values.size());
    vtkNew<vtkDoubleArray> array;
    array->SetArray(values.data(), count, 1);
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(static_cast<int>(count), 1, 1);
    image->GetPointData()->SetScalars(array);
    return image;
}

} // namespace

void AddHistogramJobs() {
    AddOurs();
    AddWayOn(
        "values_1e7", Values, "histogram", "vtkImageAccumulate", NothingToPrepare,
        [](std::vector<double>& values) {
            auto filter = vtkSmartPointer<vtkImageAccumulate>::New();
            filter->SetInputData(MakeImage(values));
            filter->SetComponentExtent(0, Partitions - 1, 0, 0, 0, 0);
            filter->SetComponentSpacing(1.0 / Partitions, 0.0, 0.0);
            filter->Update();
            return filter;
        },
        [](auto&, auto const& filter) {
            return std::optional(filter->GetOutput()->GetScalarComponentAsDouble(Partitions / 2, 0, 0, 0));
        });
    AddWayOn(
        "values_1e7", Values, "histogram", "vtkImageHistogram", NothingToPrepare,
        [](std::vector<double>& values) {
            auto filter = vtkSmartPointer<vtkImageHistogram>::New();
            filter->SetInputData(MakeImage(values));
            filter->AutomaticBinningOff();
            filter->GenerateHistogramImageOff();
            filter->SetNumberOfBins(Partitions);
            filter->SetBinOrigin(0.5 / Partitions); // the middle of the first
            filter->SetBinSpacing(1.0 / Partitions);
            filter->SetNumberOfThreads(static_cast<int>(IsParallel() ? NumberOfThreads() : 1));
            filter->SetEnableSMP(false);
            filter->Update();
            return filter;
        },
        [](auto&, auto const& filter) {
            return std::optional(static_cast<double>(filter->GetHistogram()->GetValue(Partitions / 2)));
        });
}

} // namespace Bench
