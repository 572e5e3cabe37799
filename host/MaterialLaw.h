#pragma once

#include <KetSDK/Mesh/materials/MDensityExpression.h>
#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/MeshVTK/ImageSampling.h>
#include <host/Command.h>
#include <host/MaterialPresets.h>

#include <array>
#include <string>

namespace ketmesh {

// The options that turn grey values into densities and densities into moduli, and the turning.
class MaterialLaw {
public:
    void Declare(CLI::App& command);
    // Takes over what the options say; to be called once, before everything below. Throws
    // std::invalid_argument for an unknown preset and when a law or a modulus is missing.
    void Read();

    // a, b, c, d, e of density = a + b x^c + d x^e [g/cm3]
    std::array<double, 5> const& GetCoefficients() const noexcept { return m_coefficients; }
    // p, q of E = p density^q [MPa]
    std::array<double, 2> const& GetModulus() const noexcept { return m_modulus_pair; }
    double GetPoisson() const noexcept { return m_poisson; }
    double GetLeastDensity() const noexcept { return m_least_density; }
    // Where x lies against the grey values.
    MHUList::EMapUnit GetUnit() const noexcept {
        return m_offset ? MHUList::OffsetBy1024 : MHUList::MeshUnit;
    }
    // The preset that the law is of; null when it was given by its coefficients.
    MaterialPreset const* GetLawPreset() const noexcept { return m_law_preset; }

    // The density for a grey value, as MHUList::CreateUniform takes it: 0 for a negative x when c or e is
    // no integer.
    double DensityAt(double grey) const;
    // The same for the samples of an image.
    KetSDK::MeshVTK::GreyLaw ForSamples() const;
    // The density that a material gets: at least the least one, also in place of what is no finite number.
    double RaisedDensity(double density) const;
    double ModulusAt(double density) const;

    // "density = 0.131 + 0.001067 x, x the grey value (preset femur)"
    std::string DescribeDensity() const;
    // "E = 6850 density^1.49 (preset femur)"
    std::string DescribeModulus() const;

private:
    // As given; empty: that of the preset.
    std::string m_law;
    std::string m_modulus;
    std::string m_preset;
    double m_poisson = 0.3;
    double m_least_density = 0.01;
    bool m_offset = false;

    std::array<double, 5> m_coefficients{};
    std::array<double, 2> m_modulus_pair{};
    bool m_real_below_zero = true;
    MDensityExpression m_expression;
    MaterialPreset const* m_law_preset = nullptr;
    MaterialPreset const* m_modulus_preset = nullptr;
};

} // namespace ketmesh
