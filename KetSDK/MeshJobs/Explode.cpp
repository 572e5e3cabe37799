// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Explode.h>

#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/Limits.h>
#include <KetSDK/MeshJobs/detail/OriginArrays.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/SurfaceArrays.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

// The names of the arrays of numbers on elements, as a message lists them.
std::string ListCellArrays(std::vector<MMeshArray> const& arrays) {
    std::string list;
    for (MMeshArray const& array : arrays)
        if (PlaceOfValues(array) == MMeshArray::OnElements && !array.name.empty())
            list += (list.empty() ? "" : ", ") + MeshVTK::ToUtf8(array.name);
    return list.empty() ? "there are no cell arrays" : "the cell arrays are " + list;
}

// One number for each element of the model.
std::vector<double> ReadNumbers(Model const& model, std::vector<MMeshArray> const& arrays,
                                std::string const& name) {
    auto const found =
        std::ranges::find_if(arrays, [wide = MeshVTK::FromUtf8(name)](MMeshArray const& array) {
            return PlaceOfValues(array) == MMeshArray::OnElements && array.name == wide;
        });
    if (found == arrays.end())
        throw FileError(model.file, "there is no cell array \"" + name + "\"; " + ListCellArrays(arrays));
    std::string const quoted = "the array \"" + name + "\"";
    if (HoldsStrings(*found))
        throw FileError(model.file, quoted + " must hold numbers");
    if (std::uint32_t const components = ValuesPerRow(*found); components != 1)
        throw FileError(model.file,
                        quoted + " has " + std::to_string(components) + " components instead of one");
    if (NumberOfRows(*found) != static_cast<std::size_t>(model.mesh->NumberOfElements()))
        throw FileError(model.file, quoted + " has " + std::to_string(NumberOfRows(*found)) +
                                        " values instead of " +
                                        std::to_string(model.mesh->NumberOfElements()));
    return ColumnOf(*found, 0);
}

// Sets the mask for the elements to take, and counts them.
std::uint64_t Select(Model const& model, std::vector<MMeshArray> const& arrays, std::string const& name,
                     MDataMask<MMeshElement, bool>& selection) {
    std::vector<double> const numbers =
        name.empty() ? std::vector<double>() : ReadNumbers(model, arrays, name);
    std::uint64_t taken = 0;
    std::size_t index = 0;
    for (MMeshElement const& e : model.mesh->Elements()) {
        bool const is_taken = name.empty() || numbers[index++] != 0.0;
        if (is_taken)
            selection.SetValue(e, true);
        taken += is_taken;
    }
    if (!name.empty() && taken == 0)
        throw FileError(model.file,
                        "the cell array \"" + name + "\" is 0 on every element, so none would be taken");
    return taken;
}

} // namespace

ExplodeResult Explode(Model const& model, ExplodeOptions const& options, Context const& context) {
    RequireValid(options);
    RequireTetrahedra(model);
    std::vector<MMeshArray> const arrays = Detail::AllArrays(model);
    MDataMask<MMeshElement, bool> selection(false);
    model.mesh->GetElementMasks()->RegisterMask(&selection);
    ExplodeResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.elements_taken = Select(model, arrays, options.select, selection);
    if (std::string const why_not = Detail::WhyTooMany(4 * result.elements_taken, "triangles");
        !why_not.empty())
        throw FileError(model.file, why_not);
    result.taken_by_corners = CountTenNodeTetrahedra(*model.mesh);

    result.surface.surfaces = std::make_unique<MStlBase>();
    result.surface.frame = model.frame;
    MStlBase& stl = *result.surface.surfaces;
    stl.SetKeepNeighbourInfo(false); // nobody asks for it
    stl.AddSurface(nullptr)->SetName(L"Elements");
    MSurfaceOrigins origins;
    MMeshConvertToStlOperator convert;
    convert.SetStl(&stl);
    convert.SetEpsilon(options.shrink);
    convert.SetSelectionMask(&selection);
    convert.SetOrigins(&origins);
    Detail::RunOperator(convert, model, "its elements could not be turned into triangles", context);
    Detail::AddOriginArrays(result.surface, origins);
    context.ThrowIfCancelled();
    Detail::CarryElementArrays(arrays, origins, result.surface);
    context.ThrowIfCancelled();
    for (MMeshArray const& array : arrays)
        if (PlaceOfValues(array) == MMeshArray::OnMesh)
            result.surface.arrays.push_back(array);
    result.triangles = stl.NumberOfTriangles();
    result.points = stl.NumberOfPoints();
    double const kept = 1.0 - options.shrink;
    result.volume_factor = kept * kept * kept;
    return result;
}

void RequireValid(ExplodeOptions const& options) {
    if (!(options.shrink >= 0.0 && options.shrink < 1.0))
        throw Error("--shrink: " + FormatGeneral(options.shrink) +
                    " is no number from 0 (elements stay as they are) to below 1 (they become points)");
}

} // namespace KetSDK::MeshJobs
