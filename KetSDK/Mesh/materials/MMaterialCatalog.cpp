// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>

#include <KetSDK/FileIO/SAX/MSAXReader.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>
#include <KetSDK/Mesh/materials/detail/DensityIndex.h>

#include <algorithm>
#include <cstdint>
#include <vector>

using KetSDK::Mesh::Detail::DensityIndex;

namespace {

constexpr std::uint64_t MaterialStateSize = 32; // bytes of one material in the binary state

} // namespace

MMaterialCatalog::MMaterialCatalog()
    : m_density_index(std::make_unique<DensityIndex>()) {}

// The copy finds its own materials under the same densities as the original does: index entries
// are mapped to the copies, also those whose material is no longer in the catalog.
MMaterialCatalog::MMaterialCatalog(MMaterialCatalog const& other)
    : ISAXReference(other)
    , ISAXPersist(other)
    , m_density_index(std::make_unique<DensityIndex>())
    , m_next_id(other.m_next_id)
    , m_given_back(other.m_given_back) {
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
    for (auto const& [density, material] : other.m_density_index->GetEntries()) {
        m_density_index->Add(density, copy_of(*material));
    }
}

MMaterialCatalog& MMaterialCatalog::operator=(MMaterialCatalog const& other) {
    if (this != &other) {
        MMaterialCatalog copy(other);
        m_materials.swap(copy.m_materials);
        m_density_index.swap(copy.m_density_index);
        m_next_id = copy.m_next_id;
        m_given_back.swap(copy.m_given_back);
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
    auto const& entries = m_density_index->GetEntries();
    auto const found = entries.lower_bound(density);
    return found == entries.end() || found->first != density ? nullptr : found->second.get();
}

void MMaterialCatalog::Invalidate() {
    DensityIndex index;
    for (auto const& [id, material] : m_materials) {
        index.Add(material->GetDensity(), material);
    }
    m_density_index->Swap(index);
}

void MMaterialCatalog::RemoveMaterial(unsigned int id) {
    auto const material = m_materials.find(id);
    if (material != m_materials.end()) {
        if (id > 0 && id < m_next_id) {
            m_given_back.insert(id); // first, as it may throw
        }
        m_materials.erase(material);
    }
    auto const entry = m_density_index->FindFirst(id);
    if (entry != m_density_index->GetEntries().end()) {
        m_density_index->Remove(entry);
    }
}

void MMaterialCatalog::Clear() {
    m_materials.clear();
    m_density_index->Clear();
    m_next_id = 1;
    m_given_back.clear();
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
    auto const entry = m_density_index->Add(static_cast<double>(material->GetID()), material);
    try {
        m_materials.emplace(material->GetID(), material);
    } catch (...) {
        m_density_index->Remove(entry);
        throw;
    }
    m_given_back.erase(material->GetID());
    return material.get();
}

// The smallest one; 0 is never handed out.
unsigned int MMaterialCatalog::NextFreeID() {
    if (!m_given_back.empty()) {
        return *m_given_back.begin();
    }
    for (auto taken = m_materials.lower_bound(m_next_id);
         taken != m_materials.end() && taken->first == m_next_id; ++taken) {
        ++m_next_id;
    }
    return m_next_id;
}
