// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MaterialInterval.h>

#include <cstdint>
#include <map>
#include <utility>

// A list of intervals of type T, ordered and addressed by index: 0, 1, 2 and so on as they are appended.
// A value. Not synchronised: concurrent reads are safe.
template <typename T>
class KETSDK_MESH_API MIntervalsEx {
public:
    // An interval and, once more, the grey value at which it begins.
    struct MHUListElement {
        double start = 0.0;
        T value;
    };
    using Elements = std::map<unsigned long long, MHUListElement>;

    // How a list was built.
    enum EMapType : std::int32_t { NotBuilt = 0, OnePerMaterial = 1, Uniform = 2 };

    // Stores an interval under the index that equals the number of elements, where it replaces what is
    // there, and returns that index.
    unsigned long long AddElementAtEnd(double start, T value) {
        unsigned long long const index = m_elements.size();
        m_elements.insert_or_assign(m_elements.end(), index, MHUListElement{start, std::move(value)});
        return index;
    }

    unsigned long long GetNumElements() const noexcept { return m_elements.size(); }
    // The grey value at which an interval begins; 0 for an index that is not in the list.
    double GetStart(unsigned long long index) const {
        auto const found = m_elements.find(index);
        return found == m_elements.end() ? 0.0 : found->second.start;
    }
    // A copy of an interval; the undefined one for an index that is not in the list.
    T GetValue(unsigned long long index) const {
        auto const found = m_elements.find(index);
        return found == m_elements.end() ? T() : found->second.value;
    }

    // Pairs of index and element, by ascending index.
    typename Elements::iterator Begin() noexcept { return m_elements.begin(); }
    typename Elements::iterator End() noexcept { return m_elements.end(); }
    typename Elements::const_iterator Begin() const noexcept { return m_elements.begin(); }
    typename Elements::const_iterator End() const noexcept { return m_elements.end(); }

    // Removes all elements; the map type stays.
    void Clear() noexcept { m_elements.clear(); }

    // An EMapType, or whatever number was stored.
    std::int32_t mapType = NotBuilt;

private:
    Elements m_elements;
};

extern template class MIntervalsEx<MaterialInterval>;
