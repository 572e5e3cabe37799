// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/BadThreshold.h>

#include <KetSDK/MeshJobs/Metrics.h>
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

KetSDK::Mesh::QualityThreshold BadThreshold::Get() const {
    using Side = KetSDK::Mesh::QualityThreshold::Side;
    return IsAbove() ? KetSDK::Mesh::QualityThreshold{Side::Above, m_above}
                     : KetSDK::Mesh::QualityThreshold{Side::Below, m_below};
}

std::string BadThreshold::Describe() const {
    return KetSDK::MeshJobs::DescribeThreshold(Get());
}

void BadThreshold::AddTo(Json& report) const {
    report[IsAbove() ? "above" : "below"] = Get().value;
}

} // namespace ketmesh
