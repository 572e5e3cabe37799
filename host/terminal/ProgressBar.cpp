// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/ProgressBar.h>

#include <host/terminal/Cancellation.h>

#include <unistd.h>

#include <cstddef>
#include <iostream>

namespace ketmesh {

namespace {

constexpr std::size_t BarWidth = 30;
constexpr std::chrono::milliseconds Interval(100);
constexpr char const* EraseLine = "\r\x1b[K";

} // namespace

ProgressBar::ProgressBar()
    : m_visible(::isatty(STDERR_FILENO) == 1) {}

void ProgressBar::Begin(std::string const& label, bool) {
    m_label = label;
    // Steps that are done within the interval never show.
    m_drawn = std::chrono::steady_clock::now();
}

void ProgressBar::Advance(double fraction) {
    if (!m_visible || std::chrono::steady_clock::now() - m_drawn < Interval)
        return;
    m_drawn = std::chrono::steady_clock::now();
    Draw(fraction);
}

void ProgressBar::End() {
    if (m_visible)
        std::cerr << EraseLine << std::flush;
}

bool ProgressBar::IsCancelled() const {
    return ketmesh::IsCancelled();
}

void ProgressBar::Draw(double fraction) {
    std::size_t const filled = static_cast<std::size_t>(fraction * static_cast<double>(BarWidth));
    std::cerr << EraseLine << m_label << " [" << std::string(filled, '#')
              << std::string(BarWidth - filled, ' ') << "] " << static_cast<int>(fraction * 100.0) << " %"
              << std::flush;
}

} // namespace ketmesh
