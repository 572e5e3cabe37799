// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <numeric>
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

// The nodes that a node of the mesh in between has the mean of.
std::vector<MLong> ParentsOf(MMeshOrigins const& earlier, MLong node) {
    if (auto const inside = earlier.inside.find(node); inside != earlier.inside.end())
        return inside->second;
    return {ParentOf(earlier.nodes, node)};
}

// Those that the mean of some nodes of the mesh in between is the mean of: as often each as its weight says.
std::vector<MLong> ParentsOf(MMeshOrigins const& earlier, std::vector<MLong> const& nodes) {
    std::size_t common = 1;
    for (MLong const node : nodes)
        common = std::lcm(common, ParentsOf(earlier, node).size());
    std::vector<MLong> parents;
    for (MLong const node : nodes) {
        std::vector<MLong> const some = ParentsOf(earlier, node);
        for (std::size_t i = 0; i < common; ++i)
            parents.push_back(some[i % some.size()]);
    }
    return parents;
}

// The nodes of the mesh in between that are new inside an element, or a mean of such, and what they are the
// mean of; by node of the later mesh.
std::map<MLong, std::vector<MLong>> ComposeInside(MMeshOrigins const& earlier, MMeshOrigins const& later) {
    std::map<MLong, std::vector<MLong>> inside;
    for (auto const& [node, parents] : later.inside)
        inside[node] = ParentsOf(earlier, parents);
    for (std::size_t i = 0; !earlier.inside.empty() && i < later.nodes.size(); ++i) {
        auto const [a, b] = later.nodes[i];
        if (earlier.inside.contains(a) || earlier.inside.contains(b))
            inside[static_cast<MLong>(i)] =
                ParentsOf(earlier, a == b ? std::vector<MLong>{a} : std::vector<MLong>{a, b});
    }
    return inside;
}

} // namespace

MMeshOrigins ComposeOrigins(MMeshOrigins const& earlier, MMeshOrigins const& later) {
    MMeshOrigins composed;
    std::ranges::transform(later.elements, std::back_inserter(composed.elements), [&](MLong element) {
        return element < 0 ? -1 : earlier.elements[static_cast<std::size_t>(element)];
    });
    composed.inside = ComposeInside(earlier, later);
    std::ranges::transform(later.nodes, std::back_inserter(composed.nodes), [&](MMeshOrigins::Node node) {
        if (composed.inside.contains(static_cast<MLong>(composed.nodes.size())))
            return MMeshOrigins::Node{};
        if (node.IsOne())
            return node.a < 0 ? node : earlier.nodes[static_cast<std::size_t>(node.a)];
        return MMeshOrigins::Node{ParentOf(earlier.nodes, node.a), ParentOf(earlier.nodes, node.b)};
    });
    composed.joined_nodes = earlier.joined_nodes + later.joined_nodes;
    return composed;
}
