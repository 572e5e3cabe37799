// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <cfloat>

// The calibration law of a scan, which gives the density for a grey value x: a + b * x^c + d * x^e.
// A value; safe to read from several threads.
class KETSDK_MESH_API MDensityExpression {
public:
    // All coefficients unset (DBL_MAX); usable once all five are set.
    MDensityExpression() = default;

    // Stores the coefficients; always true. The two are the same.
    bool ChangeExpression(double a, double b, double c, double d, double e) noexcept;
    bool CreateFromExpression(double a, double b, double c, double d, double e) noexcept {
        return ChangeExpression(a, b, c, d, e);
    }
    // Copies the coefficients out.
    void GetExpression(double& a, double& b, double& c, double& d, double& e) const noexcept;

    // The density for a grey value; DBL_MAX while a coefficient is unset and for x = DBL_MAX. Not a
    // number where x is negative and an exponent no integer.
    double CalcExpression(double x) const noexcept;
    // The same, but 0 where x is negative and an exponent no integer: such a power is not real.
    double CalcRealExpression(double x) const noexcept;

private:
    double m_a = DBL_MAX;
    double m_b = DBL_MAX;
    double m_c = DBL_MAX;
    double m_d = DBL_MAX;
    double m_e = DBL_MAX;
};
