#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>

#include <KetSDK/FileIO/SAX/SaxTextFormat.h>

#include <charconv>
#include <utility>

using KetSAX::Detail::CheckedName;
using Content = KetSAX::Detail::OpenTags::Content;

namespace {

constexpr int ExactPrecision = 17;
constexpr std::size_t NumbersPerLine = 16;

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
    std::string const tag = CheckedName(name);
    std::size_t const depth = m_opened.GetDepth();
    if (depth > 0) {
        _EndStartTag(Content::Tags);
    }
    m_opened.Open(tag);
    _PutLineBreak(depth);
    _Put("<");
    _Put(tag);
}

// Called from destructors: it throws nothing, and closing what is not open shows in IsGood().
void MSAXTextWriter::CloseTag() {
    if (m_opened.GetDepth() == 0) {
        m_good = false;
        return;
    }
    if (m_opened.GetContent() == Content::Nothing) {
        _Put("/>");
    } else {
        if (m_opened.GetContent() == Content::Tags) {
            _PutLineBreak(m_opened.GetDepth() - 1);
        }
        _Put("</");
        _Put(m_opened.GetName());
        _Put(">");
    }
    m_opened.Close();
    if (m_opened.GetDepth() == 0) {
        _Put("\n");
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
    constexpr std::size_t piece = 4096;
    _EndStartTag(Content::Array);
    m_scratch.clear();
    for (Number const value : values) {
        if (m_array_size > 0) {
            m_scratch.push_back(m_array_size % NumbersPerLine == 0 ? '\n' : ' ');
        }
        AppendNumber(m_scratch, value);
        ++m_array_size;
        if (m_scratch.size() >= piece) {
            _Put(m_scratch);
            m_scratch.clear();
        }
    }
    _Put(m_scratch);
}

// Goes on from the name and attributes of the open tag to its content: tags or numbers of an array,
// of which there may be many, or one value.
void MSAXTextWriter::_EndStartTag(Content content) {
    if (m_opened.Put(content)) {
        m_array_size = 0;
        _Put(">");
    }
}

void MSAXTextWriter::_PutAttribute(std::wstring const& name, std::string_view escaped) {
    m_opened.PutAttribute();
    _Put(" ");
    _Put(CheckedName(name));
    _Put("=\"");
    _Put(escaped);
    _Put("\"");
}
