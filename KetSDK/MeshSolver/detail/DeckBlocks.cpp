// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/DeckBlocks.h>

#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <algorithm>
#include <charconv>
#include <utility>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

namespace {

// The number of nodes of an element of a type; 0 for types that are not read.
std::uint8_t KindOfType(std::string const& type) {
    if (!type.starts_with("C3D"))
        return 0;
    unsigned int nodes = 0;
    std::from_chars(type.data() + 3, type.data() + type.size(), nodes);
    return nodes == 4 || nodes == 6 || nodes == 8 || nodes == 10 ? static_cast<std::uint8_t>(nodes)
                                                                 : std::uint8_t{0};
}

template <typename Item, typename Others>
void Append(std::vector<Item>& items, Others const& others) {
    items.insert(items.end(), others.begin(), others.end());
}

} // namespace

void DeckBlocks::Begin(DeckKeyword const& keyword) {
    std::string const& name = keyword.name;
    if (m_is_in_step) {
        m_is_in_step = name != "END STEP";
        return;
    }
    End();
    m_read_line = nullptr;
    m_row_kind = {};
    struct Known {
        char const* name;
        void (DeckBlocks::*begin)(DeckKeyword const&);
    };
    static constexpr Known known[] = {
        {"NODE", &DeckBlocks::BeginNodes},
        {"ELEMENT", &DeckBlocks::BeginElements},
        {"NSET", &DeckBlocks::BeginNodeSet},
        {"ELSET", &DeckBlocks::BeginElementSet},
        {"SURFACE", &DeckBlocks::BeginSurface},
        {"MATERIAL", &DeckBlocks::BeginMaterial},
        {"ELASTIC", &DeckBlocks::BeginElastic},
        {"DENSITY", &DeckBlocks::BeginDensity},
        {"SOLID SECTION", &DeckBlocks::ReadSection},
        {"INSTANCE", &DeckBlocks::RefuseParts},
        {"SYSTEM", &DeckBlocks::RefuseSystem},
        {"NGEN", &DeckBlocks::RefuseGenerated},
        {"NFILL", &DeckBlocks::RefuseGenerated},
        {"NCOPY", &DeckBlocks::RefuseGenerated},
        {"NMAP", &DeckBlocks::RefuseGenerated},
        {"ELGEN", &DeckBlocks::RefuseGenerated},
        {"ELCOPY", &DeckBlocks::RefuseGenerated},
        {"IMPERFECTION", &DeckBlocks::RefuseGenerated},
        {"STEP", &DeckBlocks::BeginStep},
        {"HEADING", &DeckBlocks::Skip},
        {"PREPRINT", &DeckBlocks::Skip},
    };
    for (Known const& each : known)
        if (name == each.name) {
            (this->*each.begin)(keyword);
            return;
        }
    ++m_open.deck.unread["*" + name];
}

void DeckBlocks::End() {
    if (!m_numbers.empty())
        m_place.Fail("element " + std::to_string(m_numbers.front()) + " has " +
                     std::to_string(m_numbers.size() - 1) + " nodes and needs " + std::to_string(m_kind));
}

void DeckBlocks::BeginStep(DeckKeyword const&) {
    ++m_open.deck.unread["*STEP"];
    m_is_in_step = true;
}

void DeckBlocks::RefuseParts(DeckKeyword const& keyword) {
    m_place.Fail("it is made of instances of parts (*INSTANCE " + keyword.Get("NAME") +
                 "); write it as one flat model");
}

void DeckBlocks::RefuseSystem(DeckKeyword const&) {
    m_place.Fail("coordinates of another system (*SYSTEM) are not read");
}

void DeckBlocks::RefuseGenerated(DeckKeyword const& keyword) {
    m_place.Fail("*" + keyword.name + " makes or moves nodes or elements, which is not read; write them out");
}

void DeckBlocks::RefuseOtherFile(DeckKeyword const& keyword) {
    if (keyword.Has("INPUT"))
        m_place.Fail("*" + keyword.name + " with INPUT= is not read; *INCLUDE is");
}

void DeckBlocks::ReadComment(std::string_view comment) {
    comment = Trimmed(comment);
    constexpr std::string_view subvolumes = "subvolumes:";
    constexpr std::string_view space = "SPACE=";
    if (comment.starts_with(subvolumes)) {
        for (std::string_view const name : Words(comment.substr(subvolumes.size())))
            m_open.deck.subvolumes.emplace_back(name);
    } else if (comment.starts_with(space)) {
        m_open.deck.space = Trimmed(comment.substr(space.size()));
    }
}

