#pragma once

#include <host/Command.h>
#include <host/terminal/Output.h>

#include <string>

namespace ketmesh {

// Which values of a metric are bad: those strictly below or strictly above a threshold; without one, those
// below 0. A value that is not a number is neither.
class BadThreshold {
public:
    // Declares --below and --above, of which one can be given.
    void Declare(CLI::App& command);

    bool IsGiven() const { return m_below_option->count() + m_above_option->count() > 0; }
    bool IsAbove() const { return m_above_option->count() > 0; }
    double GetValue() const { return IsAbove() ? m_above : m_below; }
    bool IsBad(double value) const { return IsAbove() ? value > m_above : value < m_below; }
    // "below 0.1"
    std::string Describe() const;
    // Sets the key `below` or `above`.
    void AddTo(Json& report) const;

private:
    CLI::Option* m_below_option = nullptr;
    CLI::Option* m_above_option = nullptr;
    double m_below = 0.0;
    double m_above = 0.0;
};

} // namespace ketmesh
