// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Joins the corners of faces with one another: finds for each slot of a node mask the nodes that those nodes
// are joined to. Pairs of a slot and a node are first handed to buckets of slots that follow one another.
class CornerJoiner {
public:
    struct Face {
        MMeshElement const* element;
        unsigned int face;
    };

    CornerJoiner(std::span<Face const> faces, std::uint64_t slots, bool parallel)
        : m_faces(faces)
        , m_slots(slots)
        , m_bucket_shift(std::max(static_cast<int>(std::bit_width(slots)) - BucketBits, 0))
        , m_parallel(parallel)
        , m_steps(static_cast<std::size_t>(Steps().NumberOfSteps())) {}

    // Calls set(slot, nodes) for each slot that has any, on several threads when parallel. The nodes, each
    // once and by ascending address, lie in a piece of `nodes`, which has room for six a face.
    template <typename Set>
    void Join(std::span<MMeshPoint*> nodes, Set const& set) {
        Support::ComputeSteps(Steps(), [this](std::uint64_t first, std::uint64_t last) {
            Spread(m_faces.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first)),
                   m_steps[static_cast<std::size_t>(first / FacesPerStep)]);
        });
        std::array<std::size_t, Buckets> begin{};
        std::size_t all = 0;
        for (std::size_t bucket = 0; bucket < Buckets; ++bucket) {
            begin[bucket] = all;
            for (Step const& step : m_steps)
                all += step.Of(bucket).size();
        }
        Support::ComputeSteps({.items = Buckets, .parallel = m_parallel},
                              [&](std::uint64_t first, std::uint64_t) {
                                  auto const bucket = static_cast<std::size_t>(first);
                                  Collect(bucket, nodes.subspan(begin[bucket]), set);
                              });
    }

private:
    static constexpr std::uint64_t FacesPerStep = 1024;
    static constexpr int BucketBits = 6;
    static constexpr std::size_t Buckets = std::size_t{1} << BucketBits;

    struct Pair {
        std::uint64_t slot;
        MMeshPoint* node;
    };
    // The pairs of some faces, bucket by bucket.
    struct Step {
        std::vector<Pair> pairs;
        std::array<std::size_t, Buckets + 1> begin{};

        std::span<Pair const> Of(std::size_t bucket) const noexcept {
            return std::span(pairs).subspan(begin[bucket], begin[bucket + 1] - begin[bucket]);
        }
    };

    Support::WorkSteps Steps() const noexcept {
        return {.items = m_faces.size(), .step = FacesPerStep, .parallel = m_parallel};
    }
    std::size_t BucketOf(std::uint64_t slot) const noexcept {
        return static_cast<std::size_t>(slot >> m_bucket_shift);
    }

    void Spread(std::span<Face const> faces, Step& step) const {
        std::vector<Pair> pairs;
        pairs.reserve(6 * faces.size());
        for (std::size_t k = 0; k < faces.size(); ++k) {
            PrefetchWithNodes<8>(k, faces.size(), [&](std::size_t i) { return faces[i].element; });
            auto const& corners = MMeshElementDescriptor::descr_triangle_point_ORIENTED[faces[k].face];
            for (unsigned char const i : corners)
                for (unsigned char const j : corners)
                    if (std::uint64_t const slot = faces[k].element->GetNode(i)->GetMaskIndex();
                        i != j && slot < m_slots) {
                        pairs.push_back({slot, faces[k].element->GetNode(j)});
                        ++step.begin[BucketOf(slot) + 1];
                    }
        }
        std::partial_sum(step.begin.begin(), step.begin.end(), step.begin.begin());
        step.pairs.resize(pairs.size());
        auto next = step.begin;
        for (Pair const& pair : pairs)
            step.pairs[next[BucketOf(pair.slot)]++] = pair;
    }

    template <typename Set>
    void Collect(std::size_t bucket, std::span<MMeshPoint*> nodes, Set const& set) const {
        std::uint64_t const first_slot = std::uint64_t{bucket} << m_bucket_shift;
        // Of each slot; until it is filled, its begin.
        std::vector<std::size_t> end((std::size_t{1} << m_bucket_shift) + 1);
        for (Step const& step : m_steps)
            for (Pair const& pair : step.Of(bucket))
                ++end[static_cast<std::size_t>(pair.slot - first_slot) + 1];
        std::partial_sum(end.begin(), end.end(), end.begin());
        for (Step const& step : m_steps)
            for (Pair const& pair : step.Of(bucket))
                nodes[end[static_cast<std::size_t>(pair.slot - first_slot)]++] = pair.node;
        std::size_t begin = 0;
        for (std::size_t i = 0; begin < end.back(); begin = end[i++])
            if (end[i] > begin) {
                auto const joined = nodes.subspan(begin, end[i] - begin);
                std::ranges::sort(joined, std::less<>());
                auto const behind = std::unique(joined.begin(), joined.end());
                set(first_slot + i, joined.first(static_cast<std::size_t>(behind - joined.begin())));
            }
    }

    std::span<Face const> m_faces;
    std::uint64_t m_slots;
    int m_bucket_shift;
    bool m_parallel;
    std::vector<Step> m_steps;
};

} // namespace KetSDK::Mesh::Detail
