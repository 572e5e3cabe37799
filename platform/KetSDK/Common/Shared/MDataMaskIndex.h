// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <cstdint>

// The slot of an object in every data mask of its kind. Base of nodes, elements and whatever else
// carries values that live outside the object.
class KETSDK_API MDataMaskIndex {
public:
    // The index of an object that is registered with no mask container.
    static constexpr std::uint64_t NotRegistered = UINT64_MAX;

    std::uint64_t GetMaskIndex() const noexcept { return m_mask_index; }
    void SetMaskIndex(std::uint64_t index) noexcept { m_mask_index = index; }

private:
    std::uint64_t m_mask_index = NotRegistered;
};
