// SPDX-License-Identifier: BSD-3-Clause
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
    PutText("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
}

MSAXTextWriter::~MSAXTextWriter() = default;

void MSAXTextWriter::OpenTag(std::wstring const& name) {
    std::string const tag = CheckedName(name);
    std::size_t const depth = m_opened.GetDepth();
    if (depth > 0) {
        EndStartTag(Content::Tags);
    }
    m_opened.Open(tag);
    PutLineBreak(depth);
    PutText("<");
    PutText(tag);
}

// Called from destructors: it throws nothing, and closing what is not open shows in IsGood().
void MSAXTextWriter::CloseTag() {
    if (m_opened.GetDepth() == 0) {
        m_good = false;
        return;
    }
    if (m_opened.GetContent() == Content::Nothing) {
        PutText("/>");
    } else {
        if (m_opened.GetContent() == Content::Tags) {
            PutLineBreak(m_opened.GetDepth() - 1);
        }
        PutText("</");
        PutText(m_opened.GetName());
        PutText(">");
    }
    m_opened.Close();
    if (m_opened.GetDepth() == 0) {
        PutText("\n");
    }
}

bool MSAXTextWriter::IsGood() const {
    return m_good && m_file.IsGood();
}

void MSAXTextWriter::WriteAttribute(std::wstring const& name, std::wstring const& value) {
    m_scratch.clear();
    KetSAX::Detail::AppendEscaped(m_scratch, value);
    PutAttributeText(name, m_scratch);
}

void MSAXTextWriter::WriteAttribute(std::wstring const& name, std::uint64_t value) {
    m_scratch.clear();
    AppendNumber(m_scratch, value);
    PutAttributeText(name, m_scratch);
}

void MSAXTextWriter::Write(bool value) {
    PutValue(value ? "true" : "false");
}
void MSAXTextWriter::Write(std::int32_t value) {
    PutInteger(value);
}
void MSAXTextWriter::Write(std::uint32_t value) {
    PutInteger(value);
}
void MSAXTextWriter::Write(std::int64_t value) {
    PutInteger(value);
}
void MSAXTextWriter::Write(std::uint64_t value) {
    PutInteger(value);
}

void MSAXTextWriter::Write(double value, int precision) {
    m_scratch.clear();
    KetSAX::Detail::AppendDouble(m_scratch, value, precision);
    PutValue(m_scratch);
}

void MSAXTextWriter::Write(std::wstring const& value) {
    m_scratch.clear();
    KetSAX::Detail::AppendEscaped(m_scratch, value);
    PutValue(m_scratch);
}

void MSAXTextWriter::WriteArray(std::span<std::int32_t const> values) {
    PutArray(values);
}
void MSAXTextWriter::WriteArray(std::span<double const> values) {
    PutArray(values);
}

void MSAXTextWriter::PutText(std::string_view text) {
    m_file.Write(text.data(), text.size());
}

void MSAXTextWriter::PutLineBreak(std::size_t depth) {
    PutText("\n");
    for (; depth > 0; --depth) {
        PutText("  ");
    }
}

void MSAXTextWriter::PutValue(std::string_view text) {
    EndStartTag(Content::Value);
    PutText(text);
}

template <typename Number>
void MSAXTextWriter::PutInteger(Number value) {
    m_scratch.clear();
    AppendNumber(m_scratch, value);
    PutValue(m_scratch);
}

template <typename Number>
void MSAXTextWriter::PutArray(std::span<Number const> values) {
    constexpr std::size_t piece = 4096;
    EndStartTag(Content::Array);
    m_scratch.clear();
    for (Number const value : values) {
        if (m_array_size > 0) {
            m_scratch.push_back(m_array_size % NumbersPerLine == 0 ? '\n' : ' ');
        }
        AppendNumber(m_scratch, value);
        ++m_array_size;
        if (m_scratch.size() >= piece) {
            PutText(m_scratch);
            m_scratch.clear();
        }
    }
    PutText(m_scratch);
}

// Goes on from the name and attributes of the open tag to its content: tags or numbers of an array,
// of which there may be many, or one value.
void MSAXTextWriter::EndStartTag(Content content) {
    if (m_opened.Put(content)) {
        m_array_size = 0;
        PutText(">");
    }
}

void MSAXTextWriter::PutAttributeText(std::wstring const& name, std::string_view escaped) {
    m_opened.PutAttribute();
    PutText(" ");
    PutText(CheckedName(name));
    PutText("=\"");
    PutText(escaped);
    PutText("\"");
}
