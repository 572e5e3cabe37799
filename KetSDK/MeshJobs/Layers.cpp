// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Layers.h>

#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>

#include <cstddef>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

// The layer of each element, in their order.
std::vector<std::int32_t> NumbersOf(MMeshBase const& mesh, MMeshOperatorLayers const& layers) {
    std::vector<std::int32_t> numbers;
    numbers.reserve(static_cast<std::size_t>(mesh.NumberOfElements()));
    for (MMeshElement const& e : mesh.Elements())
        numbers.push_back(layers.GetLayerMask()->GetValue(e));
    return numbers;
}

// By number; at 0 what is in none.
std::vector<LayerReport> Report(MMeshBase const& mesh, std::vector<std::int32_t> const& numbers) {
    std::vector<LayerReport> reports(1);
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t index) {
        auto const number = static_cast<std::size_t>(numbers[static_cast<std::size_t>(index)]);
        if (number >= reports.size())
            reports.resize(number + 1);
        ++reports[number].elements;
        reports[number].volume += GetCurvedElementVolume(e);
    });
    return reports;
}

} // namespace

LayersResult Layers(Model& model, LayersOptions const& options, Context const& context) {
    MMeshOperatorLayers layers;
    layers.SetNbLayers(options.count);
    Detail::RunOperator(layers, model, "its layers could not be numbered", context);
    std::vector<std::int32_t> numbers = NumbersOf(*model.mesh, layers);
    LayersResult result;
    result.layers = Report(*model.mesh, numbers);
    result.inside = result.layers.front();
    result.layers.erase(result.layers.begin());
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.elements_in_layers = static_cast<std::uint64_t>(layers.GetNbLayersElements());
    context.ThrowIfCancelled();
    SetArray(model.arrays, {L"layer", MMeshArray::OnElements, 1, L"int32", std::move(numbers)});
    return result;
}

} // namespace KetSDK::MeshJobs
