// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/DeckMaterials.h>

#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <array>
#include <charconv>

namespace KetSDK::MeshSolver::Detail {

std::size_t DeckMaterials::IndexOf(std::string const& name) {
    auto const [found, is_new] = m_index_of.try_emplace(NameKey(name), m_open.deck.materials.size());
    if (is_new)
        m_open.deck.materials.push_back({name, {}, {}, {}});
    return found->second;
}

void DeckMaterials::Begin(DeckKeyword const& keyword) {
    m_material = IndexOf(keyword.Get("NAME"));
    m_open.defined_materials.insert(*m_material);
}

bool DeckMaterials::TakesElastic(DeckKeyword const& keyword) {
    std::string const type = NameKey(keyword.Get("TYPE"));
    bool const is_isotropic = type.empty() || type.starts_with("ISO");
    if (!m_material || !is_isotropic) {
        ++m_open.deck.unread["*ELASTIC" + (type.empty() ? type : " of type " + type)];
        return false;
    }
    return true;
}

void DeckMaterials::ReadElastic(std::string_view line) {
    Deck::Material& material = m_open.deck.materials[*m_material];
    if (material.emodulus) {
        ++m_open.deck.unread["moduli that depend on temperature"];
        return;
    }
    material.emodulus = ReadProperty(NextWord(line), "*ELASTIC");
    material.poisson = line.data() ? ReadProperty(NextWord(line), "*ELASTIC") : 0.0;
}

void DeckMaterials::ReadDensity(std::string_view line) {
    // In tonne/mm3; the digits are kept.
    double const density = ReadProperty(NextWord(line), "*DENSITY") * 1e9;
    std::array<char, 32> text;
    char* const end =
        std::to_chars(text.data(), text.data() + text.size(), density, std::chars_format::scientific, 14).ptr;
    double rounded = density;
    std::from_chars(text.data(), end, rounded);
    if (!m_open.deck.materials[*m_material].density)
        m_open.deck.materials[*m_material].density = rounded;
}

double DeckMaterials::ReadProperty(std::string_view word, char const* keyword) const {
    double value = 0.0;
    if (!ReadReal(word, value))
        m_place.Fail("\"" + std::string(word) + "\" after " + keyword + " is no number");
    return value;
}

void DeckMaterials::ReadSection(DeckKeyword const& keyword) {
    std::string const set = keyword.Get("ELSET");
    std::string const material = keyword.Get("MATERIAL");
    if (set.empty() || material.empty())
        m_place.Fail("*SOLID SECTION needs ELSET= and MATERIAL=");
    m_open.section_names.emplace_back(NameKey(set), IndexOf(material));
}

} // namespace KetSDK::MeshSolver::Detail
