// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Deck.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/IdIndex.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <limits>
#include <numeric>
#include <set>
#include <span>
#include <system_error>
#include <tuple>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

using Detail::IdIndex;
using Detail::LineFile;
using Detail::NameKey;
using Detail::ReadId;
using Detail::ReadReal;
using Detail::Trimmed;

// The words between commas.
std::vector<std::string_view> Words(std::string_view line) {
    std::vector<std::string_view> words;
    while (true) {
        std::size_t const comma = line.find(',');
        words.push_back(Trimmed(line.substr(0, comma)));
        if (comma == std::string_view::npos)
            break;
        line.remove_prefix(comma + 1);
    }
    if (words.back().empty())
        words.pop_back();
    return words;
}

// "*ELEMENT, TYPE=C3D4" with all of its parameters.
struct Keyword {
    std::string name; // in capitals, with single blanks
    std::map<std::string, std::string> parameters;

    bool Has(std::string const& parameter) const { return parameters.contains(parameter); }
    std::string Get(std::string const& parameter) const {
        auto const found = parameters.find(parameter);
        return found == parameters.end() ? std::string() : found->second;
    }
};

std::string Unquoted(std::string_view text) {
    text = Trimmed(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        text = text.substr(1, text.size() - 2);
    return std::string(text);
}

Keyword ParseKeyword(std::string_view line) {
    Keyword keyword;
    bool is_first = true;
    for (std::string_view const word : Words(line.substr(1))) {
        if (std::exchange(is_first, false)) {
            for (char const c : word) {
                bool const is_blank = c == ' ' || c == '\t';
                if (!is_blank)
                    keyword.name += NameKey(std::string_view(&c, 1));
                else if (keyword.name.back() != ' ')
                    keyword.name += ' ';
            }
            continue;
        }
        std::size_t const equals = word.find('=');
        std::string const key = NameKey(word.substr(0, equals));
        keyword.parameters[key] = equals == std::string_view::npos ? "" : Unquoted(word.substr(equals + 1));
    }
    return keyword;
}

// The number of nodes of an element of a type; 0 for types that are not read.
std::uint8_t KindOfType(std::string const& type) {
    if (!type.starts_with("C3D"))
        return 0;
    unsigned int nodes = 0;
    std::from_chars(type.data() + 3, type.data() + type.size(), nodes);
    return nodes == 4 || nodes == 6 || nodes == 8 || nodes == 10 ? static_cast<std::uint8_t>(nodes)
                                                                 : std::uint8_t{0};
}

unsigned int FacesOfKind(std::uint8_t nodes) {
    return nodes == 8 ? 6 : nodes == 6 ? 5 : 4;
}

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

class DeckReader {
public:
    DeckReader(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress,
               bool parallel)
        : m_path(path)
        , m_progress(progress)
        , m_parallel(parallel) {}

    Deck Read() {
        ReadFile(m_path, true);
        if (m_deck.element_ids.empty())
            throw Error("it defines no elements that make a volume mesh (C3D4, C3D10, C3D8, C3D6)");
        Resolve();
        return std::move(m_deck);
    }

private:
    // Reads a line of data.
    using Handler = void (DeckReader::*)(std::string_view line);

    struct OpenFace {
        std::int32_t id = 0;         // of an element; 0 for a set
        std::size_t element_set = 0; // index
        std::uint8_t face = 0;
    };
    struct OpenSurface {
        std::string name;
        std::vector<OpenFace> faces;
    };

    // What some lines of nodes, elements, members of sets or faces hold, up to one that has a fault.
    struct Rows {
        std::vector<std::int32_t> numbers;
        std::vector<std::array<double, 3>> positions;
        std::vector<std::string> names;
        std::vector<OpenFace> faces;
        std::uint64_t unread_faces = 0;
        std::vector<std::uint32_t> ends; // of the lines in `numbers`
        bool is_text = true;
        std::string fault;

        void Clear() {
            numbers.clear();
            positions.clear();
            names.clear();
            faces.clear();
            unread_faces = 0;
            ends.clear();
            is_text = true;
            fault.clear();
        }
        bool IsGood() const noexcept { return is_text && fault.empty(); }
    };
    // How the lines of a large block are read, on any thread, and how what they hold is put behind what came
    // before. There are `before` lines in the file before them.
    struct RowKind {
        void (DeckReader::*read)(std::string_view line, Rows& rows) const = nullptr;
        void (DeckReader::*take)(Rows const& rows, std::uint64_t before) = nullptr;
    };

    // --- Files and lines -----------------------------------------------------------------------------------

    void ReadFile(std::filesystem::path const& path, bool is_main) {
        std::error_code ignored;
        std::filesystem::path const real = std::filesystem::weakly_canonical(path, ignored);
        if (!m_open_files.insert(real).second)
            throw Error("it includes itself by " + path.filename().string());
        LineFile file(path, m_parallel);
        LineFile* const outer = std::exchange(m_file, &file);
        std::string const outer_name =
            std::exchange(m_included, is_main ? "" : path.filename().string() + " ");
        Common::IncrementalProgressReporter reporter(is_main ? m_progress : nullptr, "Reading deck",
                                                     file.GetSize(), true);
        auto* const outer_reporter = std::exchange(m_reporter, &reporter);
        std::uint64_t reported = 0; // lines
        std::string_view line;
        std::string keyword;                                   // with its continued lines
        while (ReadRows(keyword.empty()) || file.Next(line)) { // many lines, or one
            if (file.GetLineNumber() - reported >= 10000) {
                reported = file.GetLineNumber();
                Report();
            }
            ReadLine(std::exchange(line, {}), keyword);
        }
        if (is_main)
            EndBlock();
        m_file = outer;
        m_reporter = outer_reporter;
        m_included = outer_name;
        m_open_files.erase(real);
    }

    void Report() {
        *m_reporter = m_file->GetPosition();
        if (m_progress && m_progress->IsCancelled())
            throw Cancelled();
    }

    void ReadLine(std::string_view line, std::string& keyword) {
        line = Trimmed(line);
        if (line.empty())
            return;
        if (line.starts_with("**")) {
            ReadComment(line.substr(2));
        } else if (line.front() == '*' || !keyword.empty()) {
            keyword += line;
            if (keyword.back() != ',')
                Begin(ParseKeyword(std::exchange(keyword, std::string())));
        } else if (m_row_kind.read) {
            Rows rows;
            ReadRows(line, rows);
            TakeRows(rows, m_file->GetLineNumber() - 1);
        } else if (m_handler) {
            (this->*m_handler)(line);
        }
    }

    // Reads many lines of a large block at once, where there are some to come before the next keyword or
    // comment. False where there are none, or they are to be read one by one.
    bool ReadRows(bool is_possible) {
        std::string_view const text =
            is_possible && m_row_kind.read ? m_file->LinesAheadWithout('*') : std::string_view();
        if (text.empty())
            return false;
        std::vector<std::string_view> const pieces = Detail::PiecesOf(text);
        Support::WorkSteps const steps{.items = pieces.size(), .parallel = m_parallel, .window = 8};
        m_rows.resize(std::max<std::size_t>(m_rows.size(), steps.NumberOfSlots()));
        Support::ComputeSteps(
            steps,
            [&](std::uint64_t i, std::uint64_t, std::size_t slot) {
                ReadRows(pieces[static_cast<std::size_t>(i)], m_rows[slot]);
            },
            [&](std::uint64_t i, std::uint64_t, std::size_t slot) {
                TakeRows(m_rows[slot], m_file->GetLineNumber());
                m_file->Take(pieces[static_cast<std::size_t>(i)].size(), m_rows[slot].ends.size());
                Report();
                return true;
            });
        return true;
    }

    void ReadRows(std::string_view lines, Rows& rows) const {
        rows.Clear();
        bool const are_text = !Detail::IsNoText(lines);
        while (!lines.empty()) {
            std::size_t const end = std::min(lines.find('\n'), lines.size());
            std::string_view const line = Trimmed(lines.substr(0, end));
            lines.remove_prefix(std::min(end + 1, lines.size()));
            rows.is_text = are_text || !Detail::IsNoText(line);
            if (rows.is_text && !line.empty())
                (this->*m_row_kind.read)(line, rows);
            if (!rows.IsGood())
                return;
            rows.ends.push_back(static_cast<std::uint32_t>(rows.numbers.size()));
        }
    }

    void TakeRows(Rows const& rows, std::uint64_t before) {
        (this->*m_row_kind.take)(rows, before);
        if (!rows.is_text)
            throw Detail::NoText(before + rows.ends.size() + 1);
        if (!rows.fault.empty())
            Fail(rows.fault, before + rows.ends.size() + 1);
    }

    [[noreturn]] void Fail(std::string const& message) const { Fail(message, m_file->GetLineNumber()); }
    [[noreturn]] void Fail(std::string const& message, std::uint64_t line) const {
        throw Error(m_included + "line " + std::to_string(line) + ": " + message);
    }

    void ReadComment(std::string_view comment) {
        comment = Trimmed(comment);
        constexpr std::string_view subvolumes = "subvolumes:";
        constexpr std::string_view space = "SPACE=";
        if (comment.starts_with(subvolumes)) {
            for (std::string_view const name : Words(comment.substr(subvolumes.size())))
                m_deck.subvolumes.emplace_back(name);
        } else if (comment.starts_with(space)) {
            m_deck.space = Trimmed(comment.substr(space.size()));
        }
    }

    void Include(Keyword const& keyword) {
        std::filesystem::path const name = keyword.Get("INPUT");
        if (name.empty())
            Fail("*INCLUDE needs INPUT=");
        std::filesystem::path const folder = m_path.has_parent_path() ? m_path.parent_path() : ".";
        std::filesystem::path const path = folder / name;
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error))
            Fail("it includes " + name.string() + ", which is not there");
        if (std::filesystem::weakly_canonical(path, error).parent_path() !=
            std::filesystem::weakly_canonical(folder, error))
            Fail("it includes " + name.string() + ", which lies outside its folder");
        ReadFile(path, false);
    }

    // --- Keywords ------------------------------------------------------------------------------------------

    void Begin(Keyword const& keyword) {
        std::string const& name = keyword.name;
        if (m_is_in_step) {
            m_is_in_step = name != "END STEP";
            return;
        }
        if (name == "INCLUDE") { // its lines may go on with those of the present keyword
            Include(keyword);
            return;
        }
        EndBlock();
        m_handler = nullptr;
        m_row_kind = {};
        struct Known {
            char const* name;
            void (DeckReader::*begin)(Keyword const&);
        };
        static constexpr Known known[] = {
            {"NODE", &DeckReader::BeginNodes},
            {"ELEMENT", &DeckReader::BeginElements},
            {"NSET", &DeckReader::BeginNodeSet},
            {"ELSET", &DeckReader::BeginElementSet},
            {"SURFACE", &DeckReader::BeginSurface},
            {"MATERIAL", &DeckReader::BeginMaterial},
            {"ELASTIC", &DeckReader::BeginElastic},
            {"DENSITY", &DeckReader::BeginDensity},
            {"SOLID SECTION", &DeckReader::ReadSection},
            {"INSTANCE", &DeckReader::RefuseParts},
            {"SYSTEM", &DeckReader::RefuseSystem},
            {"STEP", &DeckReader::BeginStep},
            {"HEADING", &DeckReader::Skip},
            {"PREPRINT", &DeckReader::Skip},
        };
        for (Known const& each : known)
            if (name == each.name) {
                (this->*each.begin)(keyword);
                return;
            }
        ++m_deck.unread["*" + name];
    }

    // What a block leaves open ends with it.
    void EndBlock() {
        if (!m_numbers.empty())
            Fail("element " + std::to_string(m_numbers.front()) + " has " +
                 std::to_string(m_numbers.size() - 1) + " nodes and needs " + std::to_string(m_kind));
    }

    void Skip(Keyword const&) {}
    void BeginStep(Keyword const&) {
        ++m_deck.unread["*STEP"];
        m_is_in_step = true;
    }
    void RefuseParts(Keyword const& keyword) {
        Fail("it is made of instances of parts (*INSTANCE " + keyword.Get("NAME") +
             "); write it as one flat model");
    }
    void RefuseSystem(Keyword const&) { Fail("coordinates of another system (*SYSTEM) are not read"); }
    void RefuseOtherFile(Keyword const& keyword) {
        if (keyword.Has("INPUT"))
            Fail("*" + keyword.name + " with INPUT= is not read; *INCLUDE is");
    }

    // --- Nodes ---------------------------------------------------------------------------------------------

    void BeginNodes(Keyword const& keyword) {
        RefuseOtherFile(keyword);
        if (std::string const system = NameKey(keyword.Get("SYSTEM")); !system.empty() && system != "R")
            RefuseSystem(keyword);
        m_set = nullptr;
        if (keyword.Has("NSET"))
            m_set = &m_node_sets.Get(keyword.Get("NSET"));
        m_row_kind = {&DeckReader::ReadNode, &DeckReader::TakeNodes};
    }

    void ReadNode(std::string_view line, Rows& rows) const {
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

    template <typename Item, typename Others>
    static void Append(std::vector<Item>& items, Others const& others) {
        items.insert(items.end(), others.begin(), others.end());
    }

    void TakeNodes(Rows const& rows, std::uint64_t) {
        Append(m_deck.node_ids, rows.numbers);
        Append(m_deck.positions, rows.positions);
        if (m_set)
            Append(m_set->ids, rows.numbers);
    }

    // Takes the word before the next comma off a line, which has no data when that was the last.
    static std::string_view NextWord(std::string_view& line) {
        std::size_t const comma = line.find(',');
        std::string_view const word = Trimmed(line.substr(0, comma));
        line = comma == std::string_view::npos ? std::string_view() : line.substr(comma + 1);
        return word;
    }

    // The same for a word that is a number as most are written, which takes a third of the time. Otherwise it
    // is false, and the line stays.
    static bool TakeId(std::string_view& line, std::int32_t& id) {
        char const* at = line.data();
        char const* const end = at + line.size();
        while (at != end && *at == ' ')
            ++at;
        std::int64_t number = 0;
        for (; at != end && *at >= '0' && *at <= '9' && number <= std::numeric_limits<std::int32_t>::max();
             ++at)
            number = 10 * number + (*at - '0');
        if (number == 0 || number > std::numeric_limits<std::int32_t>::max() || (at != end && *at != ','))
            return false;
        id = static_cast<std::int32_t>(number);
        line =
            at == end ? std::string_view() : std::string_view(at + 1, static_cast<std::size_t>(end - at - 1));
        return true;
    }

    // --- Elements ------------------------------------------------------------------------------------------

    void BeginElements(Keyword const& keyword) {
        RefuseOtherFile(keyword);
        std::string const type = NameKey(keyword.Get("TYPE"));
        m_kind = KindOfType(type);
        m_set = nullptr;
        if (keyword.Has("ELSET")) {
            m_set = &m_element_sets.Get(keyword.Get("ELSET"));
            m_set->is_of_elements_block = true;
        }
        m_unread_type = "elements of type " + (type.empty() ? "none" : type);
        m_is_continued = false;
        if (m_kind == 0)
            m_handler = &DeckReader::SkipElement;
        else
            m_row_kind = {&DeckReader::ReadNumbers, &DeckReader::TakeElements};
    }

    void ReadNumbers(std::string_view line, Rows& rows) const {
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

    void TakeElements(Rows const& rows, std::uint64_t before) {
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
                Fail("element " + std::to_string(m_numbers.front()) + " has " +
                         std::to_string(m_numbers.size() - 1) + " nodes and needs " + std::to_string(m_kind),
                     before);
            AddElement(m_numbers);
            m_numbers.clear();
        }
    }

    // Whether each line is an element, as in most decks.
    bool AreOneALine(Rows const& rows) const {
        std::uint32_t end = 0;
        return std::ranges::all_of(
            rows.ends, [&](std::uint32_t next) { return next - std::exchange(end, next) == m_kind + 1U; });
    }

    void AddElements(Rows const& rows) {
        std::size_t const elements = rows.ends.size();
        std::size_t const before = m_deck.element_ids.size();
        std::size_t const nodes_before = m_deck.nodes.size();
        m_deck.element_ids.resize(before + elements);
        m_deck.kinds.resize(before + elements, m_kind);
        m_deck.nodes.resize(nodes_before + elements * m_kind);
        auto number = rows.numbers.begin();
        auto node = m_deck.nodes.begin() + static_cast<std::ptrdiff_t>(nodes_before);
        for (std::size_t i = before; i < before + elements; ++i) {
            m_deck.element_ids[i] = *number++;
            node = std::copy_n(number, m_kind, node);
            number += m_kind;
        }
        if (m_set)
            Append(m_set->ids, std::span(m_deck.element_ids).subspan(before));
    }

    void AddElement(std::span<std::int32_t const> numbers) {
        m_deck.element_ids.push_back(numbers.front());
        m_deck.kinds.push_back(m_kind);
        Append(m_deck.nodes, numbers.subspan(1));
        if (m_set)
            m_set->ids.push_back(numbers.front());
    }

    void SkipElement(std::string_view line) {
        std::int32_t id = 0;
        if (!std::exchange(m_is_continued, line.back() == ',') && ReadId(NextWord(line), id)) {
            m_skipped_elements.push_back(id);
            ++m_deck.unread[m_unread_type];
        }
    }

    // --- Sets and surfaces ---------------------------------------------------------------------------------

    void BeginSet(Keyword const& keyword, OpenSets& sets, std::string const& parameter) {
        if (!keyword.Has(parameter))
            Fail("*" + parameter + " needs " + parameter + "= with a name");
        m_set = &sets.Get(keyword.Get(parameter));
        if (keyword.Has("GENERATE"))
            m_handler = &DeckReader::ReadRange;
        else
            m_row_kind = {&DeckReader::ReadMembers, &DeckReader::TakeMembers};
    }
    void BeginNodeSet(Keyword const& keyword) {
        if (keyword.Has("ELSET"))
            ++m_deck.unread["*NSET with ELSET="];
        BeginSet(keyword, m_node_sets, "NSET");
    }
    void BeginElementSet(Keyword const& keyword) { BeginSet(keyword, m_element_sets, "ELSET"); }

    void ReadMembers(std::string_view line, Rows& rows) const {
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

    void TakeMembers(Rows const& rows, std::uint64_t) {
        Append(m_set->ids, rows.numbers);
        Append(m_set->others, rows.names);
    }

    void ReadRange(std::string_view line) {
        std::vector<std::string_view> const words = Words(line);
        OpenSet::Range range{0, 0, 1};
        bool const is_good = words.size() >= 2 && words.size() <= 3 && ReadId(words[0], range.first) &&
                             ReadId(words[1], range.last) &&
                             (words.size() == 2 || ReadId(words[2], range.step)) && range.first <= range.last;
        if (!is_good)
            Fail("GENERATE needs first number, last number and step");
        m_set->ranges.push_back(range);
    }

    void BeginSurface(Keyword const& keyword) {
        if (!keyword.Has("NAME"))
            Fail("*SURFACE needs NAME=");
        std::string const type = NameKey(keyword.Get("TYPE"));
        if (type == "NODE") {
            m_set = &m_node_sets.Get(keyword.Get("NAME"));
            m_row_kind = {&DeckReader::ReadMembers, &DeckReader::TakeMembers};
            return;
        }
        if (!type.empty() && type != "ELEMENT") {
            ++m_deck.unread["*SURFACE of type " + type];
            return;
        }
        std::string const key = NameKey(keyword.Get("NAME"));
        auto const [found, is_new] = m_surface_of.try_emplace(key, m_surfaces.size());
        if (is_new)
            m_surfaces.push_back({keyword.Get("NAME"), {}});
        m_surface = found->second;
        m_row_kind = {&DeckReader::ReadFace, &DeckReader::TakeFaces};
    }

    void ReadFace(std::string_view line, Rows& rows) const {
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
            auto const set = m_element_sets.Find(Unquoted(words[0]));
            if (!set) {
                rows.fault = "the surface " + m_surfaces[m_surface].name + " names the element set " +
                             std::string(words[0]) + ", which is not defined before it";
                return;
            }
            face.element_set = *set;
        }
        rows.faces.push_back(face);
    }

    void TakeFaces(Rows const& rows, std::uint64_t) {
        Append(m_surfaces[m_surface].faces, rows.faces);
        if (rows.unread_faces > 0)
            m_deck.unread["faces of surfaces that are not named S1 to S6"] += rows.unread_faces;
    }

    // --- Materials -----------------------------------------------------------------------------------------

    std::size_t MaterialNamed(std::string const& name) {
        auto const [found, is_new] = m_material_of.try_emplace(NameKey(name), m_deck.materials.size());
        if (is_new)
            m_deck.materials.push_back({name, {}, {}, {}});
        return found->second;
    }
    void BeginMaterial(Keyword const& keyword) {
        m_material = MaterialNamed(keyword.Get("NAME"));
        m_defined_materials.insert(*m_material);
    }

    void BeginElastic(Keyword const& keyword) {
        std::string const type = NameKey(keyword.Get("TYPE"));
        bool const is_isotropic = type.empty() || type.starts_with("ISO");
        if (!m_material || !is_isotropic)
            ++m_deck.unread["*ELASTIC" + (type.empty() ? type : " of type " + type)];
        else
            m_handler = &DeckReader::ReadElastic;
    }
    void ReadElastic(std::string_view line) {
        Deck::Material& material = m_deck.materials[*m_material];
        if (material.emodulus) {
            ++m_deck.unread["moduli that depend on temperature"];
            return;
        }
        material.emodulus = ReadProperty(NextWord(line), "*ELASTIC");
        material.poisson = line.data() ? ReadProperty(NextWord(line), "*ELASTIC") : 0.0;
    }

    void BeginDensity(Keyword const&) {
        if (m_material)
            m_handler = &DeckReader::ReadDensity;
    }
    void ReadDensity(std::string_view line) {
        // In tonne/mm3; the digits are kept.
        double const density = ReadProperty(NextWord(line), "*DENSITY") * 1e9;
        std::array<char, 32> text;
        char* const end =
            std::to_chars(text.data(), text.data() + text.size(), density, std::chars_format::scientific, 14)
                .ptr;
        double rounded = density;
        std::from_chars(text.data(), end, rounded);
        if (!m_deck.materials[*m_material].density)
            m_deck.materials[*m_material].density = rounded;
    }

    double ReadProperty(std::string_view word, char const* keyword) const {
        double value = 0.0;
        if (!ReadReal(word, value))
            Fail("\"" + std::string(word) + "\" after " + keyword + " is no number");
        return value;
    }

    void ReadSection(Keyword const& keyword) {
        std::string const set = keyword.Get("ELSET");
        std::string const material = keyword.Get("MATERIAL");
        if (set.empty() || material.empty())
            Fail("*SOLID SECTION needs ELSET= and MATERIAL=");
        m_section_names.emplace_back(NameKey(set), MaterialNamed(material));
    }

    // --- From numbers to indices in the lists --------------------------------------------------------------

    void Resolve() {
        IdIndex const nodes(m_deck.node_ids, "node");
        ResolveElements(nodes);
        IdIndex const elements(m_deck.element_ids, "element");
        std::ranges::sort(m_skipped_elements);
        auto const is_skipped = [this](std::int32_t id) {
            return std::ranges::binary_search(m_skipped_elements, id);
        };
        for (std::int32_t const id : m_skipped_elements)
            if (elements.Find(id) != IdIndex::None)
                throw Error("element " + std::to_string(id) + " is defined twice");
        m_deck.node_sets =
            ResolveSets(m_node_sets, nodes, m_deck.node_ids, "node", [](std::int32_t) { return false; });
        m_deck.element_sets =
            ResolveSets(m_element_sets, elements, m_deck.element_ids, "element", is_skipped);
        m_deck.surfaces.resize(m_surfaces.size());
        Support::ComputeSteps<std::string>(
            {.items = m_surfaces.size(), .parallel = m_parallel},
            [&](std::uint64_t i, std::uint64_t, std::string& fault) {
                auto const surface = static_cast<std::size_t>(i);
                fault = ResolveSurface(m_surfaces[surface], elements, is_skipped, m_deck.surfaces[surface]);
            },
            [](std::uint64_t, std::uint64_t, std::string const& fault) {
                return fault.empty() ? true : throw Error(fault);
            });
        for (auto const& [set, material] : m_section_names) {
            auto const found = m_element_sets.Find(set);
            if (!found)
                throw Error("a section is for the element set " + set + ", which is not defined");
            if (!m_defined_materials.contains(material))
                ++m_deck.unread["material " + m_deck.materials[material].name + ", which is not defined"];
            m_deck.sections.push_back({*found, material});
        }
    }

    // What a step of work has found of numbers.
    struct Found {
        bool are_all = true;       // in the list
        bool are_ascending = true; // by their indices, each once
    };

    // Puts the indices of numbers into `indices`, which is as long.
    Found FindAll(IdIndex const& index, std::span<std::int32_t const> ids,
                  std::span<std::uint32_t> indices) const {
        Found all;
        Support::ComputeSteps<Found>(
            {.items = ids.size(), .step = 1 << 14, .parallel = m_parallel},
            [&](std::uint64_t first, std::uint64_t last, Found& found) {
                found = {};
                for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                    indices[i] = index.Find(ids[i]);
                    found.are_all &= indices[i] != IdIndex::None;
                    found.are_ascending &= i == first || indices[i - 1] < indices[i];
                }
            },
            [&](std::uint64_t first, std::uint64_t, Found const& found) {
                auto const i = static_cast<std::size_t>(first);
                all.are_all &= found.are_all;
                all.are_ascending &= found.are_ascending && (i == 0 || indices[i - 1] < indices[i]);
                return true;
            });
        return all;
    }

    void ResolveElements(IdIndex const& nodes) {
        // In place: what is not found stays as it is, for the error.
        std::size_t const unknown = FindInPlace(nodes);
        if (unknown == m_deck.nodes.size())
            return;
        std::size_t element = 0;
        for (std::size_t end = m_deck.kinds[0]; end <= unknown; end += m_deck.kinds[element])
            ++element;
        throw Error("element " + std::to_string(m_deck.element_ids[element]) + " has node " +
                    std::to_string(m_deck.nodes[unknown]) + ", which is not defined");
    }

    // Puts indices in place of the numbers of nodes, up to the first number that is not there, and returns
    // where it is; the size when all are.
    std::size_t FindInPlace(IdIndex const& index) {
        auto& ids = m_deck.nodes;
        std::size_t first_unknown = ids.size();
        Support::ComputeSteps<std::size_t>(
            {.items = ids.size(), .step = 1 << 14, .parallel = m_parallel},
            [&](std::uint64_t first, std::uint64_t last, std::size_t& unknown) {
                for (unknown = static_cast<std::size_t>(first); unknown < last; ++unknown) {
                    std::uint32_t const at = index.Find(static_cast<std::int32_t>(ids[unknown]));
                    if (at == IdIndex::None)
                        break;
                    ids[unknown] = at;
                }
            },
            [&](std::uint64_t, std::uint64_t last, std::size_t unknown) {
                if (unknown < last)
                    first_unknown = unknown;
                return unknown == last;
            });
        return first_unknown;
    }

    template <typename IsSkipped>
    std::vector<Deck::Set> ResolveSets(OpenSets& sets, IdIndex const& index,
                                       std::vector<std::int32_t> const& ids, std::string const& what,
                                       IsSkipped const& is_skipped) const {
        std::vector<Deck::Set> resolved;
        for (OpenSet& set : sets.All()) {
            Deck::Set& own = resolved.emplace_back(Deck::Set{set.name, {}, set.is_of_elements_block});
            own.members.resize(set.ids.size());
            Found const found = FindAll(index, set.ids, own.members);
            for (std::size_t i = 0; !found.are_all && i < set.ids.size(); ++i)
                if (own.members[i] == IdIndex::None && !is_skipped(set.ids[i]))
                    throw Error("the set " + set.name + " has " + what + " " + std::to_string(set.ids[i]) +
                                ", which is not defined");
            if (!found.are_all)
                std::erase(own.members, IdIndex::None);
            std::vector<std::int32_t>().swap(set.ids);
            bool const has_ranges = !set.ranges.empty();
            std::size_t limit = 2 * ids.size();
            for (OpenSet::Range const& range : Merged(std::move(set.ranges))) {
                AddRange(range, index, ids, own.members);
                SortOnceBeyond(limit, own.members);
            }
            if (!found.are_all || !found.are_ascending || has_ranges)
                SortOnce(own.members);
        }
        for (std::size_t i = 0; i < resolved.size(); ++i)
            AddOthers(sets, i, ids.size(), resolved);
        return resolved;
    }

    // Ranges that have no number in common with another of the same step, so that lines that repeat others
    // cost nothing.
    static std::vector<OpenSet::Range> Merged(std::vector<OpenSet::Range> ranges) {
        auto const place = [](OpenSet::Range const& range) {
            return std::tuple(range.step, range.first % range.step, range.first);
        };
        std::ranges::sort(ranges, {}, place);
        std::vector<OpenSet::Range> merged;
        for (OpenSet::Range const& range : ranges) {
            bool const goes_on = !merged.empty() && merged.back().step == range.step &&
                                 (range.first - merged.back().first) % range.step == 0 &&
                                 range.first <= merged.back().last;
            if (goes_on)
                merged.back().last = std::max(merged.back().last, range.last);
            else
                merged.push_back(range);
        }
        return merged;
    }

    // Numbers in between that are not there are left out, as solvers do.
    static void AddRange(OpenSet::Range const& range, IdIndex const& index,
                         std::vector<std::int32_t> const& ids, std::vector<std::uint32_t>& members) {
        if (static_cast<std::size_t>((range.last - range.first) / range.step) < ids.size()) {
            for (std::int64_t id = range.first; id <= range.last; id += range.step)
                if (std::uint32_t const at = index.Find(static_cast<std::int32_t>(id)); at != IdIndex::None)
                    members.push_back(at);
            return;
        }
        for (std::size_t i = 0; i < ids.size(); ++i)
            if (ids[i] >= range.first && ids[i] <= range.last && (ids[i] - range.first) % range.step == 0)
                members.push_back(static_cast<std::uint32_t>(i));
    }

    // Sets in sets; each is walked once, so that sets that name each other end. Those before set i have the
    // members of all that they name already.
    static void AddOthers(OpenSets& sets, std::size_t i, std::size_t ids, std::vector<Deck::Set>& resolved) {
        if (sets.All()[i].others.empty())
            return;
        std::set<std::size_t> seen = {i};
        std::vector<std::size_t> open = {i};
        std::size_t limit = 2 * ids;
        while (!open.empty()) {
            std::size_t const at = open.back();
            open.pop_back();
            for (std::string const& name : sets.All()[at].others) {
                auto const other = sets.Find(name);
                if (!other)
                    throw Error("the set " + sets.All()[at].name + " names the set " + name +
                                ", which is not defined");
                if (!seen.insert(*other).second)
                    continue;
                if (*other > i)
                    open.push_back(*other);
                Append(resolved[i].members, resolved[*other].members);
                SortOnceBeyond(limit, resolved[i].members);
            }
        }
        SortOnce(resolved[i].members);
    }

    template <typename Item>
    static void SortOnce(std::vector<Item>& items) {
        if (!std::ranges::is_sorted(items))
            std::ranges::sort(items);
        items.erase(std::unique(items.begin(), items.end()), items.end());
    }

    // The same where there are more items than the limit, which becomes twice those that differ at least. So
    // memory grows with these, however often a short deck repeats them.
    template <typename Item>
    static void SortOnceBeyond(std::size_t& limit, std::vector<Item>& items) {
        if (items.size() <= limit)
            return;
        SortOnce(items);
        limit = std::max(limit, 2 * items.size());
    }

    // Returns what is wrong with it; nothing for most.
    template <typename IsSkipped>
    std::string ResolveSurface(OpenSurface const& open, IdIndex const& elements, IsSkipped const& is_skipped,
                               Deck::Surface& surface) const {
        surface.name = open.name;
        std::string fault;
        auto const add = [&](std::uint32_t element, std::uint8_t face) {
            if (face > FacesOfKind(m_deck.kinds[element]))
                fault = "the surface " + open.name + " has face S" + std::to_string(face) + " of element " +
                        std::to_string(m_deck.element_ids[element]) + ", which has " +
                        std::to_string(FacesOfKind(m_deck.kinds[element])) + " faces";
            surface.faces.push_back({element, face});
            return fault.empty();
        };
        std::set<std::pair<std::size_t, std::uint8_t>> seen; // sets and faces
        std::size_t limit = 2 * m_deck.element_ids.size();
        for (OpenFace const& face : open.faces) {
            if (face.id == 0) {
                if (!seen.emplace(face.element_set, face.face).second)
                    continue;
                for (std::uint32_t const element : m_deck.element_sets[face.element_set].members)
                    if (!add(element, face.face))
                        return fault;
                SortOnceBeyond(limit, surface.faces);
                continue;
            }
            std::uint32_t const element = elements.Find(face.id);
            if (element != IdIndex::None) {
                if (!add(element, face.face))
                    return fault;
            } else if (!is_skipped(face.id)) {
                return "the surface " + open.name + " has element " + std::to_string(face.id) +
                       ", which is not defined";
            }
        }
        SortOnce(surface.faces);
        return fault;
    }

    std::filesystem::path m_path;
    std::shared_ptr<Common::IProgressDelegate> m_progress;
    bool m_parallel;
    Deck m_deck;

    std::set<std::filesystem::path> m_open_files;
    LineFile* m_file = nullptr; // that is being read
    Common::IncrementalProgressReporter* m_reporter = nullptr;
    std::string m_included; // its name, where it is not the deck itself

    // Of the lines behind the present keyword; they are skipped where there is neither.
    Handler m_handler = nullptr;
    RowKind m_row_kind;
    std::vector<Rows> m_rows; // that threads read into
    bool m_is_in_step = false;
    std::uint8_t m_kind = 0;             // of elements
    std::vector<std::int32_t> m_numbers; // of an element, which may take several lines
    std::string m_unread_type;
    bool m_is_continued = false;
    std::vector<std::int32_t> m_skipped_elements;
    OpenSet* m_set = nullptr;
    OpenSets m_node_sets;
    OpenSets m_element_sets;
    std::vector<OpenSurface> m_surfaces;
    std::map<std::string, std::size_t> m_surface_of;
    std::size_t m_surface = 0;
    std::optional<std::size_t> m_material;
    std::map<std::string, std::size_t> m_material_of;
    std::set<std::size_t> m_defined_materials;                        // others stand in sections only
    std::vector<std::pair<std::string, std::size_t>> m_section_names; // key of the set, material
};

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
        set_of.emplace(NameKey(deck.element_sets[i].name), i);
    for (std::string const& name : deck.subvolumes) {
        auto const [first, last] = set_of.equal_range(NameKey(name));
        for (auto set = first; set != last; ++set)
            named.push_back(set->second);
    }
    return named;
}

} // namespace

Deck ReadDeck(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress,
              bool parallel) {
    return DeckReader(path, progress, parallel).Read();
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
