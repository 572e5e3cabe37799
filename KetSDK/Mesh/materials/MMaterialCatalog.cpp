// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>

#include <KetSDK/FileIO/SAX/MSAXReader.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

constexpr std::uint64_t MaterialStateSize = 32; // bytes of one material in the binary state

} // namespace

// The copy finds its own materials under the same densities as the original does: index entries
// are mapped to the copies, also those whose material is no longer in the catalog.
MMaterialCatalog::MMaterialCatalog(MMaterialCatalog const& other)
    : ISAXReference(other)
    , ISAXPersist(other) {
    std::map<MMeshMaterial const*, std::shared_ptr<MMeshMaterial>> copies;
    auto const copy_of = [&](MMeshMaterial const& material) {
        auto& copy = copies[&material];
        if (!copy) {
            copy = std::make_shared<MMeshMaterial>(material);
        }
        return copy;
    };
    for (auto const& [id, material] : other.m_materials) {
        m_materials.emplace_hint(m_materials.end(), id, copy_of(*material));
    }
    for (auto const& [density, material] : other.m_density_index) {
        m_density_index.emplace_hint(m_density_index.end(), density, copy_of(*material));
    }
}

MMaterialCatalog& MMaterialCatalog::operator=(MMaterialCatalog const& other) {
    if (this != &other) {
        MMaterialCatalog copy(other);
        m_materials.swap(copy.m_materials);
        m_density_index.swap(copy.m_density_index);
    }
    return *this;
}

MMaterialCatalog::~MMaterialCatalog() = default;

MMeshMaterial* MMaterialCatalog::AddMaterial(MMeshMaterial& material) {
    if (MMeshMaterial* const present = GetMaterialWithID(material.GetID())) {
        return present;
    }
    return Store(std::make_shared<MMeshMaterial>(material));
}

MMeshMaterial* MMaterialCatalog::AddMaterialNewID(MMeshMaterial& material) {
    auto const copy = std::make_shared<MMeshMaterial>(material);
    copy->SetID(NextFreeID());
    return Store(copy);
}

MMeshMaterial* MMaterialCatalog::GetMaterialWithID(unsigned int id) const {
    auto const found = m_materials.find(id);
    return found == m_materials.end() ? nullptr : found->second.get();
}

MMeshMaterial* MMaterialCatalog::GetMaterialWithDensity(double density) const {
    // The lower bound is the first entry with the value; find() may return any.
    auto const found = m_density_index.lower_bound(density);
    return found == m_density_index.end() || found->first != density ? nullptr : found->second.get();
}

void MMaterialCatalog::Invalidate() {
    decltype(m_density_index) index;
    for (auto const& [id, material] : m_materials) {
        index.emplace(material->GetDensity(), material);
    }
    m_density_index.swap(index);
}

void MMaterialCatalog::RemoveMaterial(unsigned int id) {
    m_materials.erase(id);
    auto const entry = std::find_if(m_density_index.begin(), m_density_index.end(),
                                    [id](auto const& e) { return e.second->GetID() == id; });
    if (entry != m_density_index.end()) {
        m_density_index.erase(entry);
    }
}

void MMaterialCatalog::Clear() {
    m_materials.clear();
    m_density_index.clear();
}

void MMaterialCatalog::Copy(MMaterialCatalog const& other) {
    for (auto const& [id, material] : other) {
        AddMaterial(*material);
    }
}

bool MMaterialCatalog::operator==(MMaterialCatalog const& other) const {
    return std::equal(begin(), end(), other.begin(), other.end(), [](auto const& a, auto const& b) {
        return a.first == b.first && *a.second == *b.second;
    });
}

bool MMaterialCatalog::HandleTag(std::wstring const& tag, MSAXReader& reader) {
    if (tag != L"Material") {
        return false;
    }
    reader.Read(m_scratch);
    return true;
}

void MMaterialCatalog::HandleEndTag(std::wstring const& tag) {
    if (tag == L"Material") {
        AddMaterial(m_scratch);
    }
}

bool MMaterialCatalog::Write(MSAXWriter& writer) const {
    MSAXTagWriter const catalog(writer, L"MaterialCatalog");
    return std::all_of(begin(), end(), [&](auto const& entry) { return entry.second->Write(writer); });
}

void MMaterialCatalog::LoadState(MStreamMFileIn& in) {
    std::vector<MMeshMaterial> materials(in.ReadCount(MaterialStateSize));
    for (MMeshMaterial& material : materials) {
        material.LoadState(in);
    }
    for (MMeshMaterial& material : materials) {
        AddMaterial(material);
    }
}

void MMaterialCatalog::SaveState(MStreamMFileOut& out) {
    out.Write(std::uint64_t{m_materials.size()});
    for (auto const& [id, material] : m_materials) {
        material->SaveState(out);
    }
}

// Enters a material under its identifier, in the density index too (see GetMaterialWithDensity).
MMeshMaterial* MMaterialCatalog::Store(std::shared_ptr<MMeshMaterial> const& material) {
    auto const entry = m_density_index.emplace(static_cast<double>(material->GetID()), material);
    try {
        m_materials.emplace(material->GetID(), material);
    } catch (...) {
        m_density_index.erase(entry);
        throw;
    }
    return material.get();
}

unsigned int MMaterialCatalog::NextFreeID() const {
    // Mostly none is missing, and the next one follows without a search.
    auto const taken = static_cast<unsigned int>(m_materials.size() - m_materials.count(0));
    if (!m_materials.empty() && m_materials.rbegin()->first == taken)
        return taken + 1;
    unsigned int candidate = 1; // 0 is never handed out
    for (auto const& [id, material] : m_materials) {
        if (candidate < id) {
            break;
        }
        candidate = id + 1;
    }
    return candidate;
}
