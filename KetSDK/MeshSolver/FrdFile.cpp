// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/FrdFile.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

using Detail::LineFile;
using Detail::Trimmed;

constexpr std::size_t ValueWidth = 12;
constexpr double None = std::numeric_limits<double>::quiet_NaN();

// What the lines of a block begin with.
constexpr int RowLine = -1;
constexpr int EndLine = -3;
constexpr int NameLine = -4;
constexpr int LastLine = -5;
constexpr char const* BadKey = "a line of a block does not begin with -1 to -5";

// Columns have fixed widths and no blanks between them. What lies behind the end of a line is empty.
std::string_view Columns(std::string_view line, std::size_t first, std::size_t width) {
    return first < line.size() ? line.substr(first, width) : std::string_view();
}

// The fields that are read, and how many of their components: those behind are made of the others.
struct KnownField {
    char const* name;
    std::uint32_t components;
};
constexpr std::uint32_t MostComponents = 6;
constexpr KnownField KnownFields[] = {{"DISP", 3}, {"STRESS", 6}, {"TOSTRAIN", 6}, {"FORC", 3}};

class FrdReader {
public:
    FrdReader(std::filesystem::path const& path, FrdOptions const& options)
        : m_file(path, options.parallel)
        , m_options(options)
        , m_reporter(options.progress, "Reading results", m_file.GetSize(), true) {}

    FrdResult Read() {
        std::string_view line;
        bool is_whole = false;
        while (!is_whole && Next(line)) {
            std::string_view const key = Trimmed(Columns(line, 0, 6));
            if (key == "9999")
                is_whole = true;
            else if (key == "2C")
                ReadNodes(line);
            else if (key == "3C")
                SkipBlock();
            else if (key == "1P")
                ReadStepNumbers(line);
            else if (key == "100C")
                ReadResults(line);
        }
        if (!is_whole)
            throw Error("it is cut off: the line 9999 at its end is missing; the solver was stopped or is "
                        "still at work");
        CheckStep();
        return std::move(m_result);
    }

private:
    // What some lines of a block hold, up to the one that ends it or has a fault.
    struct Rows {
        std::vector<std::size_t> nodes;
        std::vector<double> values;
        std::size_t bytes = 0; // of the lines without fault
        std::uint64_t lines = 0;
        bool is_end = false; // of the block
        bool is_text = true;
        std::string fault;

        void Clear() {
            nodes.clear();
            values.clear();
            bytes = 0;
            lines = 0;
            is_end = false;
            is_text = true;
            fault.clear();
        }
    };
    // How the lines of a block are read, on any thread.
    struct RowKind {
        void (FrdReader::*read)(std::string_view line, RowKind const& kind, Rows& rows) const = nullptr;
        std::size_t width = 0; // of node numbers
        std::uint32_t components = 0;
        bool has_other_keys = false; // their lines are read like those of RowLine
    };

    // --- Lines ---------------------------------------------------------------------------------------------

    bool Next(std::string_view& line) {
        if (m_file.GetLineNumber() % 10000 == 0)
            Report();
        return m_file.Next(line);
    }

    void Report() {
        m_reporter = m_file.GetPosition();
        if (m_reporter.IsCancelled())
            throw Cancelled();
    }

    [[noreturn]] void Fail(std::string const& message) const {
        throw Error("line " + std::to_string(m_file.GetLineNumber()) + ": " + message);
    }

    // The key of a line; 0 when it has none that a block has.
    static int KeyOf(std::string_view line) {
        int key = 0;
        std::string_view const text = Trimmed(Columns(line, 0, 3));
        std::from_chars(text.data(), text.data() + text.size(), key);
        return key < LastLine || key > 0 ? 0 : key;
    }

