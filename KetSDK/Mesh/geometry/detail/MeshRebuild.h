// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/detail/SubVolumeElements.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The nodes of a target mesh by number of the source's node; null where it has none yet. One thread enters
// them while others look which are there.
using NodesOfSource = std::vector<std::atomic<MMeshPoint*>>;

// What some elements of a source mesh become, before the target has it: nodes and elements on them. It reads
// the source and which of its nodes are entered, so that threads can make several at the same time.
class MeshSketch {
public:
    // Stands for a node of the target, in one sketch.
    enum class Mark : std::uint32_t {};

    // At the position of a node, which is one of the source or in no container.
    Mark NodeFor(MMeshPoint const& source) {
        auto const number = static_cast<std::size_t>(source.GetIndex());
        if (number >= m_node_of->size())
            return Use(AddPlace({source.x, source.y, source.z}));
        if (MLong& recent = m_recent[number % m_recent.size()];
            recent != source.GetIndex() && !NodeOf(number)) {
            recent = source.GetIndex();
            AddPlace({source.x, source.y, source.z}, &source, &source);
        }
        return Use(static_cast<Mark>(number));
    }
    // Node i of an element seen as a tetrahedron. It is a node at the origin where the element has none, and
    // in place of mid-edge nodes when it has fewer than ten.
    static MMeshPoint const* SourceOf(MMeshElement const& e, unsigned int i) noexcept {
        static MMeshPoint const origin;
        bool const exists = i < (i < 4 || e.GetNodeCount() >= 10 ? e.GetNodeCount() : 4u);
        return exists ? e.GetNode(i) : &origin;
    }
    Mark NodeFor(MMeshElement const& e, unsigned int i) { return NodeFor(*SourceOf(e, i)); }
    // In the middle between two nodes that NodeFor was asked for, halves rounded away from zero.
    Mark MiddleOf(MMeshPoint const& a, MMeshPoint const& b);
    // At a position inside an element, for the corners of which its values stand.
    Mark NodeInside(MMeshElement const& e, MMVector<MLong, 3> const& place) {
        return Use(AddPlace({place[0], place[1], place[2]}, nullptr, nullptr, &e));
    }
    void AddElement(std::span<Mark const> nodes) {
        m_counts.push_back(static_cast<unsigned char>(nodes.size()));
        m_nodes.insert(m_nodes.end(), nodes.begin(), nodes.end());
    }

private:
    friend class MeshRebuild;

    // Where the target may have no node yet. Small: another thread reads it.
    struct Place {
        std::array<MLong, 3> position;
        MLong node = -1; // number of the source's node that is there
    };
    // What is around a place, for the origins.
    struct Surroundings {
        MMeshPoint const* a; // between these of the source
        MMeshPoint const* b;
        MMeshElement const* element; // inside this one
    };
    // The place in the middle of an edge of the source, in a hash table.
    struct Middle {
        std::uint64_t edge = 0;
        std::uint32_t place = 0;
        std::uint32_t round = 0; // of which sketch; an older one is free
    };
    // In a mark; else it is the number of a source's node.
    static constexpr std::uint32_t IsPlace = 0x80000000;

    void Begin(NodesOfSource const& node_of);
    MMeshPoint* NodeOf(std::size_t number) const noexcept {
        return (*m_node_of)[number].load(std::memory_order_relaxed);
    }
    Mark AddPlace(std::array<MLong, 3> const& position, MMeshPoint const* a = nullptr,
                  MMeshPoint const* b = nullptr, MMeshElement const* around = nullptr) {
        bool const at_node = a && a == b && static_cast<std::size_t>(a->GetIndex()) < m_node_of->size();
        m_places.push_back({position, at_node ? a->GetIndex() : -1});
        m_surroundings.push_back({a, b, around});
        return static_cast<Mark>((m_places.size() - 1) | IsPlace);
    }
    Mark Use(Mark mark) {
        m_uses.push_back(mark);
        return mark;
    }
    Middle& Find(std::uint64_t edge) noexcept;
    void GrowMiddles();
    // When the places have their nodes.
    MMeshPoint* NodeAt(Mark mark) const noexcept {
        auto const number = static_cast<std::uint32_t>(mark);
        return (number & IsPlace) != 0 ? m_entered[number & ~IsPlace] : NodeOf(number);
    }

