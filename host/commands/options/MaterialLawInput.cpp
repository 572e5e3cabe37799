// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/MaterialLawInput.h>

#include <host/terminal/NumberCheck.h>
#include <host/terminal/NumberList.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace ketmesh {

namespace {

CLI::Validator PoissonsRatio() {
    return CLI::Validator(
        [](std::string const& text) {
            double value = 0.0;
            bool const is_number = CLI::detail::lexical_cast(text, value);
            return is_number && value > -1.0 && value < 0.5
                       ? ""
                       : "\"" + text + "\" is no Poisson's ratio; it lies between -1 and 0.5";
        },
        "");
}

// Numbers that were checked when they were given.
template <std::size_t N>
std::array<double, N> Numbers(std::string const& text) {
    std::array<double, N> numbers{};
    std::ranges::copy(ParseNumbers(text), numbers.begin());
    return numbers;
}

} // namespace

void MaterialLawInput::Declare(CLI::App& command) {
    command
        .add_option("--law", m_law,
                    "Coefficients a,b,c,d,e of density = a + b x^c + d x^e in g/cm3, x the grey value")
        ->type_name("A,B,C,D,E")
        ->check(NumberList(5, "a,b,c,d,e of density = a + b x^c + d x^e"));
    command
        .add_option("--modulus", m_modulus,
                    "Coefficients p,q of E = p density^q in MPa, with the density in g/cm3; p > 0")
        ->type_name("P,Q")
        ->check(NumberList(2, "p,q of E = p density^q"));
    command
        .add_option("--preset", m_preset,
                    "Published law and modulus of a site; --law and --modulus override it")
        ->type_name("NAME");
    command.add_option("--poisson", m_poisson, "Poisson's ratio of all materials (default: 0.3)")
        ->type_name("NU")
        ->check(PoissonsRatio());
    command.add_flag("--unit-offset", m_offset,
                     "The grey values lie 1024 above Hounsfield units: x is the grey value - 1024");
    command
        .add_option("--min-density", m_least_density,
                    "Density in g/cm3 of materials for which the law gives less, or no number "
                    "(default: 0.01)")
        ->type_name("D")
        ->check(PositiveNumber());
}

void MaterialLawInput::SetLaw(KetSDK::MeshJobs::MaterialsOptions& options) const {
    options.preset = m_preset;
    if (!m_law.empty())
        options.law = Numbers<5>(m_law);
    if (!m_modulus.empty())
        options.modulus = Numbers<2>(m_modulus);
    options.poisson = m_poisson;
    options.least_density = m_least_density;
    options.unit_offset = m_offset;
}

} // namespace ketmesh
