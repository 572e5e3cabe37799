// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/detail/SubVolumeElements.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

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
            !(*m_node_of)[number] && recent != source.GetIndex()) {
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

    // Where the target may have no node yet.
    struct Place {
        std::array<MLong, 3> position;
        MMeshPoint const* a = nullptr; // between these of the source; the same twice: at that node
        MMeshPoint const* b = nullptr;
        MMeshElement const* around = nullptr; // inside this one
    };
    // The place in the middle of an edge of the source, in a hash table.
    struct Middle {
        std::uint64_t edge = 0;
        std::uint32_t place = 0;
        std::uint32_t round = 0; // of which sketch; an older one is free
    };
    static constexpr auto IsPlace = std::uint32_t{1}
                                    << 31; // in a mark; else it is the number of a source's node

    void Begin(std::vector<MMeshPoint*> const& node_of);
    Mark AddPlace(std::array<MLong, 3> const& position, MMeshPoint const* a = nullptr,
                  MMeshPoint const* b = nullptr, MMeshElement const* around = nullptr) {
        m_places.push_back({position, a, b, around});
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
        return (number & IsPlace) != 0 ? m_entered[number & ~IsPlace] : (*m_node_of)[number];
    }

    std::vector<MMeshPoint*> const* m_node_of = nullptr; // the target's, by number of the source's node
    std::array<MLong, 1024> m_recent;                    // of the source's nodes some that have a place here
    std::vector<Place> m_places;                         // in the order of their first use
    std::vector<MMeshPoint*> m_entered;                  // at the places
    std::vector<Mark> m_uses;                            // each call that asked for a node
    std::vector<MMeshPoint*> m_used;                     // the same as nodes
    std::vector<unsigned char> m_counts;                 // of nodes, of the elements
    std::vector<Mark> m_nodes;
    std::vector<MLong> m_parents;  // of the elements, when origins are recorded
    std::vector<Middle> m_middles; // a power of two, half of which at least is free
    std::size_t m_middle_count = 0;
    std::uint32_t m_round = 0;
};

// What is common to building a mesh of other elements on the places of a source mesh, sub-volume by
// sub-volume. Nodes at one position become one node. The source must not change meanwhile.
//
// Elements are sketched on several threads when parallel. Nodes are entered and registered in the order of
// their use, as AddPointUnique for one after the other does. Each time the node gets a fresh mask index, also
// when it was entered before.
class MeshRebuild {
public:
    using Mark = MeshSketch::Mark;
    static constexpr std::uint64_t ElementsPerStep = 1000;

    // Empties the target's list of sub-volumes; whatever else it holds stays. Origins are recorded when they
    // are not null.
    MeshRebuild(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins, bool parallel);

    // Whether nodes at one position become one node, as unless set. Otherwise nothing may ask for middles.
    void SetJoinNodes(bool join) noexcept { m_join_nodes = join; }
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
        std::vector<Notes> notes(m_sketches.size());
        for (std::size_t begin = 0; begin < all.size();) {
            auto const indices =
                all.subspan(begin, std::min<std::size_t>(all.size() - begin, m_sketches.size() * m_step));
            begin += indices.size();
            Support::ComputeSteps(StepsOf(indices.size()), [&](std::uint64_t first, std::uint64_t last) {
                auto const step = static_cast<std::size_t>(first / m_step);
                notes[step] = {};
                SketchElements(
                    indices.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)),
                    m_sketches[step],
                    [&](MMeshElement const& e) { sketch(e, m_sketches[step], notes[step]); });
            });
            std::size_t entered = 0;
            bool going_on = true;
            for (std::uint64_t first = 0; first < indices.size() && going_on; first += m_step) {
                Enter(m_sketches[entered]);
                going_on = go_on(std::min(m_step, indices.size() - first), std::as_const(notes[entered]));
                ++entered;
            }
            Build(std::span(m_sketches).first(entered));
            if (!going_on)
                return false;
        }
        return true;
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
    Support::WorkSteps StepsOf(std::uint64_t elements) const noexcept {
        return {.items = elements, .step = m_step, .parallel = m_parallel};
    }
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
    void Enter(MeshSketch& sketch);
    MMeshPoint* EnterAt(MeshSketch::Place const& place);
    MMeshPoint* AddNode(std::array<MLong, 3> const& position);
    // Registers the nodes that the sketches use, and adds their elements.
    void Build(std::span<MeshSketch> sketches);
    void RegisterUsed(MeshSketch const& sketch);
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
    std::vector<MMeshPoint*> m_node_of; // by number of the source's node; null while not entered
    MMeshOrigins* m_origins;
    bool m_parallel;
    bool m_join_nodes = true;
    std::uint64_t m_step = ElementsPerStep;
    std::vector<MeshSketch> m_sketches;  // those of one round
    std::vector<unsigned char> m_counts; // of nodes, of the elements of one round
    std::vector<MLong> m_nodes;
    std::vector<MLong> m_index_at; // of elements of the source, by mask index; when origins are recorded
};

} // namespace KetSDK::Mesh::Detail
