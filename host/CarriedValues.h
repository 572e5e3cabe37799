#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <cstddef>
#include <cstdint>
#include <vector>

class vtkUnstructuredGrid;

namespace ketmesh {

// What a mesh that was built of another one gets of its values: each element those of the element that it
// came from, each node those of the node at its place, and a mid-edge node that is new what its edge's ends
// give.
class CarriedValues {
public:
    // For each element of the target the number of the one of the source that it came from.
    using Origins = std::vector<std::uint64_t>;

    // The origins when a mesh is built sub-volume by sub-volume and each element becomes as many as `parts`
    // says, a function of the element.
    template <typename Parts>
    static Origins BySubVolume(MMeshBase const& source, Parts const& parts) {
        Origins origins;
        for (auto const& members : _Members(source))
            for (std::uint64_t const number : members)
                origins.insert(origins.end(), parts(*source.GetElement(number)), number);
        return origins;
    }

    // Both meshes must outlive this, and stay as they are but for values.
    CarriedValues(MMeshBase const& source, MMeshBase& target, Origins origins);

    // Grey values, materials with their catalog, and original identifiers; new nodes have none of these.
    void SetMeshValues() const;
    // Adds to the target's grid every array of the source's grid that it does not have by itself. Of arrays
    // of points a new node gets the mean of the ends in floating-point arrays, and the smaller of both values
    // in other ones: so flags of 0 and 1 are set where both ends have them.
    void AddArrays(vtkUnstructuredGrid& source, vtkUnstructuredGrid& target) const;
    // Number of nodes that went into one with others, because they are at one place.
    std::size_t GetNbJoinedNodes() const noexcept { return m_joined; }

private:
    // The nodes of the source that a node of the target comes from; the same twice where it is one.
    struct Ends {
        MLong a = -1;
        MLong b = -1;
        bool IsOne() const noexcept { return a == b && a >= 0; }
    };

    static std::vector<std::vector<std::uint64_t>> _Members(MMeshBase const& source);
    void _FindEnds();

    MMeshBase const& m_source;
    MMeshBase& m_target;
    Origins m_origins;
    std::vector<Ends> m_ends; // by node of the target
    std::size_t m_joined = 0;
};

} // namespace ketmesh
