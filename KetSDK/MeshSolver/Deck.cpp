// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Deck.h>

#include <KetSDK/MeshSolver/detail/DeckReader.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>
#include <KetSDK/MeshSolver/detail/ResolveDeck.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <set>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

// Which elements are in a set that was chosen.
class TakenElements {
public:
    TakenElements(std::size_t elements, bool parallel)
        : m_is_taken(elements, false)
        , m_parallel(parallel) {}

    // Whether it has members and takes them; it takes none when it has one that was taken before.
    bool Take(std::vector<std::uint32_t> const& members) {
        auto const is_taken = [this](std::uint32_t e) { return m_is_taken[e] != 0; };
        bool const are_free = Support::ComputeSteps<char>(
            StepsOf(members),
            [&](std::uint64_t first, std::uint64_t last, char& is_free) {
                is_free = std::none_of(members.data() + first, members.data() + last, is_taken);
            },
            [](std::uint64_t, std::uint64_t, char is_free) { return is_free != 0; });
        if (members.empty() || !are_free)
            return false;
        Support::ComputeSteps(StepsOf(members), [&](std::uint64_t first, std::uint64_t last) {
            for (std::uint64_t i = first; i < last; ++i)
                m_is_taken[members[static_cast<std::size_t>(i)]] = 1;
        });
        m_taken += members.size();
        return true;
    }
    bool AreAll() const noexcept { return m_taken == m_is_taken.size(); }

private:
    Support::WorkSteps StepsOf(std::vector<std::uint32_t> const& members) const noexcept {
        return {.items = members.size(), .step = 1 << 15, .parallel = m_parallel};
    }

    std::vector<unsigned char> m_is_taken; // that threads write each its own of
    bool m_parallel;
    std::size_t m_taken = 0;
};

// Those of the sets, in their order, that have no element in common with one before; empty unless each
// element is in one of them.
std::vector<std::size_t> Dividing(Deck const& deck, std::vector<std::size_t> const& candidates,
                                  bool parallel) {
    TakenElements taken(deck.element_ids.size(), parallel);
    std::vector<std::size_t> chosen;
    for (std::size_t const i : candidates)
        if (taken.Take(deck.element_sets[i].members))
            chosen.push_back(i);
    return taken.AreAll() ? chosen : std::vector<std::size_t>();
}

std::vector<std::size_t> NamedByComment(Deck const& deck) {
    std::vector<std::size_t> named;
    std::multimap<std::string, std::size_t> set_of;
    for (std::size_t i = 0; i < deck.element_sets.size() && !deck.subvolumes.empty(); ++i)
        set_of.emplace(Detail::NameKey(deck.element_sets[i].name), i);
    for (std::string const& name : deck.subvolumes) {
        auto const [first, last] = set_of.equal_range(Detail::NameKey(name));
        for (auto set = first; set != last; ++set)
            named.push_back(set->second);
    }
    return named;
}

} // namespace

Deck ReadDeck(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress,
              bool parallel) {
    return Detail::ResolveDeck(Detail::DeckReader(path, progress, parallel).Read(), parallel);
}

std::vector<std::size_t> FindDividingSets(Deck const& deck, bool parallel) {
    std::set<std::size_t> of_sections;
    for (Deck::Section const& section : deck.sections)
        of_sections.insert(section.element_set);
    std::vector<std::size_t> of_blocks;
    std::vector<std::size_t> others;
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < deck.element_sets.size(); ++i) {
        all.push_back(i);
        if (deck.element_sets[i].is_of_elements_block)
            of_blocks.push_back(i);
        if (!of_sections.contains(i) && deck.element_sets[i].members.size() < deck.element_ids.size())
            others.push_back(i);
    }
    for (auto const& candidates : {NamedByComment(deck), of_blocks, others,
                                   std::vector<std::size_t>(of_sections.begin(), of_sections.end()), all})
        if (std::vector<std::size_t> chosen = Dividing(deck, candidates, parallel); !chosen.empty())
            return chosen;
    return {};
}

} // namespace KetSDK::MeshSolver
