// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/DeckRows.h>

#include <KetSDK/MeshSolver/detail/DeckWords.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <cstddef>
#include <limits>

namespace KetSDK::MeshSolver::Detail {

namespace {

// Takes a word that is a number as most are written, which takes a third of the time of NextWord and ReadId.
// Otherwise it is false, and the line stays. Inline, for it is called for every number.
inline bool TakeId(std::string_view& line, std::int32_t& id) {
    char const* at = line.data();
    char const* const end = at + line.size();
    while (at != end && *at == ' ')
        ++at;
    std::int64_t number = 0;
    for (; at != end && *at >= '0' && *at <= '9' && number <= std::numeric_limits<std::int32_t>::max(); ++at)
        number = 10 * number + (*at - '0');
    if (number == 0 || number > std::numeric_limits<std::int32_t>::max() || (at != end && *at != ','))
        return false;
    id = static_cast<std::int32_t>(number);
    line = at == end ? std::string_view() : std::string_view(at + 1, static_cast<std::size_t>(end - at - 1));
    return true;
}

} // namespace

void ReadNode(std::string_view line, DeckRows& rows) {
    std::int32_t id = 0;
    std::array<double, 3> position{};
    std::size_t at = 0;
    bool is_good = ReadId(NextWord(line), id);
    while (is_good && line.data() && at < 3) {
        std::string_view const word = NextWord(line);
        is_good = word.empty() || ReadReal(word, position[at]);
        ++at;
    }
    if (!is_good || at < 3) {
        rows.fault = "a node needs a number from 1 on and three coordinates";
        return;
    }
    rows.numbers.push_back(id);
    rows.positions.push_back(position);
}

void ReadNumbers(std::string_view line, DeckRows& rows) {
    while (line.data() && !line.empty()) {
        std::int32_t number = 0;
        if (TakeId(line, number)) {
            rows.numbers.push_back(number);
            continue;
        }
        std::string_view const word = NextWord(line);
        if (word.empty() && (!line.data() || Trimmed(line).empty()))
            break;
        if (!ReadId(word, number)) {
            rows.fault = "\"" + std::string(word) + "\" is no number of a node or element";
            return;
        }
        rows.numbers.push_back(number);
    }
}

void ReadMembers(std::string_view line, DeckRows& rows) {
    while (line.data()) {
        std::int32_t id = 0;
        if (TakeId(line, id)) {
            rows.numbers.push_back(id);
            continue;
        }
        std::string_view const word = NextWord(line);
        if (ReadId(word, id))
            rows.numbers.push_back(id);
        else if (!word.empty())
            rows.names.push_back(NameKey(Unquoted(word)));
    }
}

void ReadFace(std::string_view line, OpenSets const& element_sets, std::string const& surface,
              DeckRows& rows) {
    std::vector<std::string_view> const words = Words(line);
    if (words.empty())
        return;
    OpenFace face;
    std::string const label = words.size() > 1 ? NameKey(words[1]) : "";
    if (label.size() != 2 || label[0] != 'S' || label[1] < '1' || label[1] > '6') {
        ++rows.unread_faces;
        return;
    }
    face.face = static_cast<std::uint8_t>(label[1] - '0');
    if (!ReadId(words[0], face.id)) {
        face.id = 0;
        auto const set = element_sets.Find(Unquoted(words[0]));
        if (!set) {
            rows.fault = "the surface " + surface + " names the element set " + std::string(words[0]) +
                         ", which is not defined before it";
            return;
        }
        face.element_set = *set;
    }
    rows.faces.push_back(face);
}

} // namespace KetSDK::MeshSolver::Detail
