// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Support/TextBuffer.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// A number as solvers read it: the shortest that reads back as it was, and no longer than the 20 characters
// after which solvers cut numbers off without a word. What needs more is rounded to 14 digits.
std::string RealText(double value);
// The same for a density in tonne/mm3 that is given in g/cm3: the digits are those of the latter.
std::string DensityText(double gram_per_cm3);

// A coordinate in internal units as mm with six decimals, from which every integer comes back.
void AddCoordinate(Support::TextBuffer& text, MLong internal);

// A text file that is written in large pieces.
class TextFile {
public:
    // When parallel, many rows are put into words on several threads. Throws Error when the file cannot be
    // written.
    explicit TextFile(std::filesystem::path const& path, bool parallel = false);

    // As RealText says.
    TextFile& operator<<(double number) { return *this << std::string_view(RealText(number)); }
    template <typename Value>
    TextFile& operator<<(Value const& value) {
        m_buffer << value;
        if (m_buffer.GetText().size() >= Size)
            Flush();
        return *this;
    }

    // Writes rows 0 to count - 1. On any thread put(first, last, buffer) puts rows first to last - 1 into
    // words; on the calling one written(rows) hears how many were written.
    template <typename Put, typename Written>
    void WriteRows(std::uint64_t count, Put const& put, Written const& written) {
        Support::WorkSteps const steps{
            .items = count, .step = RowsOfPiece, .parallel = m_parallel, .window = 64};
        m_pieces.resize(std::max<std::size_t>(m_pieces.size(), steps.NumberOfSlots()));
        Support::ComputeSteps(
            steps,
            [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
                m_pieces[slot].Clear();
                put(first, last, m_pieces[slot]);
            },
            [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
                *this << m_pieces[slot].GetText();
                written(last - first);
                return true;
            });
    }

    // Throws Error when something could not be written.
    void Close();

private:
    static constexpr std::size_t Size = 1U << 18;
    static constexpr std::uint64_t RowsOfPiece = 1024;

    void Flush();

    std::ofstream m_file;
    bool m_parallel;
    Support::TextBuffer m_buffer;
    std::vector<Support::TextBuffer> m_pieces; // that threads write into
};

} // namespace KetSDK::MeshSolver::Detail
