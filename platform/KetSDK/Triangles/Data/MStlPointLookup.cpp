#include <KetSDK/Triangles/Data/MStlPointLookup.h>

#include <utility>

void MStlPointLookup::_Grow() {
    Slots const old = std::exchange(m_slots, Slots(m_slots.empty() ? std::size_t{16} : 2 * m_slots.size()));
    m_shift = 32;
    for (std::size_t size = m_slots.size(); size > 1; size /= 2)
        --m_shift;
    for (Slot const& slot : old) {
        if (slot.bits == Free)
            continue;
        std::size_t at = slot.bits >> m_shift;
        while (m_slots[at].bits != Free)
            at = (at + 1) & (m_slots.size() - 1);
        m_slots[at] = slot;
    }
}
