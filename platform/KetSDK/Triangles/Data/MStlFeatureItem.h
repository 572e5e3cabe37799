// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <string>

// Something in a surface container that has a name: a surface, a feature or a graph. Names may hold
// any characters, need not be unique and are empty at first. Used by one thread at a time when written.
class KETSDK_API MStlFeatureItem {
public:
    virtual ~MStlFeatureItem();

    // Stores a copy of the name; null stands for the empty one.
    void SetName(wchar_t const* name);
    std::wstring const& GetName() const noexcept { return m_name; }

protected:
    MStlFeatureItem() = default;
    MStlFeatureItem(MStlFeatureItem const&) = delete;
    MStlFeatureItem& operator=(MStlFeatureItem const&) = delete;

private:
    std::wstring m_name;
};
