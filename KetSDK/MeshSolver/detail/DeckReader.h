// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshSolver/detail/DeckBlocks.h>
#include <KetSDK/MeshSolver/detail/DeckPlace.h>
#include <KetSDK/MeshSolver/detail/DeckRows.h>
#include <KetSDK/MeshSolver/detail/DeckWords.h>
#include <KetSDK/MeshSolver/detail/OpenDeck.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// Reads the file of a deck and those that it includes.
class DeckReader {
public:
    DeckReader(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress,
               bool parallel)
        : m_path(path)
        , m_progress(progress)
        , m_parallel(parallel) {}
    DeckReader(DeckReader const&) = delete;
    DeckReader& operator=(DeckReader const&) = delete;

    // To be called once.
    OpenDeck Read();

private:
    void ReadFile(std::filesystem::path const& path, bool is_main);
    void Report();
    void ReadLine(std::string_view line, std::string& keyword);
    // Reads many lines of a large block at once, where there are some to come before the next keyword or
    // comment. False where there are none, or they are to be read one by one.
    bool ReadRows(bool is_possible);
    void Begin(DeckKeyword const& keyword);
    void Include(DeckKeyword const& keyword);

    std::filesystem::path m_path;
    std::shared_ptr<Common::IProgressDelegate> m_progress;
    bool m_parallel;
    OpenDeck m_open;
    DeckPlace m_place;
    DeckBlocks m_blocks{m_open, m_place};
    std::set<std::filesystem::path> m_open_files;
    Common::IncrementalProgressReporter* m_reporter = nullptr;
    std::vector<DeckRows> m_rows; // that threads read into
};

} // namespace KetSDK::MeshSolver::Detail
