// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <algorithm>
#include <utility>

namespace KetSDK::Mesh::Detail {

void MeshSketch::Begin(std::vector<MMeshPoint*> const& node_of) {
    m_node_of = &node_of;
    m_recent.fill(-1);
    m_places.clear();
    m_uses.clear();
    m_counts.clear();
    m_nodes.clear();
    m_parents.clear();
    m_middle_count = 0;
    ++m_round;
}

MeshSketch::Mark MeshSketch::MiddleOf(MMeshPoint const& a, MMeshPoint const& b) {
    auto const middle = [](MLong c, MLong d) {
        std::int64_t const sum = std::int64_t{c} + d;
        return static_cast<MLong>((sum + (sum > 0) - (sum < 0)) / 2);
    };
    std::array const position{middle(a.x, b.x), middle(a.y, b.y), middle(a.z, b.z)};
    auto const [low, high] =
        std::minmax({static_cast<std::uint32_t>(a.GetIndex()), static_cast<std::uint32_t>(b.GetIndex())});
    if (high >= m_node_of->size()) // not of the source: its number says nothing
        return Use(AddPlace(position, &a, &b));
    if (2 * (m_middle_count + 1) > m_middles.size())
        GrowMiddles();
    std::uint64_t const edge = std::uint64_t{high} << 32 | low;
    Middle& found = Find(edge);
    if (found.round != m_round) {
        found = {edge, static_cast<std::uint32_t>(m_places.size()), m_round};
        ++m_middle_count;
        AddPlace(position, &a, &b);
    }
    return Use(static_cast<Mark>(found.place | IsPlace));
}

// The entry of an edge, or the free one where it belongs.
MeshSketch::Middle& MeshSketch::Find(std::uint64_t edge) noexcept {
    std::size_t const mask = m_middles.size() - 1;
    auto entry = static_cast<std::size_t>((edge * 0x9E3779B97F4A7C15u) >> 32) & mask;
    while (m_middles[entry].round == m_round && m_middles[entry].edge != edge)
        entry = (entry + 1) & mask;
    return m_middles[entry];
}

void MeshSketch::GrowMiddles() {
    std::vector<Middle> smaller(std::max<std::size_t>(2 * m_middles.size(), 1024));
    m_middles.swap(smaller);
    for (Middle const& middle : smaller)
        if (middle.round == m_round)
            Find(middle.edge) = middle;
}

namespace {

// Enough for several threads, and few enough for what one leaves to be in the cache when the next reads it.
constexpr std::size_t ParallelSketches = 48;
constexpr std::size_t SequentialSketches = 2;

} // namespace

MeshRebuild::MeshRebuild(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins, bool parallel)
    : m_source(source)
    , m_target(target)
    , m_members(source, nullptr)
    , m_node_of(static_cast<std::size_t>(source.NumberOfPoints()), nullptr)
    , m_origins(origins)
    , m_parallel(parallel)
    , m_sketches(parallel ? ParallelSketches : SequentialSketches) {
    target.ClearSubVolumes();
    target.GetNeighborsInfo()->Disable(); // elements are coming
    if (origins)
        BeginRecord();
}

void MeshRebuild::Enter(MeshSketch& sketch) {
    constexpr std::size_t ahead = 16;
    auto const& places = sketch.m_places;
    sketch.m_entered.resize(places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (i + ahead < places.size()) {
            auto const& p = places[i + ahead].position;
            m_target.PrefetchPoint(p[0], p[1], p[2]);
        }
        sketch.m_entered[i] = EnterAt(places[i]);
    }
}

MMeshPoint* MeshRebuild::EnterAt(MeshSketch::Place const& place) {
    if (place.a && place.a == place.b && static_cast<std::size_t>(place.a->GetIndex()) < m_node_of.size()) {
        MMeshPoint*& node = m_node_of[static_cast<std::size_t>(place.a->GetIndex())];
        if (!node) {
            node = AddNode(place.position);
            if (m_origins)
                RecordNode(*node, place.a->GetIndex());
        }
        return node;
    }
    MMeshPoint* const node = AddNode(place.position);
    if (m_origins && place.a)
        RecordMiddle(*node, *place.a, *place.b);
    if (m_origins && place.around)
        RecordInside(*node, *place.around);
    return node;
}

MMeshPoint* MeshRebuild::AddNode(std::array<MLong, 3> const& position) {
    if (m_join_nodes)
        m_target.ForbidDuplicatePoints();
    else
        m_target.AllowDuplicatePoints();
    m_target.m_box.Widen({position[0], position[1], position[2]});
    return &m_target.m_points->AddPoint(position.data());
}

void MeshRebuild::Build(std::span<MeshSketch> sketches) {
    std::vector<std::size_t> element_of, node_of; // where those of each begin
    std::size_t elements = 0;
    std::size_t nodes = 0;
    for (MeshSketch const& sketch : sketches) {
        element_of.push_back(std::exchange(elements, elements + sketch.m_counts.size()));
        node_of.push_back(std::exchange(nodes, nodes + sketch.m_nodes.size()));
    }
    m_counts.resize(elements);
    m_nodes.resize(nodes);
    Support::ComputeSteps(
        {.items = sketches.size(), .parallel = m_parallel}, [&](std::uint64_t first, std::uint64_t) {
            auto const i = static_cast<std::size_t>(first);
            MeshSketch& sketch = sketches[i];
            sketch.m_used.resize(sketch.m_uses.size());
            std::ranges::transform(sketch.m_uses, sketch.m_used.begin(),
                                   [&sketch](Mark mark) { return sketch.NodeAt(mark); });
            std::ranges::copy(sketch.m_counts, m_counts.data() + element_of[i]);
            std::ranges::transform(sketch.m_nodes, m_nodes.data() + node_of[i],
                                   [&sketch](Mark mark) { return sketch.NodeAt(mark)->GetIndex(); });
        });
    for (MeshSketch const& sketch : sketches) {
        RegisterUsed(sketch);
        if (m_origins)
            m_origins->elements.insert(m_origins->elements.end(), sketch.m_parents.begin(),
                                       sketch.m_parents.end());
    }
    if (elements == 0)
        return;
    std::vector<int> const places(elements, static_cast<int>(m_target.NumberOfSubVolumes() - 1));
    m_target.AddElements({m_counts, m_nodes, places}, m_parallel);
}

// The nodes lie anywhere in memory: waiting for one after the other would double the time of a conversion.
void MeshRebuild::RegisterUsed(MeshSketch const& sketch) {
    constexpr std::size_t ahead = 32;
    auto const& nodes = sketch.m_used;
    std::size_t i = 0;
    m_target.GetPointMasks()->RegisterMaskObjects(nodes.size(), [&]() -> MMeshPoint& {
        if (i + ahead < nodes.size())
            Support::PrefetchToWrite(nodes[i + ahead]);
        return *nodes[i++];
    });
}

int MeshRebuild::Orient() {
    MMeshOrientOperator orient;
    orient.SetMesh(&m_target);
    orient.SetParallel(m_parallel);
    orient.Operate();
    return orient.GetNbCorrected();
}

void MeshRebuild::BeginRecord() {
    *m_origins = {};
    m_origins->elements.assign(static_cast<std::size_t>(m_target.NumberOfElements()), -1);
    m_origins->nodes.resize(static_cast<std::size_t>(m_target.NumberOfPoints()));
    MLong index = 0;
    for (MMeshElement const& e : m_source.Elements()) {
        if (std::uint64_t const slot = e.GetMaskIndex(); slot != MMeshElement::NotRegistered) {
            m_index_at.resize(std::max(m_index_at.size(), static_cast<std::size_t>(slot) + 1), -1);
            m_index_at[static_cast<std::size_t>(slot)] = index;
        }
        ++index;
    }
}

MMeshOrigins::Node& MeshRebuild::OriginOf(MMeshPoint const& node) {
    auto const index = static_cast<std::size_t>(node.GetIndex());
    if (index >= m_origins->nodes.size())
        m_origins->nodes.resize(index + 1);
    return m_origins->nodes[index];
}

void MeshRebuild::RecordNode(MMeshPoint const& node, MLong parent) {
    // What was taken for new in the middle of an edge may be found to be a node.
    if (MMeshOrigins::Node& origin = OriginOf(node); origin.a < 0 || !origin.IsOne())
        origin = {parent, parent};
}

void MeshRebuild::RecordMiddle(MMeshPoint const& node, MMeshPoint const& a, MMeshPoint const& b) {
    // Of several nodes at the end of the edge that one whose values the end has.
    auto const parent = [this](MMeshPoint const& end) {
        auto const index = static_cast<std::size_t>(end.GetIndex());
        return index < m_node_of.size() ? OriginOf(*m_node_of[index]).a : -1;
    };
    MMeshOrigins::Node const ends{parent(a), parent(b)};
    if (MMeshOrigins::Node& origin = OriginOf(node); origin.a < 0)
        origin = ends;
}

void MeshRebuild::RecordInside(MMeshPoint const& node, MMeshElement const& e) {
    if (OriginOf(node).a >= 0) // a node of the parent lies there
        return;
    auto& corners = m_origins->inside[node.GetIndex()];
    corners.clear();
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        corners.push_back(e.GetNode(i)->GetIndex());
}

void MeshRebuild::CountJoinedNodes() {
    auto const used = m_node_of.size() - static_cast<std::size_t>(std::ranges::count(m_node_of, nullptr));
    auto const is_one = [](MMeshOrigins::Node const& node) { return node.a >= 0 && node.IsOne(); };
    m_origins->joined_nodes =
        used - static_cast<std::uint64_t>(std::ranges::count_if(m_origins->nodes, is_one));
}

void MeshRebuild::AddSubVolumeLike(MMeshSubVolume const& source) {
    MMeshSubVolume& sub_volume = *m_target.AddSubVolume();
    sub_volume.SetName(source.GetName());
    sub_volume.SetMatID(source.GetMatID());
}

} // namespace KetSDK::Mesh::Detail
