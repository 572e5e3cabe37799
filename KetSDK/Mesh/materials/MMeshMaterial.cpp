// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshMaterial.h>

#include <KetSDK/FileIO/SAX/MSAXReader.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>

namespace {

constexpr int DoublePrecision = 17; // reads back bit for bit

} // namespace

MMeshMaterial::~MMeshMaterial() = default;

bool MMeshMaterial::operator==(MMeshMaterial const& other) const noexcept {
    return GetID() == other.GetID() && m_density == other.m_density && m_color == other.m_color &&
           m_poisson == other.m_poisson && m_emodulus == other.m_emodulus;
}

void MMeshMaterial::SetDefaults() {
    SetID(0xFFFFFFFF);
    m_density = 0.0;
    m_color = 0xFF0000FF;
    m_poisson = 0.0;
    m_emodulus = 0.0;
}

bool MMeshMaterial::HandleTag(std::wstring const& tag, MSAXReader& reader) {
    if (tag == L"Index") {
        unsigned int id = GetID();
        reader.Read(id);
        SetID(id);
    } else if (tag == L"Color") {
        reader.Read(m_color);
    } else if (tag == L"Density") {
        reader.Read(m_density);
    } else if (tag == L"E-modulus") {
        reader.Read(m_emodulus);
    } else if (tag == L"Poisson") {
        reader.Read(m_poisson);
    } else {
        return tag == L"Label"; // known from older files; nothing keeps it
    }
    return true;
}

bool MMeshMaterial::Write(MSAXWriter& writer) const {
    MSAXTagWriter const material(writer, L"Material");
    writer.WriteTag(L"Index", GetID());
    writer.WriteTag(L"Color", m_color);
    writer.WriteTag(L"Density", m_density, DoublePrecision);
    writer.WriteTag(L"E-modulus", m_emodulus, DoublePrecision);
    writer.WriteTag(L"Poisson", m_poisson, DoublePrecision);
    return writer.IsGood();
}

void MMeshMaterial::LoadState(MStreamMFileIn& in) {
    MMeshMaterial read;
    unsigned int id = 0;
    in.Read(id);
    read.SetID(id);
    in.Read(read.m_density);
    in.Read(read.m_color);
    in.Read(read.m_poisson);
    in.Read(read.m_emodulus);
    *this = read;
}

void MMeshMaterial::SaveState(MStreamMFileOut& out) {
    out.Write(GetID());
    out.Write(m_density);
    out.Write(m_color);
    out.Write(m_poisson);
    out.Write(m_emodulus);
}