void DeckBlocks::ReadRows(std::string_view lines, DeckRows& rows) const {
    rows.Clear();
    bool const are_text = !IsNoText(lines);
    while (!lines.empty()) {
        std::size_t const end = std::min(lines.find('\n'), lines.size());
        std::string_view const line = Trimmed(lines.substr(0, end));
        lines.remove_prefix(std::min(end + 1, lines.size()));
        rows.is_text = are_text || !IsNoText(line);
        if (rows.is_text && !line.empty())
            ReadRow(line, rows);
        if (!rows.IsGood())
            return;
        rows.ends.push_back(static_cast<std::uint32_t>(rows.numbers.size()));
    }
}

void DeckBlocks::ReadRow(std::string_view line, DeckRows& rows) const {
    if (m_row_kind.read)
        m_row_kind.read(line, rows);
    else
        ReadFace(line, m_open.element_sets, m_open.surfaces[m_surface].name, rows);
}

void DeckBlocks::TakeRows(DeckRows const& rows, std::uint64_t before) {
    (this->*m_row_kind.take)(rows, before);
    if (!rows.is_text)
        throw NoText(before + rows.ends.size() + 1);
    if (!rows.fault.empty())
        m_place.Fail(rows.fault, before + rows.ends.size() + 1);
}

void DeckBlocks::ReadLine(std::string_view line) {
    if (TakesRows()) {
        DeckRows rows;
        ReadRows(line, rows);
        TakeRows(rows, m_place.file->GetLineNumber() - 1);
    } else if (m_read_line) {
        (this->*m_read_line)(line);
    }
}

void DeckBlocks::BeginNodes(DeckKeyword const& keyword) {
    RefuseOtherFile(keyword);
    if (std::string const system = NameKey(keyword.Get("SYSTEM")); !system.empty() && system != "R")
        RefuseSystem(keyword);
    m_set = nullptr;
    if (keyword.Has("NSET"))
        m_set = &m_open.node_sets.Get(keyword.Get("NSET"));
    m_row_kind = {ReadNode, &DeckBlocks::TakeNodes};
}

void DeckBlocks::TakeNodes(DeckRows const& rows, std::uint64_t) {
    Append(m_open.deck.node_ids, rows.numbers);
    Append(m_open.deck.positions, rows.positions);
    if (m_set)
        Append(m_set->ids, rows.numbers);
}

void DeckBlocks::BeginElements(DeckKeyword const& keyword) {
    RefuseOtherFile(keyword);
    std::string const type = NameKey(keyword.Get("TYPE"));
    m_kind = KindOfType(type);
    m_set = nullptr;
    if (keyword.Has("ELSET")) {
        m_set = &m_open.element_sets.Get(keyword.Get("ELSET"));
        m_set->is_of_elements_block = true;
    }
    m_unread_type = "elements of type " + (type.empty() ? "none" : type);
    m_is_continued = false;
    if (m_kind == 0)
        m_read_line = &DeckBlocks::SkipElement;
    else
        m_row_kind = {ReadNumbers, &DeckBlocks::TakeElements};
}

void DeckBlocks::TakeElements(DeckRows const& rows, std::uint64_t before) {
    if (m_numbers.empty() && AreOneALine(rows)) {
        AddElements(rows);
        return;
    }
    std::size_t begin = 0;
    for (std::uint32_t const end : rows.ends) {
        ++before;
        std::span const line(rows.numbers.data() + begin, end - begin);
        begin = end;
        if (m_numbers.empty() && line.size() == m_kind + 1U) { // as most are
            AddElement(line);
            continue;
        }
        m_numbers.insert(m_numbers.end(), line.begin(), line.end());
        if (m_numbers.size() <= m_kind)
            continue;
        if (m_numbers.size() > m_kind + 1U)
            m_place.Fail("element " + std::to_string(m_numbers.front()) + " has " +
                             std::to_string(m_numbers.size() - 1) + " nodes and needs " +
                             std::to_string(m_kind),
                         before);
        AddElement(m_numbers);
        m_numbers.clear();
    }
}

bool DeckBlocks::AreOneALine(DeckRows const& rows) const {
    std::uint32_t end = 0;
    return std::ranges::all_of(
        rows.ends, [&](std::uint32_t next) { return next - std::exchange(end, next) == m_kind + 1U; });
}

