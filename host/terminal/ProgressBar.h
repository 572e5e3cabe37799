// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>

#include <chrono>
#include <string>

namespace ketmesh {

// Shows the progress of a job as a bar on one line of standard error when that is a terminal, and
// otherwise nothing. Passes on that the user cancelled. The line is gone when a phase ends.
class ProgressBar : public KetSDK::Common::IProgressDelegate {
public:
    ProgressBar();

    void Begin(std::string const& label, bool determinate) override;
    void Advance(double fraction) override;
    void End() override;
    bool IsCancelled() const override;

private:
    void Draw(double fraction);

    bool m_visible;
    std::string m_label;
    std::chrono::steady_clock::time_point m_drawn; // when the bar was drawn last
};

} // namespace ketmesh
