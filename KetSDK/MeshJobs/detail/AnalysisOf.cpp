// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/AnalysisOf.h>

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshSolver/Error.h>

#include <algorithm>
#include <variant>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

namespace {

// The numbers of an array on elements; null when there is none of one component.
std::vector<double> const* ValuesOf(Model const& model, wchar_t const* name, std::vector<double>& storage) {
    MMeshArray const* const array = FindArray(model.arrays, name, MMeshArray::OnElements);
    if (!array || array->components != 1)
        return nullptr;
    if (auto const* const numbers = std::get_if<std::vector<double>>(&array->values))
        return numbers->size() == static_cast<std::size_t>(model.mesh->NumberOfElements()) ? numbers
                                                                                           : nullptr;
    auto const& whole = std::get<std::vector<std::int32_t>>(array->values);
    storage.assign(whole.begin(), whole.end());
    return storage.size() == static_cast<std::size_t>(model.mesh->NumberOfElements()) ? &storage : nullptr;
}

} // namespace

MeshSolver::Analysis AnalysisOf(Model const& model, AnalysisOptions const& options, Context const& context) {
    MeshSolver::AnalysisInput input;
    input.mesh = model.mesh.get();
    for (SubVolumeReport const& subvolume : ReportSubVolumes(*model.mesh))
        input.subvolumes.push_back(subvolume.name);
    if (model.frame)
        input.space = Mesh::FrameWord(*model.frame);
    input.materials = options.materials;
    std::array<std::vector<double>, 3> storage;
    input.values = {ValuesOf(model, L"emodulus", storage[0]), ValuesOf(model, L"poisson", storage[1]),
                    ValuesOf(model, L"density", storage[2])};
    if (options.load_case)
        input.load_case = options.load_case->content;
    input.original_ids = options.original_ids;
    input.warn = [&](std::string const& message) { context.Warn(NameOf(model) + ": " + message); };
    context.ThrowIfCancelled();
    WarnOfDoubleNodes(model, context);
    WarnOfDuplicateElements(*model.mesh, NameOf(model), context);
    try {
        MeshSolver::Analysis analysis;
        WithThreads(context, [&](bool parallel) {
            input.parallel = parallel;
            analysis = MeshSolver::MakeAnalysis(input);
        });
        return analysis;
    } catch (MeshSolver::CaseError const& e) {
        throw FileError(options.load_case->file, e.what());
    } catch (MeshSolver::Error const& e) {
        throw FileError(model.file, e.what());
    }
}

} // namespace KetSDK::MeshJobs::Detail
