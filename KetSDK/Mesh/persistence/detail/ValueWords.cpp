// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/detail/ValueWords.h>

namespace KetSDK::Mesh::Detail {

static void AppendUtf8(std::string& text, std::uint32_t code) {
    auto const append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    int const following = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    append(following == 0 ? code : (0xF0u << (3 - following) & 0xFFu) | code >> 6 * following);
    for (int i = following - 1; i >= 0; --i)
        append(0x80u | (code >> 6 * i & 0x3Fu));
}

std::string InWords(std::wstring const& name) {
    std::string text = "\"";
    for (wchar_t const character : name) {
        auto const code = static_cast<std::uint32_t>(character);
        if (code < 0x20 || code == 0x7F || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF)
            text += "\\u{" + Hexadecimal(code) + '}';
        else
            AppendUtf8(text, code);
    }
    return text + '"';
}

} // namespace KetSDK::Mesh::Detail
