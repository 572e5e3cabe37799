// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/SAX/ISAXPersist.h>
#include <KetSDK/FileIO/SAX/ISAXReference.h>
#include <KetSDK/Mesh/MMeshExport.h>

#include <cfloat>
#include <cstdint>
#include <memory>
#include <string>

namespace KetSDK::Mesh::Detail {
class DensityIndex;
}

// One material of a finite-element model: an identifier, a display colour and its mechanical
// properties. A value; used by one thread at a time.
class KETSDK_MESH_API MMeshMaterial : public ISAXPersist, public virtual ISAXReference {
public:
    // No identifier yet, and all properties unset (DBL_MAX).
    MMeshMaterial() = default;
    MMeshMaterial(MMeshMaterial const&) = default;
    MMeshMaterial& operator=(MMeshMaterial const&) = default;
    ~MMeshMaterial() override;

    // The identifier; 0xFFFFFFFF when none has been given yet.
    unsigned int GetID() const noexcept { return m_id.Get(); }
    void SetID(unsigned int id) noexcept { m_id.Set(id); }
    // The density; DBL_MAX when unset.
    double GetDensity() const noexcept { return m_density; }
    void SetDensity(double density) noexcept { m_density = density; }
    // The packed display colour, 0xFF0000FF at first. What its bytes mean is up to who shows it.
    unsigned int GetColor() const noexcept { return m_color; }
    void SetColor(unsigned int color) noexcept { m_color = color; }
    // Poisson's ratio; DBL_MAX when unset.
    double GetPoisson() const noexcept { return m_poisson; }
    void SetPoisson(double poisson) noexcept { m_poisson = poisson; }
    // Young's modulus; DBL_MAX when unset.
    double GetEmodulus() const noexcept { return m_emodulus; }
    void SetEmodulus(double emodulus) noexcept { m_emodulus = emodulus; }

    // True when all five values are equal, doubles exactly.
    bool operator==(MMeshMaterial const& other) const noexcept;

    // Persistence. What a tag leaves out is 0.0, not unset as in a new material: kept, files that were
    // written so mean 0.0.
    void SetDefaults() override;
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
    // Writes a tag "Material". False when it could not be written.
    bool Write(MSAXWriter& writer) const override;
    // Reads and writes the five values, 32 bytes. LoadState throws std::runtime_error("invalid state")
    // when the stream ends within them, and changes nothing then.
    void LoadState(MStreamMFileIn& in) override;
    void SaveState(MStreamMFileOut& out) override;

private:
    friend class KetSDK::Mesh::Detail::DensityIndex;

    // An identifier that counts its changes for whoever goes by it; for nobody in a copy.
    class Identifier {
    public:
        Identifier() = default;
        Identifier(Identifier const& other) noexcept
            : m_value(other.m_value) {}
        Identifier& operator=(Identifier const& other) noexcept {
            if (this != &other)
                Set(other.m_value);
            return *this;
        }
        ~Identifier() = default;
        unsigned int Get() const noexcept { return m_value; }
        void Set(unsigned int value) noexcept {
            if (m_changes && value != m_value)
                ++*m_changes;
            m_value = value;
        }
        void SetCounter(std::shared_ptr<std::uint64_t> const& changes) noexcept { m_changes = changes; }

    private:
        unsigned int m_value = 0xFFFFFFFF;
        std::shared_ptr<std::uint64_t> m_changes;
    };

    Identifier m_id;
    double m_density = DBL_MAX;
    unsigned int m_color = 0xFF0000FF;
    double m_poisson = DBL_MAX;
    double m_emodulus = DBL_MAX;
};
