#pragma once

#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/operators/ElementFaces.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Finds the element across every face of the elements around one node after another. A face is dealt
// with at its node of lowest address, where all elements that share it are at hand, so that a mesh is
// matched in one pass without a table of its faces. Faces match when they have the same corners; a
// quadrilateral with a repeated corner counts as a triangle. Faces with fewer than three different
// corners have no area and are left out.
class FaceMatcher {
public:
    // Calls visit(element, face, neighbour) for every face whose lowest node is `node`. The elements are
    // those that use the node, by ascending address. The neighbour is null on the boundary and, where
    // more than two elements meet, the one of lowest address that is not the element itself.
    template <typename Visit>
    void Match(MMeshPoint const* node, std::vector<MMeshElement*> const& elements, Visit&& visit) {
        _Start(elements.size());
        MMeshElement* previous = nullptr;
        for (MMeshElement* e : elements)
            if (e != std::exchange(previous, e))
                _EnterFaces(node, e);
        for (Occurrence const& first : m_occurrences)
            if (first.is_first)
                _VisitChain(first, visit);
    }

private:
    static constexpr std::int32_t None = -1;

    struct Key {
        MMeshPoint const* node[3]; // the corners but the lowest, ascending; the last is null in a triangle
        bool operator==(Key const&) const = default;
    };
    // A face of an element; faces with the same key form a chain in the order of their elements.
    struct Occurrence {
        Key key;
        MMeshElement* element;
        std::int32_t next;
        unsigned char face;
        bool is_first;
    };
    struct Slot {
        std::uint32_t round = 0; // slots of earlier rounds are empty
        std::int32_t first = None;
    };

    void _Start(std::size_t elements) {
        m_occurrences.clear();
        std::size_t size = 64;
        while (size < 8 * elements)
            size *= 2;
        if (m_slots.size() < size)
            m_slots.assign(size, Slot());
        m_mask = size - 1;
        ++m_round;
    }

    void _EnterFaces(MMeshPoint const* node, MMeshElement* e) {
        auto const faces = FacesOfElement(e->GetNodeCount());
        for (unsigned char f = 0; f < faces.size(); ++f) {
            Key key;
            if (_MakeKey(node, *e, faces[f], key))
                _Enter(key, e, f);
        }
    }

    // False when the node is not the lowest corner of the face, or the face has no area.
    static bool _MakeKey(MMeshPoint const* node, MMeshElement const& e, ElementFace const& face, Key& key) {
        MMeshPoint const* others[4] = {nullptr, nullptr, nullptr, nullptr};
        unsigned int count = 0;
        bool has_node = false;
        for (unsigned int i = 0; i < face.corners; ++i) {
            MMeshPoint const* const corner = e.GetNode(face.node[i]);
            if (corner < node)
                return false;
            if (corner == node)
                has_node = true;
            else
                others[count++] = corner;
        }
        if (!has_node || count < 2)
            return false;
        if (count == 2) {
            if (others[0] > others[1])
                std::swap(others[0], others[1]);
        } else {
            count = _SortUnique(others, count);
        }
        key = {{others[0], others[1], count > 2 ? others[2] : nullptr}};
        return others[0] != others[1] && count >= 2;
    }

    static unsigned int _SortUnique(MMeshPoint const** others, unsigned int count);

    void _Enter(Key const& key, MMeshElement* e, unsigned char face) {
        auto const number = static_cast<std::int32_t>(m_occurrences.size());
        for (std::size_t at = _Hash(key);; at = at + 1) {
            Slot& slot = m_slots[at & m_mask];
            if (slot.round != m_round) {
                slot = {m_round, number};
                m_occurrences.push_back({key, e, None, face, true});
                return;
            }
            std::int32_t last = slot.first;
            if (m_occurrences[static_cast<std::size_t>(last)].key != key)
                continue;
            while (m_occurrences[static_cast<std::size_t>(last)].next != None)
                last = m_occurrences[static_cast<std::size_t>(last)].next;
            m_occurrences[static_cast<std::size_t>(last)].next = number;
            m_occurrences.push_back({key, e, None, face, false});
            return;
        }
    }

    static std::size_t _Hash(Key const& key) noexcept {
        std::uint64_t const a = reinterpret_cast<std::uintptr_t>(key.node[0]);
        std::uint64_t const b = reinterpret_cast<std::uintptr_t>(key.node[1]);
        return static_cast<std::size_t>((a * 0x9E3779B97F4A7C15u + b * 0xD6E8FEB86659FD93u) >> 40);
    }

    template <typename Visit>
    void _VisitChain(Occurrence const& first, Visit& visit) const {
        for (Occurrence const* own = &first; own; own = _Next(*own)) {
            Occurrence const* other = &first;
            while (other && other->element == own->element)
                other = _Next(*other);
            visit(own->element, own->face, other ? other->element : nullptr);
        }
    }

    Occurrence const* _Next(Occurrence const& o) const noexcept {
        return o.next == None ? nullptr : &m_occurrences[static_cast<std::size_t>(o.next)];
    }

    std::vector<Occurrence> m_occurrences;
    std::vector<Slot> m_slots;
    std::size_t m_mask = 0;
    std::uint32_t m_round = 0;
};

inline unsigned int FaceMatcher::_SortUnique(MMeshPoint const** others, unsigned int count) {
    for (unsigned int i = 1; i < count; ++i)
        for (unsigned int k = i; k > 0 && others[k] < others[k - 1]; --k)
            std::swap(others[k], others[k - 1]);
    unsigned int unique = 1;
    for (unsigned int i = 1; i < count; ++i)
        if (others[i] != others[unique - 1])
            others[unique++] = others[i];
    return unique;
}

} // namespace KetSDK::Mesh::Detail
