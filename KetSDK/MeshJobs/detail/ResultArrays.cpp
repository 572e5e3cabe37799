// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/ResultArrays.h>

#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

namespace {

using Values = std::vector<double>;

struct ResultName {
    char const* field; // of the solver
    wchar_t const* array;
};
// In the order in which a model gets them. The solver's shear components come in our order: XY, YZ, XZ.
constexpr ResultName ResultNames[] = {
    {"DISP", L"displacement"}, {"STRESS", L"stress"}, {"TOSTRAIN", L"strain"}, {"FORC", L"force"}};

// von Mises, Mechanik der festen Körper im plastisch-deformablen Zustand, 1913.
double VonMises(double const* s) {
    double const normal =
        (s[0] - s[1]) * (s[0] - s[1]) + (s[1] - s[2]) * (s[1] - s[2]) + (s[2] - s[0]) * (s[2] - s[0]);
    double const shear = s[3] * s[3] + s[4] * s[4] + s[5] * s[5];
    return std::sqrt(normal / 2.0 + 3.0 * shear);
}

Values VonMisesOf(Values const& stress) {
    Values values(stress.size() / 6);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = VonMises(&stress[6 * i]);
    return values;
}

// The largest of the values that are numbers.
double Largest(std::size_t count, auto const& value) {
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i)
        largest = std::max(largest, std::isnan(value(i)) ? 0.0 : value(i));
    return largest;
}

} // namespace

MeshSolver::FrdResult ReadResults(Model const& model, std::filesystem::path const& file,
                                  NodeIndex const& index_of, std::optional<int> step,
                                  Context const& context) {
    MMeshBase const& mesh = *model.mesh;
    MeshSolver::FrdOptions options;
    options.nodes = static_cast<std::size_t>(mesh.NumberOfPoints());
    options.index_of = index_of;
    options.position_of = [&mesh](std::size_t i) {
        auto const p = mesh.GetRandomPoint(i)->GetPosition();
        return std::array<double, 3>{p[0], p[1], p[2]};
    };
    options.step = step;
    options.progress = context.progress;
    MeshSolver::FrdResult result;
    WithThreads(context, [&](bool parallel) {
        options.parallel = parallel;
        result = MeshSolver::ReadFrd(file, options);
    });
    return result;
}

void WarnOfNodesWithout(MeshSolver::FrdResult const& result, Model const& model, std::string const& file,
                        Context const& context) {
    std::vector<char> misses(static_cast<std::size_t>(model.mesh->NumberOfPoints()), false);
    for (auto const& [name, field] : result.fields)
        for (std::size_t i = 0; i < misses.size(); ++i)
            misses[i] = misses[i] || std::isnan(field.values[i * field.components]);
    std::vector<char> counts(misses.size(), false);
    for (MMeshElement const& e : std::as_const(*model.mesh).Elements())
        for (unsigned int k = 0; k < e.GetNodeCount(); ++k) {
            auto const index = static_cast<std::size_t>(e.GetNode(k)->GetIndex());
            counts[index] = misses[index];
        }
    if (auto const count = std::ranges::count(counts, true))
        context.Warn(file + ": " + std::to_string(count) + " of the " + std::to_string(misses.size()) +
                     " nodes of " + NameOf(model) +
                     " have no values in it, or not all, and get NaN; is it the result of that mesh?");
}

ResultsReport TakeResultArrays(Model& model, MeshSolver::FrdResult& result) {
    ResultsReport report;
    report.step = result.step;
    report.time = result.time;
    auto const add = [&](wchar_t const* name, std::uint32_t components, Values values) {
        SetArray(model.arrays, {name, MMeshArray::OnNodes, components, L"float64", std::move(values)});
        report.arrays.push_back(MeshVTK::ToUtf8(name));
    };
    for (auto const& [field, array] : ResultNames) {
        auto const found = result.fields.find(field);
        if (found == result.fields.end())
            continue;
        Values& values = found->second.values;
        if (array == std::wstring_view(L"displacement"))
            report.max_displacement = Largest(values.size() / 3, [&values](std::size_t i) {
                return std::hypot(values[3 * i], values[3 * i + 1], values[3 * i + 2]);
            });
        if (array == std::wstring_view(L"stress")) {
            Values von_mises = VonMisesOf(values);
            report.max_von_mises =
                Largest(von_mises.size(), [&von_mises](std::size_t i) { return von_mises[i]; });
            add(array, found->second.components, std::move(values));
            add(L"von_mises", 1, std::move(von_mises));
            continue;
        }
        add(array, found->second.components, std::move(values));
    }
    return report;
}

} // namespace KetSDK::MeshJobs::Detail
