// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/SaxTextFormat.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace KetSAX::Detail {

namespace {

static_assert(sizeof(wchar_t) == 4, "a wide character is a whole character");
static_assert(std::numeric_limits<double>::is_iec559);

constexpr int ExactPrecision = std::numeric_limits<double>::max_digits10;
constexpr std::string_view NanPrefix = "nan:";
constexpr std::string_view WhiteSpace = " \t\r\n";
constexpr int Hexadecimal = 16;

[[noreturn]] void ThrowInvalid() {
    throw std::runtime_error("invalid state");
}

char* PutHexadecimal(char* to, std::uint64_t value) {
    return std::to_chars(to, to + sizeof value * 2, value, Hexadecimal).ptr;
}

template <typename Integer>
Integer ParseHexadecimal(std::string_view text) {
    Integer value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, Hexadecimal);
    if (error != std::errc() || end != text.data() + text.size()) {
        ThrowInvalid();
    }
    return value;
}

// True for the characters that an XML 1.0 document may hold.
bool IsXmlCharacter(std::uint32_t c) {
    return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c < 0xD800) || (c >= 0xE000 && c < 0xFFFE) ||
           (c >= 0x10000 && c <= 0x10FFFF);
}

void AppendUtf8(std::string& out, std::uint32_t c) {
    auto const tail = [&](unsigned shift) {
        out.push_back(static_cast<char>(0x80U | ((c >> shift) & 0x3FU)));
    };
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0U | (c >> 6U)));
        tail(0);
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0U | (c >> 12U)));
        tail(6);
        tail(0);
    } else {
        out.push_back(static_cast<char>(0xF0U | (c >> 18U)));
        tail(12);
        tail(6);
        tail(0);
    }
}

// Takes the next character from UTF-8 that the parser has found to be well-formed.
std::uint32_t TakeUtf8(std::string_view text, std::size_t& position) {
    auto const lead = static_cast<unsigned char>(text[position++]);
    int const tails = std::max(0, std::countl_one(lead) - 1);
    std::uint32_t c = tails == 0 ? lead : lead & (0x3FU >> static_cast<unsigned>(tails));
    for (int i = 0; i < tails && position < text.size(); ++i) {
        c = (c << 6U) | (static_cast<unsigned char>(text[position++]) & 0x3FU);
    }
    return c;
}

// Takes what follows a backslash.
std::uint32_t TakeEscaped(std::string_view text, std::size_t& position) {
    std::string_view const rest = text.substr(position);
    if (rest.starts_with('\\')) {
        ++position;
        return '\\';
    }
    std::size_t const end = rest.find('}');
    if (!rest.starts_with("u{") || end == std::string_view::npos) {
        ThrowInvalid();
    }
    position += end + 1;
    return ParseHexadecimal<std::uint32_t>(rest.substr(2, end - 2));
}

} // namespace

char* PutDouble(char* to, double value, int precision) {
    if (std::isnan(value)) {
        return PutHexadecimal(std::ranges::copy(NanPrefix, to).out, std::bit_cast<std::uint64_t>(value));
    }
    char* const end = to + MostCharacters;
    return precision >= ExactPrecision
               ? std::to_chars(to, end, value).ptr
               : std::to_chars(to, end, value, std::chars_format::general, std::max(precision, 1)).ptr;
}

void AppendEscaped(std::string& out, std::wstring_view text) {
    for (wchar_t const wide : text) {
        auto const c = static_cast<std::uint32_t>(wide);
        switch (c) {
        case '<':
            out.append("&lt;");
            break;
        case '>':
            out.append("&gt;");
            break;
        case '&':
            out.append("&amp;");
            break;
        case '"':
            out.append("&quot;");
            break;
        case '\\':
            out.append("\\\\");
            break;
        // As they are, a parser would turn these into line feeds or blanks.
        case '\t':
            out.append("&#9;");
            break;
        case '\n':
            out.append("&#10;");
            break;
        case '\r':
            out.append("&#13;");
            break;
        default:
            if (IsXmlCharacter(c)) {
                AppendUtf8(out, c);
            } else {
                char digits[16];
                out.append("\\u{");
                out.append(digits, PutHexadecimal(digits, c));
                out.push_back('}');
            }
        }
    }
}

std::wstring Unescape(std::string_view text) {
    std::wstring out;
    std::size_t position = 0;
    while (position < text.size()) {
        std::uint32_t c = TakeUtf8(text, position);
        if (c == '\\') {
            c = TakeEscaped(text, position);
        }
        out.push_back(static_cast<wchar_t>(c));
    }
    return out;
}

std::string_view Trim(std::string_view text) noexcept {
    std::size_t const begin = text.find_first_not_of(WhiteSpace);
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(WhiteSpace) - begin + 1);
}

double ParseDouble(std::string_view text) {
    if (text.starts_with(NanPrefix)) {
        double const value =
            std::bit_cast<double>(ParseHexadecimal<std::uint64_t>(text.substr(NanPrefix.size())));
        if (!std::isnan(value)) {
            ThrowInvalid();
        }
        return value;
    }
    double value = 0.0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        ThrowInvalid();
    }
    return value;
}

} // namespace KetSAX::Detail
