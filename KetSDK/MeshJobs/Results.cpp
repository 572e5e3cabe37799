// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Results.h>

#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/ResultArrays.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <unordered_map>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

// A deck gives nodes their original identifiers.
Detail::NodeIndex IndexOfOriginals(MMeshBase const& mesh) {
    std::unordered_map<std::int32_t, std::size_t> index_of;
    auto const& ids = *std::as_const(*mesh.GetPointMasks()).GetOriginalIDs();
    for (std::size_t i = 0; i < static_cast<std::size_t>(mesh.NumberOfPoints()); ++i)
        index_of.try_emplace(ids.GetValue(*mesh.GetRandomPoint(i)), i);
    return [index_of = std::move(index_of)](std::int32_t id) {
        auto const found = index_of.find(id);
        return found == index_of.end() ? std::nullopt : std::optional(found->second);
    };
}

} // namespace

ResultsReport Results(Model& model, std::string const& file, ResultsOptions const& options,
                      Context const& context) {
    bool const is_deck = MeshVTK::LowerCaseEnding(model.file) == ".inp" &&
                         std::as_const(*model.mesh->GetPointMasks()).GetOriginalIDs();
    Detail::NodeIndex const index_of = is_deck ? IndexOfOriginals(*model.mesh) : [](std::int32_t id) {
        return std::optional(static_cast<std::size_t>(id) - 1);
    };
    return Detail::ReadingFile(file, context, [&] {
        MeshVTK::CheckInputFile(file, ".frd");
        MeshSolver::FrdResult result = Detail::ReadResults(model, file, index_of, options.step, context);
        Detail::WarnOfNodesWithout(result, model, file, context);
        context.ThrowIfCancelled();
        return Detail::TakeResultArrays(model, result);
    });
}

} // namespace KetSDK::MeshJobs
