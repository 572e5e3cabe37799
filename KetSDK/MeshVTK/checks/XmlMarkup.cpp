// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/checks/XmlMarkup.h>

#include <KetSDK/MeshVTK/Error.h>

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr std::size_t LongestMarkup = std::size_t{1} << 16; // bytes of a tag or comment
constexpr std::size_t DeepestElement = 64;                  // inside others
constexpr std::size_t MostElements = 200'000;

constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The value of an attribute of a tag; empty when there is none.
std::string Attribute(std::string_view tag, std::string_view name) {
    for (std::size_t at = tag.find(name); at != std::string_view::npos; at = tag.find(name, at + 1)) {
        std::size_t equals = at + name.size();
        while (equals < tag.size() && IsSpace(tag[equals]))
            ++equals;
        std::size_t const begin = tag.find_first_of("\"'", equals);
        if (at == 0 || !IsSpace(tag[at - 1]) || tag[equals] != '=' || begin == std::string_view::npos)
            continue;
        std::size_t const end = tag.find(tag[begin], begin + 1);
        return std::string(tag.substr(begin + 1, end - begin - 1));
    }
    return "";
}

class Markup {
public:
    explicit Markup(FileBytes const& file)
        : m_file(file)
        , m_bytes(file.View()) {
        if (Next(ByteOrderMark.size()) == ByteOrderMark)
            m_at = ByteOrderMark.size();
    }

    std::string Check() {
        while (GoToMarkup()) {
            std::string_view const rest = Next(LongestMarkup);
            if (rest.starts_with("<AppendedData"))
                break;
            if (rest.starts_with("<!--"))
                Pass(rest.find("-->", 4), 3);
            else if (rest.starts_with("<?"))
                Pass(rest.find("?>", 2), 2);
            else if (rest.starts_with("<!"))
                throw Error("the file has a declaration (<!...>), which no VTK file needs");
            else if (!Tag(rest.substr(0, LengthOfTag(rest))))
                return "";
        }
        return m_type;
    }

private:
    // The next bytes, or all that are left.
    std::string_view Next(std::size_t count) const {
        std::string_view const bytes = m_bytes.substr(m_at, count);
        m_file.Load(bytes);
        return bytes;
    }

    std::size_t PlaceOfMarkup() const {
        for (std::size_t at = m_at; at < m_bytes.size(); at += LongestMarkup) {
            std::string_view const bytes = m_bytes.substr(at, LongestMarkup);
            m_file.Load(bytes);
            if (std::size_t const found = bytes.find('<'); found != std::string_view::npos)
                return at + found;
        }
        return m_bytes.size();
    }

    bool GoToMarkup() {
        std::size_t const next = PlaceOfMarkup();
        bool const is_text = m_bytes.substr(m_at, next - m_at).find('\0') == std::string_view::npos;
        if (!is_text && m_elements > 0)
            throw Error("the file has a byte of 0 outside its data");
        m_at = next;
        return is_text && m_at < m_bytes.size();
    }

    void Pass(std::size_t end, std::size_t length) {
        if (end == std::string_view::npos)
            RefuseOpen();
        m_at += end + length;
    }

    [[noreturn]] void RefuseOpen() const {
        if (m_bytes.size() - m_at < LongestMarkup)
            throw Error("the file is cut off: a tag or comment has no end");
        throw Error("the file has a tag or comment of more than " + std::to_string(LongestMarkup) + " bytes");
    }

    std::size_t LengthOfTag(std::string_view rest) const {
        std::size_t const end = EndOfTag(rest, 1);
        if (end == std::string_view::npos)
            RefuseOpen();
        return end;
    }

    // False when the first tag is not that of VTK's files.
    bool Tag(std::string_view tag) {
        m_at += tag.size();
        if (m_elements == 0) {
            if (!tag.starts_with("<VTKFile") || !IsSpace(tag[std::string_view("<VTKFile").size()]))
                return false;
            m_type = Attribute(tag, "type");
        }
        if (tag[1] == '/') {
            m_depth -= m_depth > 0;
            return true;
        }
        m_depth += tag[tag.size() - 2] != '/';
        if (m_depth > DeepestElement)
            throw Error("its elements are nested too deeply; " + std::to_string(DeepestElement) +
                        " levels are read");
        if (++m_elements > MostElements)
            throw Error("it has more than " + std::to_string(MostElements) + " elements of XML");
        return true;
    }

    FileBytes const& m_file;
    std::string_view m_bytes;
    std::size_t m_at = 0;
    std::string m_type;
    std::size_t m_depth = 0;
    std::size_t m_elements = 0;
};

} // namespace

std::size_t EndOfTag(std::string_view text, std::size_t at) {
    char quote = '\0';
    for (; at < text.size(); ++at) {
        char const c = text[at];
        if (quote == '\0' && c == '>')
            return at + 1;
        if (quote == '\0' && (c == '"' || c == '\''))
            quote = c;
        else if (c == quote)
            quote = '\0';
    }
    return std::string_view::npos;
}

std::string CheckMarkup(FileBytes const& file) {
    return Markup(file).Check();
}

} // namespace KetSDK::MeshVTK::Detail