    // Reads the lines of a block to its end, many at once, and gives take(rows) what they hold in their
    // order.
    template <typename Take>
    void ReadBlock(RowKind const& kind, Take const& take) {
        bool is_end = false;
        while (!is_end) {
            std::vector<std::string_view> const pieces = Detail::PiecesOf(m_file.LinesAhead());
            if (pieces.empty())
                throw Error("it is cut off within a block");
            Support::WorkSteps const steps{
                .items = pieces.size(), .parallel = m_options.parallel, .window = 8};
            m_rows.resize(std::max<std::size_t>(m_rows.size(), steps.NumberOfSlots()));
            Support::ComputeSteps(
                steps,
                [&](std::uint64_t i, std::uint64_t, std::size_t slot) {
                    ReadRows(pieces[static_cast<std::size_t>(i)], kind, m_rows[slot]);
                },
                [&](std::uint64_t, std::uint64_t, std::size_t slot) {
                    Rows const& rows = m_rows[slot];
                    Report();
                    take(rows);
                    m_file.Take(rows.bytes, rows.lines);
                    if (!rows.is_text)
                        throw Detail::NoText(m_file.GetLineNumber() + 1);
                    if (!rows.fault.empty())
                        Fail(rows.fault);
                    is_end = rows.is_end;
                    return !is_end;
                });
        }
    }

    void ReadRows(std::string_view const lines, RowKind const& kind, Rows& rows) const {
        rows.Clear();
        bool const are_text = !Detail::IsNoText(lines);
        while (rows.bytes < lines.size() && !rows.is_end) {
            std::size_t const end = std::min(lines.find('\n', rows.bytes), lines.size());
            std::string_view const line = lines.substr(rows.bytes, end - rows.bytes);
            rows.is_text = are_text || !Detail::IsNoText(line);
            if (!rows.is_text)
                return;
            ++rows.lines;
            rows.bytes = std::min(end + 1, lines.size());
            int const key = KeyOf(line);
            rows.is_end = key == EndLine;
            if (key == 0)
                rows.fault = BadKey;
            else if (kind.read && !rows.is_end && (key == RowLine || kind.has_other_keys))
                (this->*kind.read)(line, kind, rows);
            if (!rows.fault.empty())
                return;
        }
    }

    void SkipBlock() {
        ReadBlock({}, [](Rows const&) {});
    }

    // --- Blocks --------------------------------------------------------------------------------------------

    // The width of node numbers: by the format at the end of the head of a block.
    std::size_t NumberWidth(std::string_view head) const {
        std::string_view const format = Trimmed(Columns(head, 73, 2));
        if (format == "0")
            return 5;
        if (format == "1")
            return 10;
        Fail(format == "2" || format == "3"
                 ? "it is binary; *NODE FILE and *EL FILE write the text that is needed"
                 : "the head of a block names no format");
    }

    bool ReadNode(std::string_view line, std::size_t width, std::size_t& node, Rows& rows) const {
        std::int32_t id = 0;
        if (!Detail::ReadId(Columns(line, 3, width), id)) {
            rows.fault = "there is no number of a node";
            return false;
        }
        std::optional<std::size_t> const index = m_options.index_of(id);
        if (!index || *index >= m_options.nodes) {
            rows.fault = "node " + std::to_string(id) + " is not in the mesh, which has " +
                         std::to_string(m_options.nodes) + " nodes; the results are those of another mesh";
            return false;
        }
        node = *index;
        return true;
    }

    static bool ReadValue(std::string_view line, std::size_t at, double& value, Rows& rows) {
        std::string_view const text = Columns(line, at, ValueWidth);
        if (Detail::ReadReal(text, value) && std::isfinite(value))
            return true;
        rows.fault = "\"" + std::string(Trimmed(text)) + "\" is no finite number; the solver has failed";
        return false;
    }

    void ReadNodes(std::string_view head) {
        ReadBlock({.read = &FrdReader::CheckNode, .width = NumberWidth(head), .has_other_keys = true},
                  [](Rows const&) {});
        m_has_nodes = true;
    }

