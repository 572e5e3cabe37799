// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

class MMeshBase;

namespace KetSDK::Common {
class BaseProgressReporter;
}

namespace KetSDK::Mesh::Detail {

// A face of the mesh.
struct SurfaceFace {
    std::array<MLong, 3> nodes; // of the corners, winding out of its first element
    bool exterior;              // no other element has it
};

// The triangles on a face, by index: the one that winds as the face does, and the one that winds the other
// way. Mostly there is one of them at most.
struct FaceMatch {
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    std::uint32_t same = None;
    std::uint32_t opposite = None;

    bool IsEmpty() const noexcept { return same == None && opposite == None; }
};

// Thrown by a loop when the user has cancelled.
struct MappingCancelled {};

// The loops of one mapping.
class MappingLoop {
public:
    // The reporter outlives the loop.
    MappingLoop(bool parallel, Common::BaseProgressReporter const& reporter) noexcept
        : m_parallel(parallel)
        , m_reporter(reporter) {}
    bool IsParallel() const noexcept { return m_parallel; }
    // Calls work(first, last) for blocks that make up 0 to count - 1, in any order and, in parallel, at the
    // same time.
    void operator()(std::size_t count, std::size_t block,
                    std::function<void(std::size_t, std::size_t)> const& work) const;
    // The same with a slot for each block, of type Slot: compute(first, last, slot) fills it, whatever an
    // earlier block left there. The calling thread calls commit(first, slot) for one block after another.
    template <typename Slot, typename Compute, typename Commit>
    void Collect(std::size_t count, std::size_t block, Compute const& compute, Commit const& commit) const {
        std::vector<Slot> slots(Slots(count, block));
        Run(
            count, block,
            [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
                compute(static_cast<std::size_t>(first), static_cast<std::size_t>(last), slots[slot]);
            },
            [&](std::uint64_t first, std::size_t slot) {
                commit(static_cast<std::size_t>(first), slots[slot]);
            });
    }

private:
    std::size_t Slots(std::size_t count, std::size_t block) const noexcept;
    void Run(std::size_t count, std::size_t block,
             std::function<void(std::uint64_t, std::uint64_t, std::size_t)> const& compute,
             std::function<void(std::uint64_t, std::size_t)> const& commit) const;

    bool m_parallel;
    Common::BaseProgressReporter const& m_reporter;
};

// Knows the triangles of a surface.
class SurfaceMatcher {
public:
    virtual ~SurfaceMatcher();
    // By node of the mesh, whether a triangle may have a corner there: faces with other corners are left out.
    // Asked for once, before the matches.
    virtual std::vector<char> FindNearNodes(MappingLoop const& loop) = 0;
    // The match of each face, in order.
    virtual std::vector<FaceMatch> FindMatches(std::span<SurfaceFace const> faces,
                                               MappingLoop const& loop) const = 0;
};

} // namespace KetSDK::Mesh::Detail
