// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <unordered_map>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The elements of some sub-volumes, told apart in the order of the mesh. Elements with the number of one of
// the sub-volumes are a group. Does not follow later changes of the mesh.
class SubVolumeGroups {
public:
    // Of all sub-volumes when the set is null or empty.
    SubVolumeGroups(MMeshBase const& mesh, std::set<MMeshSubVolume const*> const* selection);

    std::size_t Count() const noexcept { return m_expected.size(); }
    // How many elements a group has by what the sub-volume says; all groups no more than the mesh.
    std::uint64_t ExpectedIn(std::size_t group) const noexcept { return m_expected[group]; }
    // The group of each sub-volume, in the order of the mesh's list.
    std::vector<std::size_t> const& OfSubVolumes() const noexcept { return m_of_sub_volumes; }
    // The group of the elements with a number.
    std::optional<std::size_t> Find(int number) const {
        std::size_t const group = GroupOf(number);
        return group == None ? std::nullopt : std::optional(group);
    }
    std::uint64_t NumberOfElements() const noexcept { return m_mesh->Elements().GetNumElements(); }

    // Takes elements first to last - 1 of the mesh in order, and calls visit(group, mask indices) for some of
    // a group that follow one another.
    template <typename Visit>
    void ForEachRun(std::uint64_t first, std::uint64_t last, Visit const& visit) const {
        if (!m_numbers || m_expected.empty())
            return;
        std::array<std::uint64_t, 1024> run;
        std::size_t length = 0;
        int number = 0;
        std::size_t group = GroupOf(number);
        auto const end_run = [&] {
            if (length > 0 && group != None)
                visit(group, std::span<std::uint64_t const>(run.data(), length));
            length = 0;
        };
        auto element = m_mesh->Elements().begin() + static_cast<std::ptrdiff_t>(first);
        for (std::uint64_t left = last - first; left > 0; --left, ++element) {
            int const own = m_numbers->GetValue(*element);
            if (own != number || length == run.size()) {
                end_run();
                number = own;
                group = GroupOf(number);
            }
            run[length] = element->GetMaskIndex();
            length += element->GetMaskIndex() < m_numbers->GetSize(); // it may be registered with no mask
        }
        end_run();
    }

private:
    static constexpr std::size_t None = static_cast<std::size_t>(-1);

    std::size_t GroupOf(int number) const {
        if (auto const i = static_cast<unsigned int>(number); i < m_of_small_numbers.size())
            return m_of_small_numbers[i];
        auto const found = m_of_other_numbers.find(number);
        return found == m_of_other_numbers.end() ? None : found->second;
    }
    std::size_t& SlotOf(int number);

    MMeshBase const* m_mesh;
    MDataMask<MMeshElement, int> const* m_numbers; // of the sub-volumes of elements; null for none
    std::vector<std::size_t> m_of_small_numbers;   // as a list of sub-volumes mostly has them
    std::unordered_map<int, std::size_t> m_of_other_numbers;
    std::vector<std::size_t> m_of_sub_volumes;
    std::vector<std::uint64_t> m_expected; // by group
};

} // namespace KetSDK::Mesh::Detail
