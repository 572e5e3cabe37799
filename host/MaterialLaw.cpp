#include <host/MaterialLaw.h>

#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/NumberList.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace ketmesh {

namespace {

bool IsInteger(double x) {
    return std::trunc(x) == x;
}

std::string FromPreset(MaterialPreset const* preset) {
    return preset ? " (preset " + std::string(preset->name) + ")" : "";
}

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

// "0.001067 x^2", or nothing for a term that is 0.
std::string Term(double factor, double exponent) {
    if (factor == 0.0)
        return "";
    std::string const power = exponent == 0.0 ? "" : exponent == 1.0 ? " x" : " x^" + FormatGeneral(exponent);
    return (factor < 0.0 ? " - " : " + ") + FormatGeneral(std::fabs(factor)) + power;
}

} // namespace

void MaterialLaw::Declare(CLI::App& command) {
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
                    "Published law and modulus of a site; --law and --modulus come before them")
        ->type_name("NAME");
    command.add_option("--poisson", m_poisson, "Poisson's ratio of all materials (0.3 unless given)")
        ->type_name("NU")
        ->check(PoissonsRatio());
    command.add_flag("--unit-offset", m_offset,
                     "The grey values lie 1024 above Hounsfield units: x is the grey value - 1024");
    command
        .add_option("--min-density", m_least_density,
                    "Density in g/cm3 of materials for which the law gives less, or no number "
                    "(0.01 unless given)")
        ->type_name("D")
        ->check(PositiveNumber());
}

void MaterialLaw::Read() {
    MaterialPreset const* const preset = m_preset.empty() ? nullptr : &FindMaterialPreset(m_preset);
    if (!m_law.empty()) {
        std::ranges::copy(ParseNumbers(m_law), m_coefficients.begin());
    } else if (preset) {
        m_law_preset = preset;
        m_coefficients = preset->law;
    } else {
        throw std::invalid_argument("a law for densities is missing: --law a,b,c,d,e or --preset "
                                    "(ketmesh materials --list-presets shows all)");
    }
    if (!m_modulus.empty()) {
        std::ranges::copy(ParseNumbers(m_modulus), m_modulus_pair.begin());
        if (m_modulus_pair[0] <= 0.0)
            throw std::invalid_argument("--modulus: p must be above 0, not " +
                                        FormatGeneral(m_modulus_pair[0]));
    } else if (preset) {
        m_modulus_preset = preset;
        m_modulus_pair = preset->modulus;
    } else {
        throw std::invalid_argument("a modulus is missing: --modulus p,q or --preset "
                                    "(ketmesh materials --list-presets shows all)");
    }
    auto const& [a, b, c, d, e] = m_coefficients;
    m_expression.CreateFromExpression(a, b, c, d, e);
    m_real_below_zero = IsInteger(c) && IsInteger(e);
}

double MaterialLaw::DensityAt(double grey) const {
    double const x = m_offset ? grey - 1024.0 : grey;
    return x < 0.0 && !m_real_below_zero ? 0.0 : m_expression.CalcExpression(x);
}

KetSDK::MeshVTK::GreyLaw MaterialLaw::ForSamples() const {
    return {
        [](double grey, void const* law) { return static_cast<MaterialLaw const*>(law)->DensityAt(grey); },
        this};
}

double MaterialLaw::RaisedDensity(double density) const {
    return std::isfinite(density) ? std::max(density, m_least_density) : m_least_density;
}

double MaterialLaw::ModulusAt(double density) const {
    return m_modulus_pair[0] * std::pow(density, m_modulus_pair[1]);
}

std::string MaterialLaw::DescribeDensity() const {
    auto const& [a, b, c, d, e] = m_coefficients;
    return "density = " + FormatGeneral(a) + Term(b, c) + Term(d, e) + ", x the grey value" +
           (m_offset ? " - 1024" : "") + FromPreset(m_law_preset);
}

std::string MaterialLaw::DescribeModulus() const {
    return "E = " + FormatGeneral(m_modulus_pair[0]) + " density^" + FormatGeneral(m_modulus_pair[1]) +
           FromPreset(m_modulus_preset);
}

} // namespace ketmesh