    NodesOfSource const* m_node_of = nullptr;
    std::array<MLong, 1024> m_recent; // of the source's nodes some that have a place here
    std::vector<Place> m_places;      // in the order of their first use
    std::vector<Surroundings> m_surroundings;
    std::vector<MMeshPoint*> m_entered;  // at the places
    std::vector<Mark> m_uses;            // each call that asked for a node
    std::vector<unsigned char> m_counts; // of nodes, of the elements
    std::vector<Mark> m_nodes;
    std::vector<MLong> m_parents;  // of the elements, when origins are recorded
    std::vector<Middle> m_middles; // a power of two, half of which at least is free
    std::size_t m_middle_count = 0;
    std::uint32_t m_round = 0;
};

// What is common to building a mesh of other elements on the places of a source mesh, sub-volume by
// sub-volume. Nodes at one position become one node. The source must not change meanwhile.
//
// Elements are sketched, and find their nodes, on several threads when parallel, while the calling one enters
// nodes. Whichever has found the nodes of elements builds them, one thread at a time. Nodes are entered and
// registered in the order of their use, as AddPointUnique for one after the other does. Each time the node
// gets a fresh mask index, also when it was entered before.
class MeshRebuild {
public:
    using Mark = MeshSketch::Mark;
    static constexpr std::uint64_t ElementsPerStep = 1000;

    // Empties the target's list of sub-volumes; whatever else it holds stays. Origins are recorded when they
    // are not null.
    MeshRebuild(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins, bool parallel);

    // Whether nodes at one position become one node, as unless set. Otherwise nothing may ask for middles.
    void SetJoinNodes(bool join) noexcept { m_join_nodes = join; }
    // How many nodes the target is about to get, for the room that looking for them takes.
    void ExpectNodes(std::uint64_t nodes) noexcept { m_expected_nodes = nodes; }
    // Fewer where an element takes long, so that a job can be cancelled soon.
    void SetElementsPerStep(std::uint64_t elements) noexcept { m_step = elements; }

    // Calls visit(sub-volume of the source) for each in the order of the list, until visit returns false;
    // false when it did. The target has a new sub-volume like it, into which elements go.
    template <typename Visit>
    bool ForEachSubVolume(Visit&& visit) {
        for (auto it = m_source.BeginSubVolume(); it != m_source.EndSubVolume(); ++it) {
            AddSubVolumeLike(**it);
            if (!visit(**it))
                return false;
        }
        if (m_origins)
            CountJoinedNodes();
        return true;
    }

    // Builds what sketch(element, MeshSketch&, Notes&) makes of each element of a sub-volume, in the order of
    // the mesh; it is called on any thread. After the elements of a step, and at the end, the calling
    // thread continues with go_on(elements, Notes const&), until that returns false; false when it did. What
    // it has heard of is built when this returns, and nothing else.
    template <typename Notes, typename Sketch, typename GoOn>
    bool ForEachElement(MMeshSubVolume const& sub_volume, Sketch const& sketch, GoOn const& go_on) {
        auto const all = m_members.Of(sub_volume);
        std::vector<Notes> notes(m_slots.size());
        // Others would begin to sketch when it is nearly done.
        bool const is_short = all.size() <= m_slots.size() * m_step;
        bool const to_the_end = Support::ComputeSteps(
            {.items = all.size(), .step = m_step, .parallel = m_parallel && !is_short, .window = Window},
            [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
                Finish(m_slots[slot]);
                BuildFinished();
                m_slots[slot].step = first / m_step;
                notes[slot] = {};
                SketchElements(
                    all.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)),
                    m_slots[slot].sketch,
                    [&](MMeshElement const& e) { sketch(e, m_slots[slot].sketch, notes[slot]); });
            },
            [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
                Enter(m_slots[slot]);
                return go_on(last - first, std::as_const(notes[slot]));
            });
        BuildRest();
        return to_the_end;
    }
    // The same without notes, to the end.
    template <typename Sketch>
    void ForEachElement(MMeshSubVolume const& sub_volume, Sketch const& sketch) {
        struct None {};
        ForEachElement<None>(
            sub_volume, [&sketch](MMeshElement const& e, MeshSketch& s, None&) { sketch(e, s); },
            [](std::uint64_t, None const&) { return true; });
    }

    // Turns the inverted tetrahedra of the target, those that it had before too; returns how many.
    int Orient();

