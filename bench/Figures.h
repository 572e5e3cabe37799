// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "RatioReporter.h"

#include <iosfwd>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace Bench {

// The figures of many runs: those of large meshes are measured a few at a time, for want of hours and memory.
class Figures {
public:
    struct Key {
        std::string mesh, job, way, cores; // "one" or "all"
        auto operator<=>(Key const&) const = default;
    };
    struct Figure {
        double elements; // of the mesh
        std::string unit;
        double median; // per element
        double spread; // a share of the median; infinity when it is not known
    };

    // Nothing when there is no such file. Throws std::runtime_error for one of another kind.
    void Read(std::string const& path);
    // Takes what a run has measured in place of older figures.
    void Take(std::vector<RatioReporter::Job> const& jobs);
    // A line for each, columns with tabs between them. Throws std::runtime_error when it cannot be written.
    void Write(std::string const& path) const;

    std::map<Key, Figure> const& All() const noexcept { return m_figures; }
    // Our times and bytes an element on the regular cubes, and how those of the largest compare with those
    // of a million.
    void PrintGrowth(std::ostream& out) const;

private:
    std::map<Key, Figure> m_figures;
};

} // namespace Bench
