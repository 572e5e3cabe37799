#include <host/BadThreshold.h>

#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>

namespace ketmesh {

void BadThreshold::Declare(CLI::App& command) {
    m_below_option = command.add_option("--below", m_below, "Values below this number are bad")
                         ->type_name("T")
                         ->check(FiniteNumber());
    m_above_option = command
                         .add_option("--above", m_above,
                                     "Values above this number are bad: for metrics where lower is better")
                         ->type_name("T")
                         ->check(FiniteNumber())
                         ->excludes(m_below_option);
}

std::string BadThreshold::Describe() const {
    return (IsAbove() ? "above " : "below ") + FormatGeneral(GetValue());
}

void BadThreshold::AddTo(Json& report) const {
    report[IsAbove() ? "above" : "below"] = GetValue();
}

} // namespace ketmesh
