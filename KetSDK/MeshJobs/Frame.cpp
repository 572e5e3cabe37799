// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Frame.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <variant>

namespace KetSDK::MeshJobs {

namespace {

constexpr std::size_t VectorComponents = 3;

// Whether every number of the array has one with the other sign of the same type.
bool HasSigns(MMeshArray const& array) {
    if (std::holds_alternative<std::vector<double>>(array.values))
        return true;
    auto const& values = std::get<std::vector<std::int32_t>>(array.values);
    std::wstring const type = WordsOfType(array).front();
    std::int32_t const lowest = type == L"int8"    ? std::numeric_limits<std::int8_t>::min()
                                : type == L"int16" ? std::numeric_limits<std::int16_t>::min()
                                                   : std::numeric_limits<std::int32_t>::min();
    bool const has_sign = type.starts_with(L"int") || type.starts_with(L"long") || type == L"id";
    return has_sign && std::ranges::find(values, lowest) == values.end();
}

bool HoldsVectors(MMeshArray const& array) {
    return array.place != MMeshArray::OnMesh && !HoldsStrings(array) && !HoldsHalves(array) &&
           array.components == VectorComponents && HasSigns(array);
}

// The arrays of those names. Throws FileError for a name that none has, and for one that holds no vectors.
std::vector<MMeshArray*> FindVectors(std::vector<MMeshArray>& arrays, std::vector<std::string> const& names,
                                     std::string const& file) {
    std::vector<MMeshArray*> found;
    for (std::string const& name : std::set<std::string>(names.begin(), names.end())) {
        std::size_t const before = found.size();
        for (MMeshArray& array : arrays)
            if (MeshVTK::ToUtf8(array.name) == name && PlaceOfValues(array) != MMeshArray::OnMesh)
                found.push_back(&array);
        if (found.size() == before)
            throw FileError(file, "there is no array \"" + name +
                                      "\" with rows of three numbers on its nodes or elements (--vectors)");
        if (!std::all_of(found.begin() + static_cast<std::ptrdiff_t>(before), found.end(),
                         [](MMeshArray const* array) { return HoldsVectors(*array); }))
            throw FileError(file, "the array \"" + name +
                                      "\" holds no vectors: rows of three numbers with a sign are needed "
                                      "(--vectors)");
    }
    return found;
}

void TurnVectors(MMeshArray& array) {
    std::visit(
        [](auto& values) {
            for (std::size_t i = 0; i + VectorComponents <= values.size(); i += VectorComponents) {
                values[i] = -values[i];
                values[i + 1] = -values[i + 1];
            }
        },
        array.values);
}

// `turn` changes the coordinates.
FrameResult Turn(auto& object, FrameOptions const& options, Context const& context, auto const& turn) {
    if (!object.frame)
        throw FileError(object.file, "it does not say the frame of its coordinates; --frame RAS or --frame "
                                     "LPS says it");
    std::vector<MMeshArray*> const vectors = FindVectors(object.arrays, options.vectors, object.file);
    FrameResult const result{*object.frame, *object.frame != options.to};
    if (!result.turned)
        return result;
    context.ThrowIfCancelled();
    turn();
    for (MMeshArray* const array : vectors)
        TurnVectors(*array);
    object.frame = options.to;
    return result;
}

} // namespace

FrameResult ToFrame(Model& model, FrameOptions const& options, Context const& context) {
    return Turn(model, options, context, [&model] { Detail::TurnMesh(model); });
}

FrameResult ToFrame(SurfaceModel& surface, FrameOptions const& options, Context const& context) {
    return Turn(surface, options, context, [&surface] { surface.surfaces = Detail::TurnedCopy(surface); });
}

} // namespace KetSDK::MeshJobs
