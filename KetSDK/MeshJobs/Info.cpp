// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Info.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/VolumeOf.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

std::optional<std::array<double, 2>> RangeOf(MMeshArray const& array) {
    std::optional<std::array<double, 2>> range;
    for (std::uint32_t i = 0; i < ValuesPerRow(array); ++i)
        for (double const value : ColumnOf(array, i)) {
            if (!std::isfinite(value))
                continue;
            if (!range)
                range = {value, value};
            range = {std::min((*range)[0], value), std::max((*range)[1], value)};
        }
    return range;
}

ArrayReport Report(MMeshArray const& array) {
    bool const is_text = HoldsStrings(array);
    ArrayReport report;
    report.where = MeshVTK::ToUtf8(PlaceWord(PlaceOfValues(array)));
    report.name = MeshVTK::ToUtf8(array.name);
    report.type = is_text ? "string" : MeshVTK::ToUtf8(WordsOfType(array).front());
    report.components = ValuesPerRow(array);
    if (!is_text)
        report.range = RangeOf(array);
    return report;
}

// Those that a file has, each once.
std::vector<ArrayReport> ReportArrays(Model const& model) {
    std::vector<ArrayReport> reports;
    auto const add = [&reports](MMeshArray const& array) {
        ArrayReport report = Report(array);
        auto const is_same = [&report](ArrayReport const& other) {
            return other.where == report.where && other.name == report.name;
        };
        if (std::ranges::none_of(reports, is_same))
            reports.push_back(std::move(report));
    };
    std::ranges::for_each(model.arrays, add);
    std::ranges::for_each(MeshVTK::ArraysOfMesh(*model.mesh), add);
    auto const order = [](ArrayReport const& report) {
        return report.where == "cells" ? 0 : report.where == "points" ? 1 : 2;
    };
    std::ranges::stable_sort(reports, {}, order);
    return reports;
}

struct NamedUnit {
    char const* name; // as --unit takes it
    char const* words;
    double millimetres;
};
constexpr NamedUnit Units[] = {
    {"m", "metres", 1000.0}, {"mm", "millimetres", 1.0}, {"um", "micrometres", 0.001}};

// Where bodies, bones and samples of them end.
constexpr double ShortestBox = 1.0;
constexpr double LongestBox = 3000.0;

void DoubtUnit(Model const& model, std::array<double, 6> const& box, MeshVTK::LengthUnit unit,
               Context const& context) {
    double const length = std::max({box[3] - box[0], box[4] - box[1], box[5] - box[2]});
    auto const is_likely = [](double l) { return l >= ShortestBox && l <= LongestBox; };
    if (is_likely(length) || IsMeshFileName(model.file)) // .kmesh files are in mm by themselves
        return;
    for (NamedUnit const& other : Units)
        if (double const l = length / unit.millimetres * other.millimetres; is_likely(l)) {
            context.Warn(Detail::NameOf(model) + ": the mesh is " + FormatGeneral(length) +
                         " mm long; if the lengths in the file are in " + other.words + ", --unit " +
                         other.name + " makes it " + FormatGeneral(l) + " mm");
            return;
        }
}

} // namespace

InfoResult Info(Model const& model, InfoOptions const& options, Context const& context) {
    MMeshBase const& mesh = *model.mesh;
    InfoResult result;
    result.elements = static_cast<std::uint64_t>(mesh.NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(mesh.NumberOfPoints());
    result.kinds = CountKinds(mesh);
    result.subvolumes = ReportSubVolumes(mesh);
    result.volume = Detail::VolumeOf(mesh);
    result.box = BoxOf(mesh);
    result.frame = model.frame;
    result.rounding = model.rounding;
    result.memory = static_cast<std::uint64_t>(mesh.MemoryUsed());
    context.ThrowIfCancelled();
    result.arrays = ReportArrays(model);
    DoubtUnit(model, result.box, options.unit, context);
    Detail::WarnOfDoubleNodes(model, context);
    context.ThrowIfCancelled();
    return result;
}

double VolumeOf(MMeshBase const& mesh) {
    return Detail::VolumeOf(mesh);
}

} // namespace KetSDK::MeshJobs
