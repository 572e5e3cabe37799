#include <KetSDK/MeshVTK/ImageSampling.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/images/ElementSampler.h>
#include <KetSDK/MeshVTK/images/ImageFrame.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkPointData.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

// Elements whose sums are taken together: always the same ones, so that sums have always the same bits.
constexpr std::uint64_t StepSize = 256;
// Steps between two looks at the delegate when several threads work on them.
constexpr std::uint64_t WindowSteps = 64;

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

void CheckKinds(MMeshBase const& mesh) {
    std::uint64_t number = 0;
    for (MMeshElement const& e : mesh.Elements()) {
        if (MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()) == 0)
            throw Error("element " + std::to_string(number) + " has " + std::to_string(e.GetNodeCount()) +
                        " nodes, which is no known kind");
        ++number;
    }
}

// Values of elements first to last - 1, written to the places of these elements.
using StepFunction = std::function<Detail::SamplingSums(std::uint64_t first, std::uint64_t last)>;

// Goes through all elements step by step; the sums are added in the order of the steps.
class Run {
public:
    Run(std::uint64_t elements, StepFunction const& sample,
        std::shared_ptr<Common::IProgressDelegate> const& progress)
        : m_elements(elements)
        , m_steps((elements + StepSize - 1) / StepSize)
        , m_sample(sample)
        , m_reporter(progress, "Sampling image", m_steps, true) {}

    Detail::SamplingSums Sequentially() {
        for (std::uint64_t step = 0; step < m_steps; ++step)
            _Commit(_Sample(step));
        return m_sums;
    }

    Detail::SamplingSums InParallel() {
        tbb::task_group_context context;
        std::array<Detail::SamplingSums, WindowSteps> window;
        for (std::uint64_t first = 0; first < m_steps; first += WindowSteps) {
            std::uint64_t const last = std::min(first + WindowSteps, m_steps);
            tbb::parallel_for(
                tbb::blocked_range<std::uint64_t>(first, last),
                [&](tbb::blocked_range<std::uint64_t> const& range) {
                    for (std::uint64_t step = range.begin(); step < range.end(); ++step)
                        window[static_cast<std::size_t>(step - first)] = _Sample(step);
                },
                context);
            for (std::uint64_t step = first; step < last; ++step)
                _Commit(window[static_cast<std::size_t>(step - first)]);
        }
        return m_sums;
    }

private:
    Detail::SamplingSums _Sample(std::uint64_t step) const {
        return m_sample(step * StepSize, std::min((step + 1) * StepSize, m_elements));
    }
    void _Commit(Detail::SamplingSums const& sums) {
        m_sums.Add(sums);
        ++m_reporter;
        if (m_reporter.IsCancelled())
            throw Cancelled();
    }

    std::uint64_t m_elements;
    std::uint64_t m_steps;
    StepFunction const& m_sample;
    Common::IncrementalProgressReporter m_reporter;
    Detail::SamplingSums m_sums;
};

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

void StoreGreyValues(MMeshBase& mesh, std::vector<double> const& values) {
    MDataMask<MMeshElement, double>& mask = *mesh.GetElementMasks()->GetGreyValueMask();
    auto value = values.begin();
    for (MMeshElement const& e : mesh.Elements())
        mask.SetValue(e, *value++);
    mesh.SetGreyValuesFlag(true);
}

} // namespace

SamplingReport SampleImage(MMeshBase& mesh, vtkImageData& image, SamplingOptions const& options,
                           std::shared_ptr<Common::IProgressDelegate> const& progress) {
    CheckOptions(options);
    vtkDataArray& voxels = ValuesOf(image);
    Detail::ImageFrame const frame(image, options.unit);
    CheckKinds(mesh);
    bool const with_law = options.law.value && options.law_values;
    SamplingOptions own = options;
    if (!with_law)
        own.law = {};
    std::uint64_t const count = mesh.Elements().GetNumElements();
    std::vector<double> grey(static_cast<std::size_t>(count));
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
    SamplingReport report;
    {
        Run run(count, sample, progress);
        report = MakeReport(mesh, frame, options.parallel ? run.InParallel() : run.Sequentially());
    }
    StoreGreyValues(mesh, grey);
    if (with_law)
        options.law_values->swap(law);
    return report;
}

} // namespace KetSDK::MeshVTK
