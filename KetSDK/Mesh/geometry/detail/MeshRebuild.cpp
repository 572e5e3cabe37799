// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <algorithm>
#include <utility>

namespace KetSDK::Mesh::Detail {

void MeshSketch::Begin(NodesOfSource const& node_of) {
    m_node_of = &node_of;
    m_recent.fill(-1);
    m_places.clear();
    m_surroundings.clear();
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

MeshRebuild::MeshRebuild(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins, bool parallel)
    : m_source(source)
    , m_target(target)
    , m_members(source, nullptr, parallel)
    , m_node_of(static_cast<std::size_t>(source.NumberOfPoints()))
    , m_origins(origins)
    , m_parallel(parallel)
    , m_slots(static_cast<std::size_t>(parallel ? 2 * Window : 1))
    , m_finished(m_slots.size()) {
    target.ClearSubVolumes();
    target.GetNeighborsInfo()->Disable(); // elements are coming
    if (origins)
        BeginRecord();
}

void MeshRebuild::Enter(Slot& slot) {
    constexpr std::size_t ahead = 8;
    MeshSketch& sketch = slot.sketch;
    auto const& places = sketch.m_places;
    if (!places.empty())
        PrepareForNodes();
    sketch.m_entered.resize(places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (i + 2 * ahead < places.size()) {
            auto const& p = places[i + 2 * ahead].position;
            m_target.PrefetchPoint(p[0], p[1], p[2]);
        }
        if (i + ahead < places.size()) {
            auto const& p = places[i + ahead].position;
            m_target.PrefetchFoundPoint(p[0], p[1], p[2]);
        }
        sketch.m_entered[i] = EnterAt(places[i], sketch.m_surroundings[i]);
    }
    slot.entered = true;
}

void MeshRebuild::PrepareForNodes() {
    if (m_join_nodes)
        m_target.ForbidDuplicatePoints();
    else
        m_target.AllowDuplicatePoints();
    if (std::uint64_t const expected = std::exchange(m_expected_nodes, 0); expected > 0)
        m_target.m_points->ReserveCoordinateIndex(m_target.m_points->GetNumPoints() + expected);
}

MMeshPoint* MeshRebuild::EnterAt(MeshSketch::Place const& place, MeshSketch::Surroundings const& around) {
    if (place.node >= 0) {
        std::atomic<MMeshPoint*>& known = m_node_of[static_cast<std::size_t>(place.node)];
        MMeshPoint* node = known.load(std::memory_order_relaxed);
        if (!node) {
            node = AddNode(place.position);
            known.store(node, std::memory_order_relaxed);
            if (m_origins)
                RecordNode(*node, place.node);
        }
        return node;
    }
    MMeshPoint* const node = AddNode(place.position);
    if (m_origins && around.a)
        RecordMiddle(*node, *around.a, *around.b);
    if (m_origins && around.element)
        RecordInside(*node, *around.element);
    return node;
}

MMeshPoint* MeshRebuild::AddNode(std::array<MLong, 3> const& position) {
    m_target.m_box.Widen({position[0], position[1], position[2]});
    return &m_target.m_points->AddPoint(position.data());
}

void MeshRebuild::Finish(Slot& slot) {
    if (!std::exchange(slot.entered, false))
        return;
    MeshSketch& sketch = slot.sketch;
    Finished& finished = slot.finished;
    // What the slot held before comes first, if it still waits.
    if (FinishedAt(slot.step).load(std::memory_order_acquire)) {
        std::lock_guard const lock(m_building);
        BuildInOrder();
    }
    auto const look_up = [&sketch](std::vector<MeshSketch::Mark> const& marks,
                                   std::vector<MMeshPoint*>& nodes) {
        nodes.resize(marks.size());
        std::ranges::transform(marks, nodes.begin(), [&sketch](Mark mark) { return sketch.NodeAt(mark); });
    };
    look_up(sketch.m_uses, finished.used);
    finished.nodes.clear();
    if (!std::ranges::equal(sketch.m_nodes, sketch.m_uses))
        look_up(sketch.m_nodes, finished.nodes);
    finished.counts.swap(sketch.m_counts);
    finished.parents.swap(sketch.m_parents);
    FinishedAt(slot.step).store(&finished, std::memory_order_release);
}

void MeshRebuild::BuildFinished() {
    if (std::unique_lock const lock(m_building, std::try_to_lock); lock)
        BuildInOrder();
}

void MeshRebuild::BuildInOrder() {
    while (!m_stopped) {
        std::atomic<Finished const*>& next = FinishedAt(m_next_step);
        Finished const* const finished = next.load(std::memory_order_acquire);
        if (!finished)
            return;
        m_stopped = true;
        Build(*finished);
        m_stopped = false;
        next.store(nullptr, std::memory_order_release);
        ++m_next_step;
    }
}

void MeshRebuild::Build(Finished const& finished) {
    RegisterUsed(finished.used);
    if (m_origins)
        m_origins->elements.insert(m_origins->elements.end(), finished.parents.begin(),
                                   finished.parents.end());
    if (finished.counts.empty())
        return;
    m_sub_volumes.assign(finished.counts.size(), static_cast<int>(m_target.NumberOfSubVolumes() - 1));
    m_target.AppendElements(finished.counts, finished.nodes.empty() ? finished.used : finished.nodes,
                            m_sub_volumes);
}

void MeshRebuild::BuildRest() {
    auto const entered = std::ranges::count_if(m_slots, &Slot::entered);
    Support::ComputeSteps({.items = m_slots.size(), .parallel = m_parallel && entered > 1},
                          [this](std::uint64_t slot, std::uint64_t) { Finish(m_slots[slot]); });
    BuildInOrder();
    m_next_step = 0;
}

// The nodes lie anywhere in memory: waiting for one after the other would double the time of a conversion.
void MeshRebuild::RegisterUsed(std::span<MMeshPoint* const> nodes) {
    constexpr std::size_t ahead = 32;
    m_target.GetPointMasks()->RegisterMaskObjectsAt(
        nodes.size(), false, [nodes](std::uint64_t i) -> MMeshPoint& {
            if (i + ahead < nodes.size())
                Support::PrefetchToWrite(nodes[static_cast<std::size_t>(i) + ahead]);
            return *nodes[static_cast<std::size_t>(i)];
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
        return index < m_node_of.size() ? OriginOf(*m_node_of[index].load()).a : -1;
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
    auto const used =
        std::ranges::count_if(m_node_of, [](auto const& node) { return node.load() != nullptr; });
    auto const is_one = [](MMeshOrigins::Node const& node) { return node.a >= 0 && node.IsOne(); };
    m_origins->joined_nodes =
        static_cast<std::uint64_t>(used - std::ranges::count_if(m_origins->nodes, is_one));
}

void MeshRebuild::AddSubVolumeLike(MMeshSubVolume const& source) {
    MMeshSubVolume& sub_volume = *m_target.AddSubVolume();
    sub_volume.SetName(source.GetName());
    sub_volume.SetMatID(source.GetMatID());
}

} // namespace KetSDK::Mesh::Detail
