// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/PolyhedronInterface.h>

#include <KetSDK/Mesh/geometry/PolyhedralFaceInterface.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {

using DoubleVector = MMVector<double, 3>;

// A double as a coordinate. Values that an integer type cannot hold stop at its limits (NaN at the
// lower one) instead of being undefined.
template <typename T>
T ToCoordinate(double value) {
    if constexpr (std::is_integral_v<T>) {
        if (!(value > static_cast<double>(std::numeric_limits<T>::lowest())))
            return std::numeric_limits<T>::lowest();
        if (value >= static_cast<double>(std::numeric_limits<T>::max()))
            return std::numeric_limits<T>::max();
    }
    return static_cast<T>(value);
}

template <typename T>
MMVector<T, 3> ToVertex(DoubleVector const& v) {
    return {ToCoordinate<T>(v[0]), ToCoordinate<T>(v[1]), ToCoordinate<T>(v[2])};
}

double RandomCoordinate() {
    return std::rand() / 32767.0;
}

} // namespace

template <typename T>
MMVector<double, 3> PolyhedronInterface<T>::GetCentroid() {
    auto const count = static_cast<unsigned int>(GetNbVertices());
    DoubleVector sum;
    for (unsigned int i = 0; i < count; ++i)
        sum += DoubleVector(GetVertex(i));
    return sum / static_cast<double>(count);
}

template <typename T>
typename PolyhedronInterface<T>::Box const& PolyhedronInterface<T>::GetBoundingBox() {
    _UpdateBoundingBox();
    return m_bounding_box;
}

template <typename T>
void PolyhedronInterface<T>::SetRandomVertices() {
    auto const count = static_cast<unsigned int>(GetNbVertices());
    for (unsigned int i = 0; i < count; ++i) {
        double const x = RandomCoordinate();
        double const y = RandomCoordinate();
        double const z = RandomCoordinate();
        SetVertex(i, ToVertex<T>({x, y, z}));
    }
}

template <typename T>
void PolyhedronInterface<T>::ShrinkTowardsCentroid(double f) {
    if (f == 0.0)
        return;
    DoubleVector const centroid = GetCentroid();
    auto const count = static_cast<unsigned int>(GetNbVertices());
    for (unsigned int i = 0; i < count; ++i)
        SetVertex(i, ToVertex<T>(DoubleVector(GetVertex(i)) * (1.0 - f) + centroid * f));
}

template <typename T>
bool PolyhedronInterface<T>::LargerThanPlane(DoubleVector const& normal, DoubleVector point) const {
    auto const count = static_cast<unsigned int>(GetNbVertices());
    double const offset = normal.Dot(point);
    for (unsigned int i = 0; i < count; ++i)
        if (!(normal.Dot(DoubleVector(GetVertex(i))) - offset > 0.0))
            return false;
    return true;
}

template <typename T>
bool PolyhedronInterface<T>::SmallerThanPlane(DoubleVector const& normal, DoubleVector point) const {
    auto const count = static_cast<unsigned int>(GetNbVertices());
    double const offset = normal.Dot(point);
    for (unsigned int i = 0; i < count; ++i)
        if (!(normal.Dot(DoubleVector(GetVertex(i))) - offset < 0.0))
            return false;
    return true;
}

template <typename T>
void PolyhedronInterface<T>::_UpdateBoundingBox() {
    auto const count = static_cast<unsigned int>(GetNbVertices());
    m_bounding_box.SetEmpty();
    for (unsigned int i = 1; i < count; ++i)
        m_bounding_box.Widen(DoubleVector(GetVertex(i)));
}

template <typename T>
void PolyhedronInterface<T>::_CopyVertices(PolyhedronInterface<T> const& other) {
    auto const count = static_cast<unsigned int>(std::min(GetNbVertices(), other.GetNbVertices()));
    for (unsigned int i = 0; i < count; ++i)
        SetVertex(i, other.GetVertex(i));
}

template <typename T>
void PolyhedronInterface<T>::_CopyVerticesMMeshElement(MMeshElement& element) {
    auto const count =
        static_cast<unsigned int>(std::min<std::uint64_t>(GetNbVertices(), element.GetNodeCount()));
    for (unsigned int i = 0; i < count; ++i)
        SetVertex(i, NodePosition(*element.GetNode(i)));
}

template <typename T>
void PolyhedronInterface<T>::_ConvertToVerdictPoints(double (*rows)[3], int n) const {
    for (int i = 0; i < n; ++i) {
        MMVector<T, 3> const& vertex = GetVertex(static_cast<unsigned int>(i));
        for (std::size_t c = 0; c < 3; ++c)
            rows[i][c] = static_cast<double>(vertex[c]);
    }
}

template <typename T>
void PolyhedronInterface<T>::_SetZeroVertices() {
    auto const count = static_cast<unsigned int>(GetNbVertices());
    for (unsigned int i = 0; i < count; ++i)
        SetVertex(i, MMVector<T, 3>());
}

template class PolyhedronInterface<MLong>;
template class PolyhedronInterface<float>;
template class PolyhedronInterface<double>;
