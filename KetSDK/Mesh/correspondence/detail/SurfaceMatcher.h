// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

class MMeshPoint;

namespace KetSDK::Common {
class BaseProgressReporter;
}

namespace KetSDK::Mesh::Detail {

// A face of the mesh.
struct SurfaceFace {
    std::array<MMeshPoint const*, 3> corners; // winding out of its first element
    bool exterior;                            // no other element has it
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
    // Calls work(first, last) for blocks that make up 0 to count - 1, in any order and, in parallel, at the
    // same time.
    void operator()(std::size_t count, std::size_t block,
                    std::function<void(std::size_t, std::size_t)> const& work) const;
    bool IsParallel() const noexcept { return m_parallel; }

private:
    bool m_parallel;
    Common::BaseProgressReporter const& m_reporter;
};

// Knows the triangles of a surface.
class SurfaceMatcher {
public:
    virtual ~SurfaceMatcher();
    // Whether a triangle may have a corner at the node: faces with other corners are left out. Called
    // from several threads.
    virtual bool IsNear(MMeshPoint const& node) const = 0;
    // The match of each face, in order.
    virtual std::vector<FaceMatch> FindMatches(std::span<SurfaceFace const> faces,
                                               MappingLoop const& loop) const = 0;
};

} // namespace KetSDK::Mesh::Detail
