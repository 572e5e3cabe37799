// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/TextBuffer.h>

#include <algorithm>
#include <utility>

namespace KetSDK::Support {

void TextBuffer::Grow(std::size_t size) {
    std::size_t const capacity = 2 * m_capacity + size;
    auto characters = std::make_unique_for_overwrite<char[]>(capacity);
    std::ranges::copy(GetText(), characters.get());
    m_characters = std::move(characters);
    m_capacity = capacity;
}

} // namespace KetSDK::Support
