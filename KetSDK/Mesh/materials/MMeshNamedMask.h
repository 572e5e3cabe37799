// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MMeshMask.h>

#include <string>

// Base of masks with an identifier for programs and a label for people. Safe to read from several threads.
class KETSDK_MESH_API MMeshNamedMask : public virtual MMeshMask {
public:
    MMeshNamedMask(std::wstring const& id, std::wstring const& user_label, MMeshBase* mesh);
    ~MMeshNamedMask() override;

    std::wstring const& GetID() const noexcept { return m_id; }
    std::wstring const& GetUserLabel() const noexcept { return m_user_label; }

private:
    std::wstring m_id;
    std::wstring m_user_label;
};