private:
    // So many sketches at a time keep several threads busy and stay in the cache.
    static constexpr std::uint64_t Window = 8;

    // The elements of a sketch that has all its nodes.
    struct Finished {
        std::vector<MMeshPoint*> used;
        std::vector<unsigned char> counts;
        std::vector<MMeshPoint*> nodes; // none: those that were used
        std::vector<MLong> parents;
    };
    // A sketch, and what was in its place before.
    struct Slot {
        MeshSketch sketch;
        std::uint64_t step = 0;
        bool entered = false; // the sketch has its nodes and waits to be finished
        Finished finished;
    };

    // Calls visit(element) for each; the nodes of later elements are fetched ahead.
    template <typename Visit>
    void SketchElements(std::span<std::uint64_t const> indices, MeshSketch& sketch,
                        Visit const& visit) const {
        constexpr std::size_t ahead = 16;
        sketch.Begin(m_node_of);
        for (std::size_t i = 0; i < indices.size(); ++i) {
            if (i + ahead < indices.size())
                PrefetchNodes(ElementAt(indices[i + ahead]));
            visit(ElementAt(indices[i]));
            if (m_origins)
                sketch.m_parents.resize(sketch.m_counts.size(),
                                        m_index_at[static_cast<std::size_t>(indices[i])]);
        }
    }
    // Gives each place its node.
    void Enter(Slot& slot);
    MMeshPoint* EnterAt(MeshSketch::Place const& place, MeshSketch::Surroundings const& around);
    MMeshPoint* AddNode(std::array<MLong, 3> const& position);
    void PrepareForNodes();
    // Looks up the nodes of a sketch that was entered; on any thread.
    void Finish(Slot& slot);
    // Builds what is finished and whose turn it is, unless another thread does; on any thread.
    void BuildFinished();
    void BuildInOrder();
    // Registers the nodes that were used, and adds the elements.
    void Build(Finished const& finished);
    // All that was entered.
    void BuildRest();
    // Null when the step is not finished, or built.
    std::atomic<Finished const*>& FinishedAt(std::uint64_t step) noexcept {
        return m_finished[static_cast<std::size_t>(step % m_finished.size())];
    }
    void RegisterUsed(std::span<MMeshPoint* const> nodes);
    void BeginRecord();
    void RecordNode(MMeshPoint const& node, MLong parent);
    void RecordMiddle(MMeshPoint const& node, MMeshPoint const& a, MMeshPoint const& b);
    void RecordInside(MMeshPoint const& node, MMeshElement const& e);
    MMeshOrigins::Node& OriginOf(MMeshPoint const& node);
    void CountJoinedNodes();
    MMeshElement const& ElementAt(std::uint64_t index) const noexcept {
        return *m_source.GetElementMasks()->GetObjectAt(index);
    }
    void AddSubVolumeLike(MMeshSubVolume const& source);

    MMeshBase const& m_source;
    MMeshBase& m_target;
    SubVolumeElements m_members;
    NodesOfSource m_node_of;
    MMeshOrigins* m_origins;
    bool m_parallel;
    bool m_join_nodes = true;
    std::uint64_t m_step = ElementsPerStep;
    std::uint64_t m_expected_nodes = 0;
    std::vector<Slot> m_slots;
    std::vector<std::atomic<Finished const*>> m_finished; // by step; as many as slots
    std::mutex m_building;
    std::uint64_t m_next_step = 0;  // to be built
    bool m_stopped = false;         // a step could not be built: none after it may be
    std::vector<int> m_sub_volumes; // by index in the list, of the elements that are built
    std::vector<MLong> m_index_at;  // of elements of the source, by mask index; when origins are recorded
};

} // namespace KetSDK::Mesh::Detail
