// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MDensityExpression.h>

#include <cmath>
#include <initializer_list>

bool MDensityExpression::ChangeExpression(double a, double b, double c, double d, double e) noexcept {
    m_a = a;
    m_b = b;
    m_c = c;
    m_d = d;
    m_e = e;
    return true;
}

void MDensityExpression::GetExpression(double& a, double& b, double& c, double& d, double& e) const noexcept {
    a = m_a;
    b = m_b;
    c = m_c;
    d = m_d;
    e = m_e;
}

double MDensityExpression::CalcExpression(double x) const noexcept {
    for (double const given : {m_a, m_b, m_c, m_d, m_e, x})
        if (given == DBL_MAX)
            return DBL_MAX;
    double const first = std::pow(x, m_c) * m_b + m_a;
    return std::pow(x, m_e) * m_d + first;
}

double MDensityExpression::CalcRealExpression(double x) const noexcept {
    auto const is_integer = [](double exponent) { return std::trunc(exponent) == exponent; };
    return x < 0.0 && !(is_integer(m_c) && is_integer(m_e)) ? 0.0 : CalcExpression(x);
}