    void CheckNode(std::string_view line, RowKind const& kind, Rows& rows) const {
        std::size_t node = 0;
        if (!ReadNode(line, kind.width, node, rows))
            return;
        std::array<double, 3> const position = m_options.position_of(node);
        for (std::size_t i = 0; i < 3; ++i) {
            double value = 0.0;
            if (!ReadValue(line, 3 + kind.width + i * ValueWidth, value, rows))
                return;
            // Six digits are written.
            if (std::fabs(value - position[i]) > 1e-5 * std::fabs(position[i]) + 2e-5) {
                rows.fault = "node " + std::string(Trimmed(Columns(line, 3, kind.width))) +
                             " lies elsewhere in the mesh; the results are those of another mesh";
                return;
            }
        }
    }

    void ReadStepNumbers(std::string_view line) {
        if (Columns(line, 4, 6) != "1PSTEP")
            return;
        std::string_view const text = Trimmed(Columns(line, 48, 12)); // behind data set and increment
        int step = 0;
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), step);
        m_step = error == std::errc() ? std::optional(step) : std::nullopt;
    }

    int StepOf(std::string_view head) const {
        if (m_step)
            return *m_step;
        int step = 0;
        std::string_view const text = Trimmed(Columns(head, 58, 5));
        std::from_chars(text.data(), text.data() + text.size(), step);
        return step;
    }

    void ReadResults(std::string_view head) {
        if (!m_has_nodes)
            Fail("results come before the nodes");
        std::size_t const width = NumberWidth(head);
        double time = 0.0;
        Detail::ReadReal(Columns(head, 12, 12), time);
        int const step = StepOf(head);
        m_last_step = step;
        std::string_view line;
        if (!Next(line))
            throw Error("it is cut off within a block");
        if (int const key = KeyOf(line); key != NameLine)
            Fail(key == 0 ? BadKey : "results have no name");
        std::string const name(Trimmed(Columns(line, 5, 8)));
        auto const known = std::ranges::find(KnownFields, name, &KnownField::name);
        if ((m_options.step && step != *m_options.step) || known == std::end(KnownFields)) {
            SkipBlock();
            return;
        }
        if (step != m_result.step || time != m_result.time)
            m_result.fields.clear();
        m_result.step = step;
        m_result.time = time;
        FrdResult::Field& field = m_result.fields[name];
        field.components = known->components;
        field.values.assign(m_options.nodes * known->components, None);
        ReadField(field, width);
    }

    void ReadField(FrdResult::Field& field, std::size_t width) {
        std::size_t const components = field.components;
        ReadBlock({.read = &FrdReader::ReadRow, .width = width, .components = field.components},
                  [&field, components](Rows const& rows) {
                      for (std::size_t i = 0; i < rows.nodes.size(); ++i)
                          std::copy_n(&rows.values[i * components], components,
                                      &field.values[rows.nodes[i] * components]);
                  });
    }

    void ReadRow(std::string_view line, RowKind const& kind, Rows& rows) const {
        std::size_t node = 0;
        if (!ReadNode(line, kind.width, node, rows))
            return;
        std::array<double, MostComponents> values{};
        for (std::uint32_t i = 0; i < kind.components; ++i)
            if (!ReadValue(line, 3 + kind.width + i * ValueWidth, values[i], rows))
                return;
        rows.nodes.push_back(node);
        rows.values.insert(rows.values.end(), values.begin(), values.begin() + kind.components);
    }

    void CheckStep() const {
        if (!m_result.fields.empty())
            return;
        if (m_options.step && m_last_step)
            throw Error("there is no step " + std::to_string(*m_options.step) + "; the last is step " +
                        std::to_string(*m_last_step));
        throw Error("it holds no results; *NODE FILE with U, RF and *EL FILE with S, E write them");
    }

    LineFile m_file;
    FrdOptions const& m_options;
    Common::IncrementalProgressReporter m_reporter;
    FrdResult m_result;
    bool m_has_nodes = false;
    std::optional<int> m_step; // of the results to come
    std::optional<int> m_last_step;
    std::vector<Rows> m_rows; // that threads read into
};

} // namespace

FrdResult ReadFrd(std::filesystem::path const& path, FrdOptions const& options) {
    return FrdReader(path, options).Read();
}

} // namespace KetSDK::MeshSolver
