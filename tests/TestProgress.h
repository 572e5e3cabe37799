// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Writes down what it is told, fails when the order of calls is not that of phases, and cancels when a
// phase has come as far as it says.
class RecordingDelegate : public KetSDK::Common::IProgressDelegate {
public:
    explicit RecordingDelegate(double cancel_at = 2.0)
        : m_cancel_at(cancel_at) {}
    void Begin(std::string const& label, bool determinate) override {
        EXPECT_FALSE(m_running);
        m_running = true;
        m_labels.push_back(label);
        m_determinate = determinate;
        m_fractions.assign(1, 0.0);
    }
    void Advance(double fraction) override {
        EXPECT_TRUE(m_running && m_determinate);
        EXPECT_GT(fraction, m_fractions.back());
        EXPECT_LE(fraction, 1.0);
        m_fractions.push_back(fraction);
    }
    void End() override {
        EXPECT_TRUE(m_running);
        m_running = false;
    }
    bool IsCancelled() const override { return !m_fractions.empty() && Last() >= m_cancel_at; }

    double Last() const { return m_fractions.back(); }

    bool m_running = false, m_determinate = false;
    double m_cancel_at;
    std::vector<std::string> m_labels;
    std::vector<double> m_fractions;
};
