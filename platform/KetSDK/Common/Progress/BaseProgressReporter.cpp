// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Common/Progress/BaseProgressReporter.h>

#include <algorithm>
#include <utility>

namespace KetSDK::Common {

namespace {

// Smaller growth is kept back until the phase ends: nobody sees it, and a delegate may redraw.
constexpr double SmallestForwardedGrowth = 1.0 / 1024.0;

// Ten nested tenths end at the end, although their sum in doubles lies an ulp below 1.
constexpr double RoundingSlack = 1e-9;

} // namespace

// What the reporter shares, weakly, with its nested delegates.
struct BaseProgressReporter::Phase {
    std::shared_ptr<IProgressDelegate> m_delegate;
    bool m_determinate;
    bool m_cancellable;
    double m_fraction = 0.0;  // how far the phase is
    double m_forwarded = 0.0; // what the delegate was told last
    double m_reserved = 0.0;  // where the last nested delegate stops

    bool IsCancelled() const { return m_cancellable && m_delegate && m_delegate->IsCancelled(); }

    void Advance(double fraction) {
        if (!m_delegate || !m_determinate || !(fraction > m_fraction)) {
            return;
        }
        m_fraction = std::min(fraction, 1.0);
        if (m_fraction - m_forwarded >= SmallestForwardedGrowth || m_fraction >= 1.0) {
            Forward();
        }
    }

    void Forward() {
        if (m_fraction > m_forwarded) {
            m_forwarded = m_fraction;
            m_delegate->Advance(m_fraction);
        }
    }

    void End() {
        if (m_delegate) {
            Forward();
            m_delegate->End();
        }
    }
};

// Maps 0 to 1 onto a range of the phase that it is nested in.
class BaseProgressReporter::NestedDelegate : public IProgressDelegate {
public:
    NestedDelegate(std::weak_ptr<Phase> phase, double begin, double end)
        : m_phase(std::move(phase))
        , m_begin(begin)
        , m_end(end) {}

    void Begin(std::string const&, bool) override {}

    void Advance(double fraction) override {
        if (auto const phase = m_phase.lock()) {
            phase->Advance(fraction >= 1.0 ? m_end : std::min(m_begin + fraction * (m_end - m_begin), m_end));
        }
    }

    // A sub-step that ends early still leaves its range behind, unless it was cancelled.
    void End() override {
        if (!IsCancelled()) {
            Advance(1.0);
        }
    }

    bool IsCancelled() const override {
        auto const phase = m_phase.lock();
        return phase && phase->IsCancelled();
    }

private:
    std::weak_ptr<Phase> m_phase;
    double m_begin;
    double m_end;
};

BaseProgressReporter::BaseProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate,
                                           std::string const& label, bool determinate, bool cancellable)
    : m_phase(std::make_shared<Phase>(Phase{delegate, determinate, cancellable})) {
    if (delegate) {
        delegate->Begin(label, determinate);
    }
}

BaseProgressReporter::~BaseProgressReporter() {
    try {
        m_phase->End();
    } catch (...) {
        // The job is over; a delegate that fails to show it must not take the process down.
    }
}

bool BaseProgressReporter::IsCancelled() const {
    return m_phase->IsCancelled();
}

std::shared_ptr<IProgressDelegate> BaseProgressReporter::CreateNestedDelegate(double fraction) {
    double const begin = std::max(m_phase->m_fraction, m_phase->m_reserved);
    double end = fraction > 0.0 ? std::min(begin + fraction, 1.0) : begin;
    if (end > 1.0 - RoundingSlack) {
        end = 1.0;
    }
    m_phase->m_reserved = end;
    return std::make_shared<NestedDelegate>(m_phase, begin, end);
}

bool BaseProgressReporter::HasDelegate() const noexcept {
    return m_phase->m_delegate != nullptr;
}

void BaseProgressReporter::AdvanceTo(double fraction) {
    m_phase->Advance(fraction);
}

} // namespace KetSDK::Common
