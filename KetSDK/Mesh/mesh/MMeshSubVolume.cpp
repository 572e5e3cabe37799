// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshSubVolume.h>

#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>

#include <atomic>
#include <stdexcept>
#include <vector>

using KetSDK::Mesh::Detail::SubVolumeElementsIterator;

namespace {

void RequireParent(MMeshBase const* parent) {
    if (!parent)
        throw std::runtime_error("invalid state");
}

} // namespace

std::uint64_t MMeshSubVolume::mg_unique_counter = 0;

MMeshSubVolume::MMeshSubVolume(MMeshBase* parent, int number)
    : m_parent(parent)
    , m_name(L"Volume " + std::to_wstring(number))
    , m_number(number)
    , m_unique_id(std::atomic_ref(mg_unique_counter).fetch_add(1, std::memory_order_relaxed)) {}

std::uint64_t MMeshSubVolume::GetNbPoints() const {
    if (!m_parent)
        return 0;
    std::vector<bool> seen(static_cast<std::size_t>(m_parent->NumberOfPoints()), false);
    std::uint64_t count = 0;
    for (MMeshElement const& e : *this) {
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
            auto const node = static_cast<std::size_t>(e.GetNode(i)->GetIndex());
            count += !seen[node];
            seen[node] = true;
        }
    }
    return count;
}

double MMeshSubVolume::GetVolume() const {
    double volume = 0.0;
    for (MMeshElement const& e : *this)
        volume += GetElementVolume(e);
    return volume;
}

void MMeshSubVolume::IncludeElement(MMeshElement& e) {
    RequireParent(m_parent);
    m_parent->GetElementMasks()->GetSubvolumeMask()->SetValue(e, m_number);
    Count(1);
}

void MMeshSubVolume::MoveElement(MMeshElement& e, MMeshSubVolume* target) {
    target->IncludeElement(e);
    Count(-1U);
}

void MMeshSubVolume::MoveAllElements(MMeshSubVolume* target) {
    if (target == this)
        return;
    // The iterator looks at an element's number only when it arrives there, so moving the current
    // element away does not disturb the walk.
    for (MMeshElement& e : *this)
        MoveElement(e, target);
}

MMeshElement* MMeshSubVolume::AddElement(char n, MMeshPoint** nodes) {
    RequireParent(m_parent && m_parent->NumberOfSubVolumes() > 0 ? m_parent : nullptr);
    return m_parent->AddElementTo(*this, n, nodes);
}

SubVolumeElementsIterator<0> MMeshSubVolume::begin() {
    return SubVolumeElementsIterator<0>::Begin(this);
}
SubVolumeElementsIterator<0> MMeshSubVolume::end() {
    return SubVolumeElementsIterator<0>::End(this);
}
SubVolumeElementsIterator<1> MMeshSubVolume::begin() const {
    return SubVolumeElementsIterator<1>::Begin(this);
}
SubVolumeElementsIterator<1> MMeshSubVolume::end() const {
    return SubVolumeElementsIterator<1>::End(this);
}
