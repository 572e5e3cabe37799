// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

// A vector of N coordinates of type T. Arithmetic stays in T; lengths are computed in double.
template <typename T, std::size_t N>
class KETSDK_API MMVector {
public:
    // All coordinates zero.
    constexpr MMVector() noexcept = default;

    constexpr MMVector(T x, T y, T z) noexcept requires(N == 3)
        : m_c{x, y, z} {}

    constexpr MMVector(T x, T y) noexcept requires(N == 2)
        : m_c{x, y} {}

    // Converts coordinate by coordinate, as static_cast does.
    template <typename U>
    constexpr explicit MMVector(MMVector<U, N> const& other) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            m_c[i] = static_cast<T>(other[i]);
    }

    constexpr T& operator[](std::size_t i) noexcept { return m_c[i]; }
    constexpr T const& operator[](std::size_t i) const noexcept { return m_c[i]; }

    constexpr MMVector& operator+=(MMVector const& o) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            m_c[i] = static_cast<T>(m_c[i] + o.m_c[i]);
        return *this;
    }
    constexpr MMVector& operator-=(MMVector const& o) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            m_c[i] = static_cast<T>(m_c[i] - o.m_c[i]);
        return *this;
    }
    constexpr MMVector& operator*=(T f) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            m_c[i] = static_cast<T>(m_c[i] * f);
        return *this;
    }
    constexpr MMVector& operator/=(T f) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            m_c[i] = static_cast<T>(m_c[i] / f);
        return *this;
    }

    friend constexpr MMVector operator+(MMVector a, MMVector const& b) noexcept { return a += b; }
    friend constexpr MMVector operator-(MMVector a, MMVector const& b) noexcept { return a -= b; }
    friend constexpr MMVector operator*(MMVector a, T f) noexcept { return a *= f; }
    friend constexpr MMVector operator*(T f, MMVector a) noexcept { return a *= f; }
    friend constexpr MMVector operator/(MMVector a, T f) noexcept { return a /= f; }
    friend constexpr MMVector operator-(MMVector a) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            a.m_c[i] = static_cast<T>(-a.m_c[i]);
        return a;
    }
    friend constexpr bool operator==(MMVector const& a, MMVector const& b) noexcept = default;
    // Lexicographic: the first coordinate that differs decides.
    friend constexpr auto operator<=>(MMVector const& a, MMVector const& b) noexcept = default;

    constexpr T Dot(MMVector const& o) const noexcept {
        T sum = m_c[0] * o.m_c[0];
        for (std::size_t i = 1; i < N; ++i)
            sum += m_c[i] * o.m_c[i];
        return sum;
    }

    constexpr MMVector Cross(MMVector const& o) const noexcept requires(N == 3) {
        return {m_c[1] * o.m_c[2] - m_c[2] * o.m_c[1], m_c[2] * o.m_c[0] - m_c[0] * o.m_c[2],
                m_c[0] * o.m_c[1] - m_c[1] * o.m_c[0]};
    }

    constexpr double SquaredLength() const noexcept {
        double sum = 0.0;
        for (std::size_t i = 0; i < N; ++i)
            sum += static_cast<double>(m_c[i]) * static_cast<double>(m_c[i]);
        return sum;
    }

    // The Euclidean length, scaled by the largest coordinate so that no square over- or underflows.
    double Length() const noexcept {
        double magnitude[N];
        std::size_t largest = 0;
        for (std::size_t i = 0; i < N; ++i) {
            magnitude[i] = std::fabs(static_cast<double>(m_c[i]));
            if (magnitude[i] > magnitude[largest])
                largest = i;
        }
        // The smallest subnormal keeps the quotients of a zero vector at 0 instead of 0/0.
        double const m = std::max(magnitude[largest], 4.9406564584124654e-324);
        double sum = 0.0;
        for (std::size_t i = 0; i < N; ++i) {
            if (i != largest) {
                double const q = magnitude[i] / m;
                sum += q * q;
            }
        }
        return magnitude[largest] == 0.0 ? 0.0 : m * std::sqrt(sum + 1.0);
    }

    // Scales to unit length. False for a zero vector, which stays as it is.
    bool Normalize() noexcept {
        double const length = Length();
        if (length == 0.0)
            return false;
        for (std::size_t i = 0; i < N; ++i)
            m_c[i] = static_cast<T>(static_cast<double>(m_c[i]) / length);
        return true;
    }

private:
    std::array<T, N> m_c{};
};
