// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>

#include <algorithm>

namespace KetSDK::Common {

namespace {

constexpr std::uint64_t Never = UINT64_MAX;
constexpr std::uint64_t ReportsPerPhase = 1000;

} // namespace

IncrementalProgressReporter::IncrementalProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate,
                                                         std::string const& label,
                                                         unsigned long long max_value, bool cancellable)
    : BaseProgressReporter(delegate, label, true, cancellable)
    , m_max_value(max_value)
    , m_next_report(HasDelegate() ? std::min<std::uint64_t>(1, max_value) : Never) {}

IncrementalProgressReporter::~IncrementalProgressReporter() {
    try {
        if (m_max_value == 0 ? !IsCancelled() : m_position > 0) {
            Report();
        }
    } catch (...) {
        // As in the base: the job is over.
    }
}

IncrementalProgressReporter& IncrementalProgressReporter::operator=(unsigned long long position) {
    m_position = std::min<std::uint64_t>(position, m_max_value);
    Report();
    return *this;
}

void IncrementalProgressReporter::Report() {
    if (!HasDelegate()) {
        return;
    }
    if (m_position >= m_max_value) {
        m_next_report = Never;
        AdvanceTo(1.0);
        return;
    }
    std::uint64_t const step = std::max<std::uint64_t>(1, m_max_value / ReportsPerPhase);
    m_next_report = m_position + std::min(step, m_max_value - m_position);
    AdvanceTo(static_cast<double>(m_position) / static_cast<double>(m_max_value));
}

} // namespace KetSDK::Common
