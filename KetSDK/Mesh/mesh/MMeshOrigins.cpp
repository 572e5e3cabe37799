#include <KetSDK/Mesh/mesh/MMeshOrigins.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>

namespace {

// The one node that a node of the mesh in between came from; -1 for none.
MLong ParentOf(std::vector<MMeshOrigins::Node> const& earlier, MLong node) {
    if (node < 0)
        return -1;
    MMeshOrigins::Node const& parent = earlier[static_cast<std::size_t>(node)];
    if (!parent.IsOne())
        throw std::invalid_argument("a node in the middle of an edge is an end of another edge");
    return parent.a;
}

} // namespace

MMeshOrigins ComposeOrigins(MMeshOrigins const& earlier, MMeshOrigins const& later) {
    MMeshOrigins composed;
    std::ranges::transform(later.elements, std::back_inserter(composed.elements), [&](MLong element) {
        return element < 0 ? -1 : earlier.elements[static_cast<std::size_t>(element)];
    });
    std::ranges::transform(later.nodes, std::back_inserter(composed.nodes), [&](MMeshOrigins::Node node) {
        if (node.IsOne())
            return node.a < 0 ? node : earlier.nodes[static_cast<std::size_t>(node.a)];
        return MMeshOrigins::Node{ParentOf(earlier.nodes, node.a), ParentOf(earlier.nodes, node.b)};
    });
    composed.joined_nodes = earlier.joined_nodes + later.joined_nodes;
    return composed;
}
