// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Triangles/Data/MStlFeatureItem.h>
#include <KetSDK/Triangles/Data/MStlGraph.h>
#include <KetSDK/Triangles/Data/MStlRange.h>

#include <boost/container/deque.hpp>

#include <cstddef>
#include <cstdint>

// A named list of graphs that lies beside the surfaces of a container, or stands alone. It owns its
// graphs, which stay at their addresses. One thread at a time adds to it.
class KETSDK_API MStlFeature : public MStlFeatureItem {
    using Storage = boost::container::deque<MStlGraph>;

public:
    // Without graphs.
    MStlFeature();
    ~MStlFeature() override;

    // Appends an empty graph, owned by the feature.
    MStlGraph* AddNewGraph();

    std::uint64_t NumberOfGraphs() const noexcept { return m_graphs.size(); }
    // Graph i, not range-checked.
    MStlGraph* GetGraph(std::uint64_t i) noexcept { return &m_graphs[static_cast<std::size_t>(i)]; }
    MStlGraph const* GetGraph(std::uint64_t i) const noexcept {
        return &m_graphs[static_cast<std::size_t>(i)];
    }
    // The graphs in order of addition: for (MStlGraph& g : feature.Graphs()).
    MStlRange<Storage::iterator> Graphs() noexcept { return {m_graphs.begin(), m_graphs.end()}; }
    MStlRange<Storage::const_iterator> Graphs() const noexcept { return {m_graphs.begin(), m_graphs.end()}; }

private:
    Storage m_graphs;
};
