// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Merge.h>

#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>
#include <KetSDK/MeshJobs/detail/FieldArrays.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/Limits.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <variant>

namespace KetSDK::MeshJobs {

namespace {

bool HasMaterials(MMeshBase const& mesh) {
    auto const* const materials = std::as_const(*mesh.GetElementMasks()).GetMaterialMask();
    return materials && std::ranges::any_of(mesh.Elements(), [materials](MMeshElement const& e) {
               return materials->GetValue(e) != materials->GetDefaultValue();
           });
}

void WarnOfMissing(Model const& without, std::string const& what, std::string const& filling,
                   Context const& context) {
    context.Warn(Detail::NameOf(without) + " has no " + what + ", which the other mesh has; " + filling);
}

// An array like another one, for so many nodes or elements, without values.
MMeshArray EmptyLike(MMeshArray const& array, std::size_t rows) {
    MMeshArray empty{array.name, array.place, array.components, array.type, {}};
    if (HoldsStrings(array)) {
        auto& bytes = empty.values.emplace<std::vector<std::int32_t>>(
            1, static_cast<std::int32_t>(ValuesPerRow(array)));
        bytes.resize(1 + rows * ValuesPerRow(array), 0);
    } else if (std::holds_alternative<std::vector<double>>(array.values)) {
        empty.values = std::vector<double>(rows * array.components, std::numeric_limits<double>::quiet_NaN());
    } else {
        empty.values = std::vector<std::int32_t>(rows * array.components, 0);
    }
    return empty;
}

// Gives a model's list the arrays on nodes and elements that only the other one has; warns of each.
void AddMissing(std::vector<MMeshArray>& arrays, std::vector<MMeshArray> const& others, Model const& model,
                Context const& context) {
    for (MMeshArray const& other : others) {
        MMeshArray::Place const place = PlaceOfValues(other);
        auto const is_same = [&](MMeshArray const& array) {
            return array.name == other.name && PlaceOfValues(array) == place;
        };
        if (place == MMeshArray::OnMesh || other.name.empty() || std::ranges::any_of(arrays, is_same))
            continue;
        bool const on_nodes = place == MMeshArray::OnNodes;
        arrays.push_back(
            EmptyLike(other, static_cast<std::size_t>(on_nodes ? model.mesh->NumberOfPoints()
                                                               : model.mesh->NumberOfElements())));
        bool const floating = std::holds_alternative<std::vector<double>>(other.values);
        WarnOfMissing(model,
                      std::string(on_nodes ? "point" : "cell") + " array \"" + MeshVTK::ToUtf8(other.name) +
                          "\"",
                      std::string("its ") + (on_nodes ? "nodes" : "elements") + " get " +
                          (floating              ? "NaN"
                           : HoldsStrings(other) ? "empty words"
                                                 : "0"),
                      context);
    }
}

void WarnOfMaterials(Model const& first, Model const& second, Context const& context) {
    bool const in_first = HasMaterials(*first.mesh);
    if (in_first != HasMaterials(*second.mesh))
        WarnOfMissing(in_first ? second : first, "materials",
                      "its elements have no material: NaN in the arrays density, emodulus and poisson",
                      context);
}

// Gives the elements of the model without grey values none, which is NaN; the mesh holds `first`'s elements
// and then those that came from `second`.
void FillGreyValues(Model const& first, Model const& second, bool in_first, std::uint64_t of_first,
                    Context const& context) {
    if (in_first == second.mesh->HasGreyValues())
        return;
    auto& grey = *first.mesh->GetElementMasks()->GetGreyValueMask();
    std::uint64_t index = 0;
    for (MMeshElement const& e : first.mesh->Elements())
        if ((index++ < of_first) != in_first)
            grey.SetValue(e, std::numeric_limits<double>::quiet_NaN());
    WarnOfMissing(in_first ? second : first, "cell array \"grey\"", "its elements get NaN", context);
}

} // namespace

MergeResult Merge(Model& first, Model const& second, Context const& context) {
    if (first.mesh == second.mesh)
        throw Error("a mesh cannot be merged with itself; a copy of it can");
    if (std::string const why_not = Detail::WhyTooMany(
            first.mesh->Elements().GetNumElements() + second.mesh->Elements().GetNumElements(), "elements");
        !why_not.empty())
        throw FileError(second.file, why_not);
    std::vector<MMeshArray> arrays_of_first = Detail::ArraysWithFields(first);
    std::vector<MMeshArray> arrays_of_second = Detail::ArraysWithFields(second);
    AddMissing(arrays_of_first, arrays_of_second, first, context);
    AddMissing(arrays_of_second, arrays_of_first, second, context);
    WarnOfMaterials(first, second, context);
    bool const has_grey = first.mesh->HasGreyValues();
    auto const elements_of_first = static_cast<std::uint64_t>(first.mesh->NumberOfElements());
    context.ThrowIfCancelled();
    Detail::SecondInFrameOfFirst const in_one_frame(first, second, context);
    MMeshOrigins of_first, of_second;
    MMeshMergeVolumesOperator merge(first.mesh.get(), second.mesh.get());
    merge.SetOrigins(&of_first, &of_second);
    if (!Detail::Operate(merge, context))
        throw FileError(second.file, "it could not be added to " + Detail::NameOf(first));
    FillGreyValues(first, second, has_grey, elements_of_first, context);
    first.fields.clear(); // they have no values on the nodes that were added
    first.arrays = CarryArrays(
        std::array{MParentArrays{&arrays_of_first, &of_first}, MParentArrays{&arrays_of_second, &of_second}});
    MergeResult result;
    result.elements = static_cast<std::uint64_t>(first.mesh->NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(first.mesh->NumberOfPoints());
    result.joined_nodes = of_second.joined_nodes;
    result.duplicate_elements = Detail::WarnOfDuplicateElements(
        *first.mesh, Detail::NameOf(first) + " and " + Detail::NameOf(second), context);
    result.subvolumes = ReportSubVolumes(*first.mesh);
    return result;
}

} // namespace KetSDK::MeshJobs
