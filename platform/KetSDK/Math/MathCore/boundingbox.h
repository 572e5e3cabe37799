// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>

#include <cstddef>
#include <limits>

namespace KetSDK::Math {

// An axis-aligned box of N dimensions with corners of type V. The empty box has every minimum at the
// largest value of T and every maximum at the lowest, so that the first point sets both.
template <typename T, std::size_t N, typename V = MMVector<T, N>>
class KETSDK_API boundingbox {
public:
    constexpr boundingbox() noexcept { SetEmpty(); }
    constexpr boundingbox(V const& minimum, V const& maximum) noexcept
        : m_min(minimum)
        , m_max(maximum) {}

    constexpr V const& GetMin() const noexcept { return m_min; }
    constexpr V const& GetMax() const noexcept { return m_max; }

    // True when some minimum lies above its maximum.
    constexpr bool IsEmpty() const noexcept {
        for (std::size_t i = 0; i < N; ++i)
            if (m_min[i] > m_max[i])
                return true;
        return false;
    }

    constexpr void SetEmpty() noexcept {
        for (std::size_t i = 0; i < N; ++i) {
            m_min[i] = std::numeric_limits<T>::max();
            m_max[i] = std::numeric_limits<T>::lowest();
        }
    }

    // Grows the box so that it holds the point.
    constexpr void Widen(V const& p) noexcept {
        for (std::size_t i = 0; i < N; ++i) {
            if (p[i] < m_min[i])
                m_min[i] = p[i];
            if (p[i] > m_max[i])
                m_max[i] = p[i];
        }
    }

    friend constexpr bool operator==(boundingbox const& a, boundingbox const& b) noexcept = default;

private:
    V m_min;
    V m_max;
};

} // namespace KetSDK::Math
