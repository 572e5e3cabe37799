// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/SupportExport.h>

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace KetSDK::Support {

// Text in memory that grows.
class TextBuffer {
public:
    TextBuffer& operator<<(std::string_view text) {
        std::memcpy(Reserve(text.size()), text.data(), text.size());
        m_size += text.size();
        return *this;
    }
    TextBuffer& operator<<(char c) {
        *Reserve(1) = c;
        ++m_size;
        return *this;
    }
    template <std::integral Integer>
    TextBuffer& operator<<(Integer number) {
        return ToChars(number);
    }
    // How a real number is written depends on who reads it.
    TextBuffer& operator<<(double number) = delete;
    // The shortest text that reads back as the same number.
    TextBuffer& Shortest(double number) { return ToChars(number); }
    // What put(at) writes there, which has room for so many characters; it returns the end of it.
    template <typename Put>
    TextBuffer& Add(std::size_t most, Put const& put) {
        char* const at = Reserve(most);
        m_size += static_cast<std::size_t>(put(at) - at);
        return *this;
    }

    std::string_view GetText() const noexcept { return {m_characters.get(), m_size}; }
    void Clear() noexcept { m_size = 0; }

private:
    template <typename Number>
    TextBuffer& ToChars(Number number) {
        constexpr std::size_t most = 32;
        return Add(most, [number](char* at) { return std::to_chars(at, at + most, number).ptr; });
    }
    // Where the next characters go; there is room for so many.
    char* Reserve(std::size_t size) {
        if (size > m_capacity - m_size)
            Grow(size);
        return m_characters.get() + m_size;
    }
    KETSDK_SUPPORT_API void Grow(std::size_t size);

    std::unique_ptr<char[]> m_characters;
    std::size_t m_capacity = 0;
    std::size_t m_size = 0;
};

} // namespace KetSDK::Support
