// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshTopology.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/DisjointSets.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Mesh/operators/detail/ParallelSort.h>
#include <KetSDK/Support/MHash.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace KetSDK::Mesh {

using namespace Detail;

namespace {

using Number = DisjointSets::Number;

Number NumberOf(MMeshPoint const& node) {
    return static_cast<Number>(node.GetIndex());
}

std::vector<bool> FindUsedNodes(MMeshBase const& mesh) {
    std::vector<bool> used(static_cast<std::size_t>(mesh.NumberOfPoints()), false);
    mesh.Elements().ForEachWithNodes([&used](MMeshElement const& e, std::uint64_t) {
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            used[NumberOf(*e.GetNode(i))] = true;
    });
    return used;
}

// By node the number of its position: positions are numbered in the order in which nodes come to them. Where
// `counts(node)` is false, the node has none.
template <typename Counts>
std::vector<Number> NumberPositions(MMeshBase const& mesh, Number& count, Counts const& counts) {
    MMeshPointContainer found;
    found.CreateCoordinateIndex();
    std::vector<Number> numbers;
    numbers.reserve(static_cast<std::size_t>(mesh.NumberOfPoints()));
    for (MMeshPointConstIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        numbers.push_back(counts(*p) ? NumberOf(found.AddPoint(p->x, p->y, p->z)) : 0);
    count = static_cast<Number>(found.GetNumPoints());
    return numbers;
}

// The positions of an element's nodes, in ascending order, and then none.
using Key = std::array<Number, 10>;

Key KeyOf(MMeshElement const& e, std::vector<Number> const& positions) {
    Key key;
    key.fill(std::numeric_limits<Number>::max());
    for (unsigned int i = 0; i < std::min<unsigned int>(e.GetNodeCount(), key.size()); ++i)
        key[i] = positions[NumberOf(*e.GetNode(i))];
    std::ranges::sort(key);
    return key;
}

std::uint64_t HashOf(Key const& key) {
    std::uint64_t hash = 0;
    for (Number const position : key)
        hash = Support::HashOfPair(hash, position);
    return hash;
}

std::uint64_t CountDuplicates(MMeshBase const& mesh, std::vector<Number> const& positions, bool parallel) {
    struct Entry {
        std::uint64_t hash;
        Number element;
    };
    std::vector<Entry> entries(static_cast<std::size_t>(mesh.NumberOfElements()));
    Support::ComputeSteps(
        {.items = entries.size(), .step = 4096, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last) {
            mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
                entries[number] = {HashOf(KeyOf(e, positions)), static_cast<Number>(number)};
            });
        });
    auto const comes_before = [](Entry const& a, Entry const& b) {
        return a.hash != b.hash ? a.hash < b.hash : a.element < b.element;
    };
    Sort(entries, comes_before, parallel);
    std::uint64_t count = 0;
    std::vector<Key> different; // those of one hash, of which there is one but by accident
    for (std::size_t i = 0; i < entries.size(); ++i) {
        bool const is_new = i == 0 || entries[i].hash != entries[i - 1].hash;
        if (is_new && (i + 1 == entries.size() || entries[i + 1].hash != entries[i].hash))
            continue;
        if (is_new)
            different.clear();
        Key const key = KeyOf(*mesh.GetElement(entries[i].element), positions);
        if (std::ranges::find(different, key) != different.end())
            ++count;
        else
            different.push_back(key);
    }
    return count;
}

template <bool WithQuadrilaterals>
void LookAtFaces(MMeshBase const& mesh, bool parallel, MMeshTopology& topology) {
    DisjointSets parts(static_cast<std::size_t>(mesh.NumberOfElements()), parallel);
    FaceMatcher<WithQuadrilaterals> matcher(mesh, parallel, OneGroup());
    std::atomic<std::uint64_t> faces_of_three = 0;
    matcher.ForEachFaceAtOnce([&](std::span<Number const> elements) {
        if (elements.size() > 2)
            ++faces_of_three;
        for (Number const element : elements.subspan(1))
            parts.Join(elements.front(), element);
    });
    topology.faces_of_three = faces_of_three;
    topology.parts = parts.CountSets();
}

} // namespace

MMeshTopology AnalyzeTopology(MMeshBase const& mesh, bool parallel) {
    MMeshTopology topology;
    Number positions = 0;
    std::vector<Number> const position_of =
        NumberPositions(mesh, positions, [](MMeshPoint const&) { return true; });
    topology.duplicate_nodes = position_of.size() - positions;
    topology.duplicate_elements = CountDuplicates(mesh, position_of, parallel);
    std::vector<bool> const used = FindUsedNodes(mesh);
    topology.unused_nodes = static_cast<std::uint64_t>(std::count(used.begin(), used.end(), false));
    if (HasTrianglesOnly(mesh.Elements(), parallel))
        LookAtFaces<false>(mesh, parallel, topology);
    else
        LookAtFaces<true>(mesh, parallel, topology);
    return topology;
}

std::uint64_t CountDuplicateElements(MMeshBase const& mesh, bool parallel) {
    Number positions = 0;
    return CountDuplicates(mesh, NumberPositions(mesh, positions, [](MMeshPoint const&) { return true; }),
                           parallel);
}

std::uint64_t CountDoubleNodes(MMeshBase const& mesh) {
    std::vector<bool> const used = FindUsedNodes(mesh);
    Number positions = 0;
    NumberPositions(mesh, positions, [&used](MMeshPoint const& node) { return used[NumberOf(node)]; });
    return static_cast<std::uint64_t>(std::count(used.begin(), used.end(), true)) - positions;
}

} // namespace KetSDK::Mesh
