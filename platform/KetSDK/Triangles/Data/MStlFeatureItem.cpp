// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MStlFeatureItem.h>

MStlFeatureItem::~MStlFeatureItem() = default;

void MStlFeatureItem::SetName(wchar_t const* name) {
    // Built first: the name may be a part of the present one.
    std::wstring copy = name ? name : L"";
    m_name.swap(copy);
}
