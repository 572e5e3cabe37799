// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/QualityThreshold.h>
#include <host/terminal/CommandLine.h>
#include <host/terminal/Output.h>

#include <string>

namespace ketmesh {

// The options that say which values of a metric are bad; without one, those below 0.
class BadThreshold {
public:
    // Declares --below and --above, of which one can be given.
    void Declare(CLI::App& command);

    bool IsGiven() const { return m_below_option->count() + m_above_option->count() > 0; }
    KetSDK::Mesh::QualityThreshold Get() const;
    // "below 0.1"
    std::string Describe() const;
    // Sets the key `below` or `above`.
    void AddTo(Json& report) const;

private:
    bool IsAbove() const { return m_above_option->count() > 0; }

    CLI::Option* m_below_option = nullptr;
    CLI::Option* m_above_option = nullptr;
    double m_below = 0.0;
    double m_above = 0.0;
};

} // namespace ketmesh
