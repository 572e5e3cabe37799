#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>

#include <KetSDK/FileIO/SAX/SaxTextFormat.h>

#include <algorithm>
#include <stdexcept>

namespace {

constexpr int ExactPrecision = 17;
constexpr std::size_t NumbersPerLine = 16;

void Require(bool condition) {
    if (!condition) {
        throw std::runtime_error("invalid state");
    }
}

bool IsNameStart(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_';
}

bool IsNameCharacter(wchar_t c) {
    return IsNameStart(c) || (c >= L'0' && c <= L'9') || c == L'-' || c == L'.';
}

// The name of a tag or an attribute, in ASCII.
std::string CheckedName(std::wstring const& name) {
    Require(!name.empty() && IsNameStart(name.front()) &&
            std::all_of(name.begin(), name.end(), IsNameCharacter));
    std::string ascii(name.size(), '\0');
    std::transform(name.begin(), name.end(), ascii.begin(), [](wchar_t c) { return static_cast<char>(c); });
    return ascii;
}

template <typename Integer>
void AppendNumber(std::string& out, Integer value) {
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void AppendNumber(std::string& out, double value) {
    KetSAX::Detail::AppendDouble(out, value, ExactPrecision);
}

} // namespace

MSAXTextWriter::MSAXTextWriter(MFile& file)
    : m_file(file) {
    _Put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
}

MSAXTextWriter::~MSAXTextWriter() = default;

void MSAXTextWriter::OpenTag(std::wstring const& name) {
    OpenedTag tag{CheckedName(name)};
    if (m_opened.empty()) {
        Require(!m_finished);
    } else {
        _EndStartTag(Content::Tags);
    }
    _PutLineBreak(m_opened.size());
    _Put("<");
    _Put(tag.name);
    m_opened.push_back(std::move(tag));
}

// Called from destructors: it throws nothing, and closing what is not open shows in IsGood().
void MSAXTextWriter::CloseTag() {
    if (m_opened.empty()) {
        m_good = false;
        return;
    }
    OpenedTag const& tag = m_opened.back();
    if (tag.content == Content::Nothing) {
        _Put("/>");
    } else {
        if (tag.content == Content::Tags) {
            _PutLineBreak(m_opened.size() - 1);
        }
        _Put("</");
        _Put(tag.name);
        _Put(">");
    }
    m_opened.pop_back();
    if (m_opened.empty()) {
        _Put("\n");
        m_finished = true;
    }
}

bool MSAXTextWriter::IsGood() const {
    return m_good && m_file.IsGood();
}

void MSAXTextWriter::WriteAttribute(std::wstring const& name, std::wstring const& value) {
    m_scratch.clear();
    KetSAX::Detail::AppendEscaped(m_scratch, value);
    _PutAttribute(name, m_scratch);
}

void MSAXTextWriter::WriteAttribute(std::wstring const& name, std::uint64_t value) {
    m_scratch.clear();
    AppendNumber(m_scratch, value);
    _PutAttribute(name, m_scratch);
}

void MSAXTextWriter::Write(bool value) {
    _PutValue(value ? "true" : "false");
}
void MSAXTextWriter::Write(std::int32_t value) {
    _PutInteger(value);
}
void MSAXTextWriter::Write(std::uint32_t value) {
    _PutInteger(value);
}
void MSAXTextWriter::Write(std::int64_t value) {
    _PutInteger(value);
}
void MSAXTextWriter::Write(std::uint64_t value) {
    _PutInteger(value);
}

void MSAXTextWriter::Write(double value, int precision) {
    m_scratch.clear();
    KetSAX::Detail::AppendDouble(m_scratch, value, precision);
    _PutValue(m_scratch);
}

void MSAXTextWriter::Write(std::wstring const& value) {
    m_scratch.clear();
    KetSAX::Detail::AppendEscaped(m_scratch, value);
    _PutValue(m_scratch);
}

void MSAXTextWriter::WriteArray(std::span<std::int32_t const> values) {
    _PutArray(values);
}
void MSAXTextWriter::WriteArray(std::span<double const> values) {
    _PutArray(values);
}

void MSAXTextWriter::_Put(std::string_view text) {
    m_file.Write(text.data(), text.size());
}

void MSAXTextWriter::_PutLineBreak(std::size_t depth) {
    _Put("\n");
    for (; depth > 0; --depth) {
        _Put("  ");
    }
}

void MSAXTextWriter::_PutValue(std::string_view text) {
    _EndStartTag(Content::Value);
    _Put(text);
}

template <typename Number>
void MSAXTextWriter::_PutInteger(Number value) {
    m_scratch.clear();
    AppendNumber(m_scratch, value);
    _PutValue(m_scratch);
}

template <typename Number>
void MSAXTextWriter::_PutArray(std::span<Number const> values) {
    _EndStartTag(Content::Array);
    for (Number const value : values) {
        m_scratch.clear();
        if (m_array_size > 0) {
            m_scratch.push_back(m_array_size % NumbersPerLine == 0 ? '\n' : ' ');
        }
        AppendNumber(m_scratch, value);
        _Put(m_scratch);
        ++m_array_size;
    }
}

// Goes on from the name and attributes of the open tag to its content: tags or numbers of an array,
// of which there may be many, or one value.
void MSAXTextWriter::_EndStartTag(Content content) {
    Require(!m_opened.empty());
    OpenedTag& tag = m_opened.back();
    if (tag.content == Content::Nothing) {
        tag.content = content;
        m_array_size = 0;
        _Put(">");
    } else {
        Require(tag.content == content && content != Content::Value);
    }
}

void MSAXTextWriter::_PutAttribute(std::wstring const& name, std::string_view escaped) {
    Require(!m_opened.empty() && m_opened.back().content == Content::Nothing);
    _Put(" ");
    _Put(CheckedName(name));
    _Put("=\"");
    _Put(escaped);
    _Put("\"");
}
