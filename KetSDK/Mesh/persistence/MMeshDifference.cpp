// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshDifference.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/materials/MMeshMaskIterator.h>
#include <KetSDK/Mesh/materials/detail/BuiltInMasks.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/detail/ValueWords.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

using Difference = std::optional<std::string>;
using VolumeList = MMeshElementMaskContainer::VolumeList;

// Equality, of doubles bit for bit.

template <typename T>
bool Same(T const& a, T const& b) {
    return a == b;
}

bool Same(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool Same(VolumeList const& a, VolumeList const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](auto const& one, auto const& other) {
        return one.volume_index == other.volume_index && Same(one.weight, other.weight);
    });
}

bool Same(MMeshSurfaceTriangleList const& a, MMeshSurfaceTriangleList const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

// Values in words. Different values read different, but for numbers that are none.

using KetSDK::Mesh::Detail::InWords;

std::string InWords(VolumeList const& list) {
    std::string text;
    for (auto const& [volume, weight] : list)
        text += (text.empty() ? "" : ", ") + InWords(volume) + " by " + InWords(weight);
    return text.empty() ? "empty" : text;
}

std::string InWords(MMeshSurfaceTriangleList const& list) {
    std::string text;
    for (auto const& [tetrahedron, triangle] : list)
        text += (text.empty() ? "" : ", ") + InWords(tetrahedron) + '/' + InWords(triangle);
    return text.empty() ? "none" : text;
}

// Values of masks; -1 stands for none.
template <typename T>
std::string ValueInWords(T value) {
    if constexpr (std::is_same_v<T, int>)
        if (value == -1)
            return "none";
    return InWords(value);
}

std::string Length(MLong value) {
    return InWords(value / KetSDK::Common::MInternalUnits::Get()) + " mm";
}

std::string Property(double value) {
    return value == DBL_MAX ? "not set" : InWords(value);
}

std::string Color(unsigned int value) {
    return "0x" + Hexadecimal(value);
}

// `what`, which ends with a verb, and both values when they differ.
template <typename T>
Difference Compare(
    std::string const& what, T const& a, T const& b,
    std::string (*in_words)(T) = [](T value) { return InWords(value); }) {
    if (Same(a, b))
        return std::nullopt;
    std::string const words = in_words(a);
    bool const alike = words == in_words(b); // two numbers that are none
    return what + " " + words + " and " + (alike ? words + " with other bits" : in_words(b));
}

// The first of two or more comparisons, each made only when those before it found nothing.
template <typename First, typename... Others>
Difference FirstOf(First const& first, Others const&... others) {
    Difference found = first();
    if constexpr (sizeof...(others) > 0)
        if (!found)
            found = FirstOf(others...);
    return found;
}

std::string Nth(char const* kind, std::uint64_t number) {
    return kind + (' ' + std::to_string(number)) + ": ";
}

class Comparison {
public:
    Comparison(MMeshBase const& a, MMeshBase const& b, double tolerance)
        : m_a(a)
        , m_b(b)
        , m_tolerance(tolerance) {}

    Difference Find() const {
        return FirstOf([this] { return AllNodes(); }, [this] { return AllElements(); },
                       [this] { return BuiltInValues(); }, [this] { return Catalog(); },
                       [this] { return SubVolumes(); }, [this] { return Properties(); },
                       [this] { return Box(); }, [this] { return Fields(); });
    }

private:
    Difference AllNodes() const {
        if (m_a.NumberOfPoints() != m_b.NumberOfPoints())
            return Compare("the numbers of nodes are", m_a.NumberOfPoints(), m_b.NumberOfPoints());
        for (auto a = m_a.BeginPoint(), b = m_b.BeginPoint(); a != m_a.EndPoint(); ++a, ++b)
            if ((a->x != b->x || a->y != b->y || a->z != b->z) && !AreNear(*a, *b))
                return Position(Nth("node", static_cast<std::uint64_t>(a->GetIndex())), {a->x, a->y, a->z},
                                {b->x, b->y, b->z});
        return std::nullopt;
    }

    bool AreNear(MMeshPoint const& a, MMeshPoint const& b) const {
        return m_tolerance > 0.0 && (a.GetPosition() - b.GetPosition()).Length() <= m_tolerance;
    }

    static Difference Position(std::string const& what, MMVector<MLong, 3> const& a,
                               MMVector<MLong, 3> const& b) {
        return FirstOf([&] { return Compare<MLong>(what + "x is", a[0], b[0], Length); },
                       [&] { return Compare<MLong>(what + "y is", a[1], b[1], Length); },
                       [&] { return Compare<MLong>(what + "z is", a[2], b[2], Length); });
    }

    Difference AllElements() const {
        if (m_a.NumberOfElements() != m_b.NumberOfElements())
            return Compare("the numbers of elements are", m_a.NumberOfElements(), m_b.NumberOfElements());
        Difference found;
        auto other = m_b.Elements().begin();
        m_a.Elements().ForEachWithNodes([&](MMeshElement const& a, std::uint64_t number) {
            MMeshElement const& b = *other++;
            if (!found)
                found = OneElement(a, b, number);
        });
        return found;
    }

    static Difference OneElement(MMeshElement const& a, MMeshElement const& b, std::uint64_t number) {
        if (a.GetNodeCount() != b.GetNodeCount())
            return Compare(Nth("element", number) + "the numbers of its nodes are", a.GetNodeCount(),
                           b.GetNodeCount());
        for (unsigned int i = 0; i < a.GetNodeCount(); ++i)
            if (a.GetNode(i)->GetIndex() != b.GetNode(i)->GetIndex())
                return Compare(Nth("element", number) + "its node " + std::to_string(i) + " is",
                               a.GetNode(i)->GetIndex(), b.GetNode(i)->GetIndex());
        return std::nullopt;
    }

    // Compares the built-in values of all elements and nodes; a mask that does not exist has the default
    // ones.
    Difference BuiltInValues() const {
        Difference found;
        ForEachBuiltInMaskBy(&BuiltInMaskTraits::compared_rank, [&](auto const& row) {
            auto const* const a = row.FindIn(m_a);
            auto const* const b = row.FindIn(m_b);
            if (found || (!a && !b))
                return;
            std::string const what = std::string("its ") + row.compared_as;
            using Masks = typename std::decay_t<decltype(row)>::Container;
            if constexpr (std::is_same_v<Masks, MMeshElementMaskContainer>)
                found = MaskValues("element", m_a.Elements().begin(), m_a.Elements().end(),
                                   m_b.Elements().begin(), a, b, row.default_value, what);
            else
                found = NodeValues(a, b, row.default_value, what);
        });
        return found;
    }

    template <typename Mask, typename T>
    Difference NodeValues(Mask const* a, Mask const* b, T const& default_value,
                          std::string const& what) const {
        return MaskValues("node", m_a.BeginPoint(), m_a.EndPoint(), m_b.BeginPoint(), a, b, default_value,
                          what);
    }

    // Compares the values that two masks, null for the default everywhere, have for the objects of one kind.
    template <typename Iterator, typename Mask, typename T>
    static Difference MaskValues(char const* kind, Iterator object, Iterator const& end, Iterator other,
                                 Mask const* a, Mask const* b, T const& default_value,
                                 std::string const& what) {
        for (std::uint64_t number = 0; object != end; ++object, ++other, ++number) {
            T const& value = a ? a->GetValue(*object) : default_value;
            T const& other_value = b ? b->GetValue(*other) : default_value;
            if (!Same(value, other_value))
                return Compare<T>(Nth(kind, number) + what, value, other_value, ValueInWords);
        }
        return std::nullopt;
    }

    Difference Catalog() const {
        MMaterialCatalog const& a = m_a.GetMaterialCatalog();
        MMaterialCatalog const& b = m_b.GetMaterialCatalog();
        auto p = a.begin(), q = b.begin();
        for (; p != a.end() && q != b.end() && p->first == q->first; ++p, ++q)
            if (Difference found = Material(p->first, *p->second, *q->second))
                return found;
        if (p == a.end() && q == b.end())
            return std::nullopt;
        bool const first = q == b.end() || (p != a.end() && p->first < q->first);
        return "the catalog has material " + std::to_string((first ? p : q)->first) + " in the " +
               (first ? "first" : "second") + " mesh only";
    }

    static Difference Material(unsigned int id, MMeshMaterial const& a, MMeshMaterial const& b) {
        auto const property = [&](char const* name, double (MMeshMaterial::*get)() const noexcept) {
            return Compare<double>(Nth("material", id) + name, (a.*get)(), (b.*get)(), Property);
        };
        return FirstOf([&] { return property("its density is", &MMeshMaterial::GetDensity); },
                       [&] { return property("its E-modulus is", &MMeshMaterial::GetEmodulus); },
                       [&] { return property("its Poisson's ratio is", &MMeshMaterial::GetPoisson); },
                       [&] {
                           return Compare<unsigned int>(Nth("material", id) + "its colour is", a.GetColor(),
                                                        b.GetColor(), Color);
                       });
    }

    Difference SubVolumes() const {
        if (m_a.NumberOfSubVolumes() != m_b.NumberOfSubVolumes())
            return Compare("the numbers of sub-volumes are", m_a.NumberOfSubVolumes(),
                           m_b.NumberOfSubVolumes());
        auto other = m_b.BeginSubVolume();
        for (auto it = m_a.BeginSubVolume(); it != m_a.EndSubVolume(); ++it, ++other) {
            MMeshSubVolume const& a = **it;
            MMeshSubVolume const& b = **other;
            std::string const what = Nth("sub-volume", static_cast<std::uint64_t>(it - m_a.BeginSubVolume()));
            Difference found =
                FirstOf([&] { return Compare(what + "its number is", a.GetID(), b.GetID()); },
                        [&] { return Compare(what + "its name is", a.GetName(), b.GetName()); },
                        [&] { return Compare(what + "its material number is", a.GetMatID(), b.GetMatID()); },
                        [&] {
                            return Compare(what + "the numbers of its elements are", a.GetNbElements(),
                                           b.GetNbElements());
                        });
            if (found)
                return found;
        }
        return std::nullopt;
    }

    Difference Properties() const {
        return FirstOf(
            [this] {
                return Compare("the flag for grey values is", m_a.HasGreyValues(), m_b.HasGreyValues());
            },
            [this] {
                return Compare("the flag for volume lists is", m_a.HasVolumeIndexValues(),
                               m_b.HasVolumeIndexValues());
            },
            [this] { return Compare<int>("the type is", m_a.GetMeshType(), m_b.GetMeshType()); },
            [this] { return Compare<int>("the state is", m_a.GetMeshState(), m_b.GetMeshState()); });
    }

    Difference Box() const {
        if (m_tolerance > 0.0)
            return std::nullopt;
        auto const& a = m_a.GetBoundingBox();
        auto const& b = m_b.GetBoundingBox();
        return FirstOf([&] { return Position("the lower corner of the box: ", a.GetMin(), b.GetMin()); },
                       [&] { return Position("the upper corner of the box: ", a.GetMax(), b.GetMax()); });
    }

    using FieldList = std::vector<MMeshNamedScalarMaskPoints const*>;

    static FieldList FieldsOf(MMeshBase const& mesh) {
        using Iterator = MMeshMaskIterator<MMeshNamedScalarMaskPoints const>;
        FieldList fields;
        for (auto it = Iterator::Begin(&mesh); it != Iterator::End(&mesh); ++it)
            fields.push_back(it);
        return fields;
    }

    Difference Fields() const {
        FieldList const a = FieldsOf(m_a);
        FieldList const b = FieldsOf(m_b);
        if (a.size() != b.size())
            return Compare("the numbers of scalar fields are", a.size(), b.size());
        for (std::size_t i = 0; i < a.size(); ++i)
            if (Difference found = Field(Nth("scalar field", i), *a[i], *b[i]))
                return found;
        return std::nullopt;
    }

    Difference Field(std::string const& what, MMeshNamedScalarMaskPoints const& a,
                     MMeshNamedScalarMaskPoints const& b) const {
        using Values = MDataMask<MMeshPoint, double>;
        return FirstOf(
            [&] { return Compare(what + "its identifier is", a.GetID(), b.GetID()); },
            [&] { return Compare(what + "its label is", a.GetUserLabel(), b.GetUserLabel()); },
            [&] { return Compare(what + "its default is", a.GetDefaultValue(), b.GetDefaultValue()); },
            [&] {
                return NodeValues<Values>(&a, &b, 0.0, "the scalar field " + InWords(a.GetID()) + " is");
            });
    }

    MMeshBase const& m_a;
    MMeshBase const& m_b;
    double m_tolerance;
};

} // namespace

std::optional<std::string> FindMeshDifference(MMeshBase const& a, MMeshBase const& b, double tolerance) {
    return Comparison(a, b, tolerance).Find();
}
