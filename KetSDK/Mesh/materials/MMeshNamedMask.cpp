// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshNamedMask.h>

MMeshNamedMask::MMeshNamedMask(std::wstring const& id, std::wstring const& user_label, MMeshBase* mesh)
    : MMeshMask(mesh)
    , m_id(id)
    , m_user_label(user_label) {}

MMeshNamedMask::~MMeshNamedMask() = default;