void DeckBlocks::AddElements(DeckRows const& rows) {
    std::size_t const elements = rows.ends.size();
    std::size_t const before = m_open.deck.element_ids.size();
    std::size_t const nodes_before = m_open.deck.nodes.size();
    m_open.deck.element_ids.resize(before + elements);
    m_open.deck.kinds.resize(before + elements, m_kind);
    m_open.deck.nodes.resize(nodes_before + elements * m_kind);
    auto number = rows.numbers.begin();
    auto node = m_open.deck.nodes.begin() + static_cast<std::ptrdiff_t>(nodes_before);
    for (std::size_t i = before; i < before + elements; ++i) {
        m_open.deck.element_ids[i] = *number++;
        node = std::copy_n(number, m_kind, node);
        number += m_kind;
    }
    if (m_set)
        Append(m_set->ids, std::span(m_open.deck.element_ids).subspan(before));
}

void DeckBlocks::AddElement(std::span<std::int32_t const> numbers) {
    m_open.deck.element_ids.push_back(numbers.front());
    m_open.deck.kinds.push_back(m_kind);
    Append(m_open.deck.nodes, numbers.subspan(1));
    if (m_set)
        m_set->ids.push_back(numbers.front());
}

void DeckBlocks::SkipElement(std::string_view line) {
    std::int32_t id = 0;
    if (!std::exchange(m_is_continued, line.back() == ',') && ReadId(NextWord(line), id)) {
        m_open.skipped_elements.push_back(id);
        ++m_open.deck.unread[m_unread_type];
    }
}

void DeckBlocks::BeginSet(DeckKeyword const& keyword, OpenSets& sets, std::string const& parameter) {
    if (!keyword.Has(parameter))
        m_place.Fail("*" + parameter + " needs " + parameter + "= with a name");
    m_set = &sets.Get(keyword.Get(parameter));
    if (keyword.Has("GENERATE"))
        m_read_line = &DeckBlocks::ReadRange;
    else
        m_row_kind = {ReadMembers, &DeckBlocks::TakeMembers};
}

void DeckBlocks::BeginNodeSet(DeckKeyword const& keyword) {
    if (keyword.Has("ELSET"))
        ++m_open.deck.unread["*NSET with ELSET="];
    BeginSet(keyword, m_open.node_sets, "NSET");
}

void DeckBlocks::BeginElementSet(DeckKeyword const& keyword) {
    BeginSet(keyword, m_open.element_sets, "ELSET");
}

void DeckBlocks::TakeMembers(DeckRows const& rows, std::uint64_t) {
    Append(m_set->ids, rows.numbers);
    Append(m_set->others, rows.names);
}

void DeckBlocks::ReadRange(std::string_view line) {
    std::vector<std::string_view> const words = Words(line);
    OpenSet::Range range{0, 0, 1};
    bool const is_good = words.size() >= 2 && words.size() <= 3 && ReadId(words[0], range.first) &&
                         ReadId(words[1], range.last) &&
                         (words.size() == 2 || ReadId(words[2], range.step)) && range.first <= range.last;
    if (!is_good)
        m_place.Fail("GENERATE needs first number, last number and step");
    m_set->ranges.push_back(range);
}

void DeckBlocks::BeginSurface(DeckKeyword const& keyword) {
    if (!keyword.Has("NAME"))
        m_place.Fail("*SURFACE needs NAME=");
    std::string const type = NameKey(keyword.Get("TYPE"));
    if (type == "NODE") {
        m_set = &m_open.node_sets.Get(keyword.Get("NAME"));
        m_row_kind = {ReadMembers, &DeckBlocks::TakeMembers};
        return;
    }
    if (!type.empty() && type != "ELEMENT") {
        ++m_open.deck.unread["*SURFACE of type " + type];
        return;
    }
    std::string const key = NameKey(keyword.Get("NAME"));
    auto const [found, is_new] = m_surface_of.try_emplace(key, m_open.surfaces.size());
    if (is_new)
        m_open.surfaces.push_back({keyword.Get("NAME"), {}});
    m_surface = found->second;
    m_row_kind = {nullptr, &DeckBlocks::TakeFaces};
}

void DeckBlocks::TakeFaces(DeckRows const& rows, std::uint64_t) {
    Append(m_open.surfaces[m_surface].faces, rows.faces);
    if (rows.unread_faces > 0)
        m_open.deck.unread["faces of surfaces that are not named S1 to S6"] += rows.unread_faces;
}

void DeckBlocks::BeginElastic(DeckKeyword const& keyword) {
    if (m_materials.TakesElastic(keyword))
        m_read_line = &DeckBlocks::ReadElastic;
}

void DeckBlocks::BeginDensity(DeckKeyword const&) {
    if (m_materials.HasBegun())
        m_read_line = &DeckBlocks::ReadDensity;
}

} // namespace KetSDK::MeshSolver::Detail
