// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/DeckReader.h>

#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <utility>

namespace KetSDK::MeshSolver::Detail {

OpenDeck DeckReader::Read() {
    ReadFile(m_path, true);
    if (m_open.deck.element_ids.empty())
        throw Error("it defines no elements that make a volume mesh (C3D4, C3D10, C3D8, C3D6)");
    return std::move(m_open);
}

void DeckReader::ReadFile(std::filesystem::path const& path, bool is_main) {
    std::error_code ignored;
    std::filesystem::path const real = std::filesystem::weakly_canonical(path, ignored);
    if (!m_open_files.insert(real).second)
        throw Error("it includes itself by " + path.filename().string());
    LineFile file(path, m_parallel);
    LineFile* const outer = std::exchange(m_place.file, &file);
    std::string const outer_name =
        std::exchange(m_place.included, is_main ? "" : path.filename().string() + " ");
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
        m_blocks.End();
    m_place.file = outer;
    m_reporter = outer_reporter;
    m_place.included = outer_name;
    m_open_files.erase(real);
}

void DeckReader::Report() {
    *m_reporter = m_place.file->GetPosition();
    if (m_progress && m_progress->IsCancelled())
        throw Cancelled();
}

void DeckReader::ReadLine(std::string_view line, std::string& keyword) {
    line = Trimmed(line);
    if (line.empty())
        return;
    if (line.starts_with("**")) {
        m_blocks.ReadComment(line.substr(2));
    } else if (line.front() == '*' || !keyword.empty()) {
        keyword += line;
        if (keyword.back() != ',')
            Begin(ParseKeyword(std::exchange(keyword, std::string())));
    } else {
        m_blocks.ReadLine(line);
    }
}

void DeckReader::Begin(DeckKeyword const& keyword) {
    if (keyword.name == "INCLUDE" && !m_blocks.IsInStep())
        Include(keyword); // its lines may go on with those of the present block
    else
        m_blocks.Begin(keyword);
}

bool DeckReader::ReadRows(bool is_possible) {
    std::string_view const text =
        is_possible && m_blocks.TakesRows() ? m_place.file->LinesAheadWithout('*') : std::string_view();
    if (text.empty())
        return false;
    std::vector<std::string_view> const pieces = PiecesOf(text);
    Support::WorkSteps const steps{.items = pieces.size(), .parallel = m_parallel, .window = 8};
    m_rows.resize(std::max<std::size_t>(m_rows.size(), steps.NumberOfSlots()));
    Support::ComputeSteps(
        steps,
        [&](std::uint64_t i, std::uint64_t, std::size_t slot) {
            m_blocks.ReadRows(pieces[static_cast<std::size_t>(i)], m_rows[slot]);
        },
        [&](std::uint64_t i, std::uint64_t, std::size_t slot) {
            m_blocks.TakeRows(m_rows[slot], m_place.file->GetLineNumber());
            m_place.file->Take(pieces[static_cast<std::size_t>(i)].size(), m_rows[slot].ends.size());
            Report();
            return true;
        });
    return true;
}

void DeckReader::Include(DeckKeyword const& keyword) {
    std::filesystem::path const name = keyword.Get("INPUT");
    if (name.empty())
        m_place.Fail("*INCLUDE needs INPUT=");
    std::filesystem::path const folder = m_path.has_parent_path() ? m_path.parent_path() : ".";
    std::filesystem::path const path = folder / name;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        m_place.Fail("it includes " + name.string() + ", which is not there");
    if (std::filesystem::weakly_canonical(path, error).parent_path() !=
        std::filesystem::weakly_canonical(folder, error))
        m_place.Fail("it includes " + name.string() + ", which lies outside its folder");
    ReadFile(path, false);
}

} // namespace KetSDK::MeshSolver::Detail
