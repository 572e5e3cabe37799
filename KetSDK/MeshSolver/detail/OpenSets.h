// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// A set while the deck is read: numbers, ranges of numbers and other sets.
struct OpenSet {
    struct Range {
        std::int32_t first;
        std::int32_t last;
        std::int32_t step;
    };
    std::string name;
    std::vector<std::int32_t> ids;
    std::vector<Range> ranges;
    std::vector<std::string> others; // by key
    bool is_of_elements_block = false;
};

// Sets by name, in the order in which they appear.
class OpenSets {
public:
    OpenSet& Get(std::string const& name) {
        auto const [found, is_new] = m_index_of.try_emplace(NameKey(name), m_sets.size());
        if (is_new)
            m_sets.push_back({name, {}, {}, {}, false});
        return m_sets[found->second];
    }
    std::optional<std::size_t> Find(std::string const& name) const {
        auto const found = m_index_of.find(NameKey(name));
        return found == m_index_of.end() ? std::nullopt : std::optional(found->second);
    }
    std::vector<OpenSet>& All() noexcept { return m_sets; }

private:
    std::vector<OpenSet> m_sets;
    std::map<std::string, std::size_t> m_index_of;
};

} // namespace KetSDK::MeshSolver::Detail
