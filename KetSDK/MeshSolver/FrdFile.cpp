// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/FrdFile.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>

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

// Columns have fixed widths and no blanks between them. What lies behind the end of a line is empty.
std::string_view Columns(std::string_view line, std::size_t first, std::size_t width) {
    return first < line.size() ? line.substr(first, width) : std::string_view();
}

// The fields that are read, and how many of their components: those behind are made of the others.
struct KnownField {
    char const* name;
    std::uint32_t components;
};
constexpr KnownField KnownFields[] = {{"DISP", 3}, {"STRESS", 6}, {"TOSTRAIN", 6}, {"FORC", 3}};

class FrdReader {
public:
    FrdReader(std::filesystem::path const& path, FrdOptions const& options)
        : m_file(path)
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
    bool Next(std::string_view& line) {
        if (m_file.GetLineNumber() % 10000 == 0) {
            m_reporter = m_file.GetPosition();
            if (m_reporter.IsCancelled())
                throw Cancelled();
        }
        return m_file.Next(line);
    }

    [[noreturn]] void Fail(std::string const& message) const {
        throw Error("line " + std::to_string(m_file.GetLineNumber()) + ": " + message);
    }

    // The next line of a block, with its key (-1, -2, -3, ...). Throws at the end of the file.
    int NextInBlock(std::string_view& line) {
        if (!Next(line))
            throw Error("it is cut off within a block");
        int key = 0;
        std::string_view const text = Trimmed(Columns(line, 0, 3));
        std::from_chars(text.data(), text.data() + text.size(), key);
        if (key < -5 || key >= 0)
            Fail("a line of a block does not begin with -1 to -5");
        return key;
    }

    void SkipBlock() {
        std::string_view line;
        while (NextInBlock(line) != -3) {
        }
    }

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

    std::size_t ReadNode(std::string_view line, std::size_t width) {
        std::int32_t id = 0;
        if (!Detail::ReadId(Columns(line, 3, width), id))
            Fail("there is no number of a node");
        std::optional<std::size_t> const index = m_options.index_of(id);
        if (!index || *index >= m_options.nodes)
            Fail("node " + std::to_string(id) + " is not in the mesh, which has " +
                 std::to_string(m_options.nodes) + " nodes; the results are those of another mesh");
        return *index;
    }

    double ReadValue(std::string_view line, std::size_t at) const {
        double value = 0.0;
        if (!Detail::ReadReal(Columns(line, at, ValueWidth), value) || !std::isfinite(value))
            Fail("\"" + std::string(Trimmed(Columns(line, at, ValueWidth))) +
                 "\" is no finite number; the solver has failed");
        return value;
    }

    void ReadNodes(std::string_view head) {
        std::size_t const width = NumberWidth(head);
        std::string_view line;
        while (NextInBlock(line) != -3) {
            std::size_t const node = ReadNode(line, width);
            std::array<double, 3> const position = m_options.position_of(node);
            for (std::size_t i = 0; i < 3; ++i) {
                double const value = ReadValue(line, 3 + width + i * ValueWidth);
                // Six digits are written.
                if (std::fabs(value - position[i]) > 1e-5 * std::fabs(position[i]) + 2e-5)
                    Fail("node " + std::string(Trimmed(Columns(line, 3, width))) +
                         " lies elsewhere in the mesh; the results are those of another mesh");
            }
        }
        m_has_nodes = true;
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
        if (NextInBlock(line) != -4)
            Fail("results have no name");
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
        ReadRows(field, width);
    }

    void ReadRows(FrdResult::Field& field, std::size_t width) {
        std::string_view line;
        for (int key = NextInBlock(line); key != -3; key = NextInBlock(line)) {
            if (key != -1)
                continue; // names of components
            double* const values = &field.values[ReadNode(line, width) * field.components];
            for (std::uint32_t i = 0; i < field.components; ++i)
                values[i] = ReadValue(line, 3 + width + i * ValueWidth);
        }
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
};

} // namespace

FrdResult ReadFrd(std::filesystem::path const& path, FrdOptions const& options) {
    return FrdReader(path, options).Read();
}

} // namespace KetSDK::MeshSolver
