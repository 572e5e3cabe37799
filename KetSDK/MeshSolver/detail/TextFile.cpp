// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/TextFile.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshSolver/Error.h>

#include <array>
#include <charconv>
#include <cmath>

namespace KetSDK::MeshSolver::Detail {

namespace {

constexpr std::size_t MostCharacters = 20;

template <typename... Format>
std::string Written(double value, Format... format) {
    std::array<char, 64> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value, format...).ptr};
}

std::string Shortened(double value) {
    std::string text;
    for (int digits = 14; digits > 0; --digits) {
        text = Written(value, std::chars_format::scientific, digits - 1);
        if (text.size() <= MostCharacters)
            break;
    }
    return text;
}

} // namespace

std::string RealText(double value) {
    std::string const text = Written(value);
    return text.size() <= MostCharacters ? text : Shortened(value);
}

std::string DensityText(double gram_per_cm3) {
    std::string text = Written(gram_per_cm3, std::chars_format::scientific);
    if (text.size() > MostCharacters)
        text = Shortened(gram_per_cm3);
    std::size_t const e = text.find('e');
    if (e == std::string::npos)
        return text;
    int exponent = 0;
    std::size_t const sign = text[e + 1] == '+' ? 1 : 0;
    std::from_chars(text.data() + e + 1 + sign, text.data() + text.size(), exponent);
    return text.substr(0, e + 1) + std::to_string(exponent - 9);
}

void AddCoordinate(Support::TextBuffer& text, MLong internal) {
    static_assert(Common::MInternalUnits::Get() == 65536.0);
    bool const is_negative = internal < 0;
    std::uint64_t const size =
        is_negative ? 0 - static_cast<std::uint64_t>(internal) : static_cast<std::uint64_t>(internal);
    // Millionths of a mm, rounded to even where two are as near: 1/65536 mm is 15625/1024 of them.
    std::uint64_t const scaled = size * 15625;
    std::uint64_t micro = scaled / 1024;
    std::uint64_t const rest = scaled % 1024;
    if (rest > 512 || (rest == 512 && micro % 2 == 1))
        ++micro;
    constexpr std::size_t most = 24;
    text.Add(most, [is_negative, micro](char* const start) {
        char* at = start;
        if (is_negative)
            *at++ = '-';
        at = std::to_chars(at, start + most, micro / 1000000).ptr;
        *at++ = '.';
        std::uint64_t fraction = micro % 1000000;
        for (int i = 5; i >= 0; --i) {
            at[i] = static_cast<char>('0' + fraction % 10);
            fraction /= 10;
        }
        return at + 6;
    });
}

TextFile::TextFile(std::filesystem::path const& path, bool parallel)
    : m_file(path, std::ios::binary | std::ios::trunc)
    , m_parallel(parallel) {
    if (!m_file)
        throw Error("it cannot be opened for writing");
}

void TextFile::Flush() {
    std::string_view const text = m_buffer.GetText();
    m_file.write(text.data(), static_cast<std::streamsize>(text.size()));
    m_buffer.Clear();
}

void TextFile::Close() {
    Flush();
    m_file.close();
    if (!m_file)
        throw Error("it cannot be written: the disk is full or gone");
}

} // namespace KetSDK::MeshSolver::Detail
