// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/ImageSampling.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/images/ElementSampler.h>
#include <KetSDK/MeshVTK/images/ImageFrame.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkPointData.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

// Elements whose sums are taken together: always the same ones, so that sums have always the same bits.
constexpr std::uint64_t StepSize = 256;

void CheckOptions(SamplingOptions const& options) {
    if (options.order < 1 || options.order > Detail::HighestRuleOrder)
        throw Error("means are taken with an order from 1 to " + std::to_string(Detail::HighestRuleOrder) +
                    ", not " + std::to_string(options.order));
    if (!(options.unit.millimetres > 0.0))
        throw Error("the unit of the image must be a length above zero");
}

vtkDataArray& ValuesOf(vtkImageData& image) {
    vtkDataArray* const values = image.GetPointData()->GetScalars();
    if (!values || values->GetNumberOfTuples() != image.GetNumberOfPoints())
        throw Error("the image has no values at its points");
    if (values->GetNumberOfComponents() != 1)
        throw Error("the image has " + std::to_string(values->GetNumberOfComponents()) +
                    " values for each voxel; one is needed");
    return *values;
}

// Values of elements first to last - 1, written to the indices of these elements.
using StepFunction = std::function<Detail::SamplingSums(std::uint64_t first, std::uint64_t last)>;

void CheckKinds(MMeshBase const& mesh, Detail::SamplingSums const& sums) {
    if (sums.unknown != Detail::SamplingSums::NoElement)
        throw Error("element " + std::to_string(sums.unknown) + " has " +
                    std::to_string(mesh.GetElement(sums.unknown)->GetNodeCount()) +
                    " nodes, which is no known kind");
}

// Takes the values of all elements; the sums are added in the order of the steps.
Detail::SamplingSums SampleAll(MMeshBase const& mesh, bool parallel, StepFunction const& sample,
                               std::shared_ptr<Common::IProgressDelegate> const& progress) {
    Support::WorkSteps const steps{
        .items = mesh.Elements().GetNumElements(), .step = StepSize, .parallel = parallel};
    Common::IncrementalProgressReporter reporter(progress, "Sampling image", steps.NumberOfSteps(), true);
    Detail::SamplingSums all;
    auto const compute = [&sample](std::uint64_t first, std::uint64_t last, Detail::SamplingSums& sums) {
        sums = sample(first, last);
    };
    auto const commit = [&](std::uint64_t, std::uint64_t, Detail::SamplingSums const& sums) {
        CheckKinds(mesh, sums);
        all.Add(sums);
        ++reporter;
        return !reporter.IsCancelled();
    };
    if (!Support::ComputeSteps<Detail::SamplingSums>(steps, compute, commit))
        throw Cancelled();
    return all;
}

SamplingReport MakeReport(MMeshBase const& mesh, Detail::ImageFrame const& frame,
                          Detail::SamplingSums const& sums) {
    SamplingReport report;
    report.elements = mesh.Elements().GetNumElements();
    report.outside = sums.outside;
    report.fallbacks = sums.fallbacks;
    report.not_finite = sums.not_finite;
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    report.smallest = sums.values > 0 ? sums.smallest : none;
    report.largest = sums.values > 0 ? sums.largest : none;
    report.mean = sums.values > 0 ? sums.sum / static_cast<double>(sums.values) : none;
    report.outside_volume = sums.volume > 0.0 ? sums.outside_volume / sums.volume : 0.0;
    auto const& box = mesh.GetBoundingBox();
    for (std::size_t i = 0; i < 3 && !box.IsEmpty(); ++i) {
        report.mesh_box[i] = box.GetMin()[i] / Common::MInternalUnits::Get();
        report.mesh_box[i + 3] = box.GetMax()[i] / Common::MInternalUnits::Get();
    }
    report.image_box = frame.Box();
    return report;
}

// Values of all elements, written before they are read.
using GreyValues = std::vector<double, Support::MUninitializedAllocator<double>>;

void StoreGreyValues(MMeshBase& mesh, GreyValues const& values, bool parallel) {
    MDataMask<MMeshElement, double>& mask = *mesh.GetElementMasks()->GetGreyValueMask();
    Support::ComputeSteps({.items = values.size(), .step = 4096, .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              auto element = mesh.Elements().begin() + static_cast<std::ptrdiff_t>(first);
                              for (std::uint64_t i = first; i < last; ++i, ++element)
                                  mask.SetValue(*element, values[i]);
                          });
    mesh.SetGreyValuesFlag(true);
}

} // namespace

SamplingReport SampleImage(MMeshBase& mesh, vtkImageData& image, SamplingOptions const& options,
                           std::shared_ptr<Common::IProgressDelegate> const& progress) {
    CheckOptions(options);
    vtkDataArray& voxels = ValuesOf(image);
    Detail::ImageFrame const frame(image, options.unit);
    bool const with_law = options.law.value && options.law_values;
    SamplingOptions own = options;
    if (!with_law)
        own.law = {};
    std::uint64_t const count = mesh.Elements().GetNumElements();
    GreyValues grey(static_cast<std::size_t>(count));
    std::vector<double> law(with_law ? grey.size() : 0);
    StepFunction sample;
    auto const use = [&]<typename T>(T const* values) {
        sample = [&, sampler = Detail::ElementSampler<T>(values, frame, own)](std::uint64_t first,
                                                                              std::uint64_t last) {
            return sampler.Sample(mesh, first, last, grey.data() + first,
                                  with_law ? law.data() + first : nullptr);
        };
    };
    switch (voxels.GetDataType()) {
        vtkTemplateMacro(use(static_cast<VTK_TT const*>(voxels.GetVoidPointer(0))));
    default:
        throw Error(std::string("voxels of type ") + voxels.GetDataTypeAsString() + " cannot be sampled");
    }
    SamplingReport const report =
        MakeReport(mesh, frame, SampleAll(mesh, options.parallel, sample, progress));
    StoreGreyValues(mesh, grey, options.parallel);
    if (with_law)
        options.law_values->swap(law);
    return report;
}

} // namespace KetSDK::MeshVTK
