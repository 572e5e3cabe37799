// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/DeckNames.h>

namespace KetSDK::MeshSolver {

namespace {

constexpr std::size_t LongestName = 60;

bool IsLetter(char c) {
    return c >= 'A' && c <= 'Z';
}

// Each character of UTF-8 becomes one of the deck's.
std::string Spelled(std::string_view name) {
    std::string spelled;
    for (char const c : name) {
        if ((static_cast<unsigned char>(c) & 0xC0U) == 0x80U) // within a character
            continue;
        bool const is_small = c >= 'a' && c <= 'z';
        char const upper = is_small ? static_cast<char>(c - 'a' + 'A') : c;
        spelled += IsLetter(upper) || (upper >= '0' && upper <= '9') ? upper : '_';
    }
    if (spelled.empty() || !IsLetter(spelled.front()))
        spelled.insert(0, "N");
    return spelled.substr(0, LongestName);
}

} // namespace

std::string DeckNames::Take(std::string const& kind, std::string_view name) {
    std::string const spelled = Spelled(name);
    std::string deck = spelled;
    for (unsigned int i = 2; !m_taken.insert(deck).second; ++i) {
        std::string const suffix = "_" + std::to_string(i);
        deck = spelled.substr(0, LongestName - suffix.size()) + suffix;
    }
    if (deck != name)
        m_renamings.push_back({kind, std::string(name), deck});
    return deck;
}

} // namespace KetSDK::MeshSolver
