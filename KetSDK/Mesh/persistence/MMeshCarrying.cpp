// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>

#include <KetSDK/Mesh/materials/detail/BuiltInMasks.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/detail/ArrayRows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

using namespace KetSDK::Mesh::Detail;

namespace {

// Carries the masks of elements, or of nodes; for_each(visit) calls visit(object, what it came from).
template <typename C, typename ForEach>
void CarryValues(C const& from, C& to, ForEach const& for_each) {
    ForEachBuiltInMask<C>([&](auto const& row) {
        auto const* const source = row.Find(from);
        if (!source || (row.flags & Carried) == 0)
            return;
        auto& values = *row.Make(to);
        for_each([&](auto const& object, auto const& origin) {
            values.SetValue(object, source->GetValue(origin));
        });
    });
}

// The rows of a parent that the elements, or the nodes, of a mesh have.
std::vector<MMeshOrigins::Node> RowsOf(MMeshOrigins const& origins, MMeshArray::Place place) {
    if (place == MMeshArray::OnNodes)
        return origins.nodes;
    std::vector<MMeshOrigins::Node> rows;
    rows.reserve(origins.elements.size());
    for (MLong const element : origins.elements)
        rows.push_back({element, element});
    return rows;
}

// Of those, the ones that are a mean of several rows.
MeanRows const& MeansOf(MMeshOrigins const& origins, MMeshArray::Place place) {
    static MeanRows const none;
    return place == MMeshArray::OnNodes ? origins.inside : none;
}

MMeshArray const* Find(std::vector<MMeshArray> const& arrays, MMeshArray const& like) {
    auto const found = std::ranges::find_if(arrays, [&like](MMeshArray const& array) {
        return array.name == like.name && PlaceOfValues(array) == PlaceOfValues(like);
    });
    return found == arrays.end() ? nullptr : &*found;
}

// The rows of each parent, by place: made when they are first needed.
class ParentRows {
public:
    explicit ParentRows(std::span<MParentArrays const> parents)
        : m_parents(parents) {}

    std::vector<MMeshOrigins::Node> const& Of(std::size_t parent, MMeshArray::Place place) {
        auto& rows = place == MMeshArray::OnNodes ? m_nodes : m_elements;
        rows.resize(m_parents.size());
        if (!rows[parent])
            rows[parent] = RowsOf(*m_parents[parent].origins, place);
        return *rows[parent];
    }

private:
    using Rows = std::vector<std::optional<std::vector<MMeshOrigins::Node>>>; // by parent

    std::span<MParentArrays const> m_parents;
    Rows m_nodes;
    Rows m_elements;
};

// Nothing when not all parents have an array like that, or one that goes with it.
std::optional<MMeshArray> CarryFromAll(MMeshArray const& first, std::span<MParentArrays const> parents,
                                       ParentRows& rows) {
    std::vector<MMeshArray const*> sources;
    for (MParentArrays const& parent : parents)
        if (MMeshArray const* const array = Find(*parent.arrays, first); array && GoTogether(first, *array))
            sources.push_back(array);
    if (first.name.empty() || sources.size() < parents.size())
        return std::nullopt;
    ArrayRows values(sources);
    for (std::size_t i = 0; i < sources.size(); ++i)
        values.Append(*sources[i], rows.Of(i, PlaceOfValues(first)),
                      MeansOf(*parents[i].origins, PlaceOfValues(first)));
    return values.Take();
}

} // namespace

void CarryMasks(MMeshBase const& parent, MMeshOrigins const& origins, MMeshBase& mesh) {
    mesh.SetMaterialCatalog(parent.GetMaterialCatalog());
    mesh.SetGreyValuesFlag(parent.HasGreyValues());
    CarryValues(*parent.GetElementMasks(), *mesh.GetElementMasks(), [&](auto const& visit) {
        auto origin = origins.elements.begin();
        for (MMeshElement const& e : mesh.Elements())
            if (MLong const index = *origin++; index >= 0)
                visit(e, *parent.GetElement(static_cast<std::uint64_t>(index)));
    });
    CarryValues(*parent.GetPointMasks(), *mesh.GetPointMasks(), [&](auto const& visit) {
        auto origin = origins.nodes.begin();
        for (MMeshPointIterator node = mesh.BeginPoint(); node != mesh.EndPoint(); ++node)
            if (auto const [a, b] = *origin++; a == b && a >= 0)
                visit(*node, *parent.GetRandomPoint(static_cast<std::uint64_t>(a)));
    });
}

std::vector<MMeshArray> CarryArrays(std::vector<MMeshArray> const& arrays, MMeshOrigins const& origins) {
    MParentArrays const parent{&arrays, &origins};
    ParentRows rows({&parent, 1});
    std::vector<MMeshArray> carried;
    for (MMeshArray const& array : arrays)
        if (MMeshArray::Place const place = PlaceOfValues(array); place == MMeshArray::OnMesh)
            carried.push_back(array);
        else
            carried.push_back(GatherRows(array, rows.Of(0, place), MeansOf(origins, place)));
    return carried;
}

std::vector<MMeshArray> CarryArrays(std::span<MParentArrays const> parents) {
    std::vector<MMeshArray> carried;
    if (parents.empty())
        return carried;
    ParentRows rows(parents);
    for (MMeshArray const& array : *parents.front().arrays)
        if (PlaceOfValues(array) == MMeshArray::OnMesh)
            carried.push_back(array);
        else if (std::optional<MMeshArray> made = CarryFromAll(array, parents, rows))
            carried.push_back(std::move(*made));
    return carried;
}

std::vector<MMeshArray> CarryArrays(std::vector<MMeshArray> const& arrays, MSurfaceOrigins const& origins) {
    std::vector<MMeshOrigins::Node> rows;
    rows.reserve(origins.triangles.size());
    for (MSurfaceOrigins::Triangle const& triangle : origins.triangles)
        rows.push_back({triangle.element, triangle.element});
    std::vector<MMeshArray> carried;
    for (MMeshArray const& array : arrays)
        if (PlaceOfValues(array) == MMeshArray::OnElements)
            carried.push_back(GatherRows(array, rows, {}));
    return carried;
}
