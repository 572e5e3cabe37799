// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>

#include <KetSDK/FileIO/SAX/SaxTextFormat.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <utility>

using KetSAX::Detail::CheckedName;
using Content = KetSAX::Detail::OpenTags::Content;

namespace {

constexpr int ExactPrecision = 17;
constexpr std::size_t NumbersPerLine = 16;

template <typename Integer>
char* PutNumber(char* to, Integer value) {
    return std::to_chars(to, to + KetSAX::Detail::MostCharacters, value).ptr;
}

char* PutNumber(char* to, double value) {
    return KetSAX::Detail::PutDouble(to, value, ExactPrecision);
}

} // namespace

// Some numbers of an array as text.
class MSAXTextWriter::Words {
public:
    static constexpr std::size_t MostNumbers = 2048;

    // `before`: numbers that the array has before these.
    template <typename Number>
    void Put(std::span<Number const> values, std::size_t before) {
        char* to = m_characters.data();
        for (Number const value : values) {
            if (before > 0) {
                *to++ = before % NumbersPerLine == 0 ? '\n' : ' ';
            }
            to = PutNumber(to, value);
            ++before;
        }
        m_size = static_cast<std::size_t>(to - m_characters.data());
    }
    std::string_view GetText() const noexcept { return {m_characters.data(), m_size}; }

private:
    // A separator stands before each number, of which none needs all of its room.
    std::array<char, MostNumbers * KetSAX::Detail::MostCharacters> m_characters;
    std::size_t m_size = 0;
};

MSAXTextWriter::MSAXTextWriter(MFile& file, bool parallel)
    : m_file(file)
    , m_parallel(parallel) {
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
    try {
        PutCollected();
    } catch (std::bad_alloc const&) {
        m_good = false;
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
    char digits[KetSAX::Detail::MostCharacters];
    PutAttributeText(name, {digits, PutNumber(digits, value)});
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
    char digits[KetSAX::Detail::MostCharacters];
    PutValue({digits, KetSAX::Detail::PutDouble(digits, value, precision)});
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
    char digits[KetSAX::Detail::MostCharacters];
    PutValue({digits, PutNumber(digits, value)});
}

template <typename Number>
void MSAXTextWriter::PutArray(std::span<Number const> values) {
    constexpr std::size_t at_once = 1 << 18;
    EndStartTag(Content::Array);
    if (!m_parallel) {
        PutNumbers(values);
        return;
    }
    if (!std::holds_alternative<std::vector<Number>>(m_collected)) {
        PutCollected();
        m_collected.emplace<std::vector<Number>>();
    }
    auto& collected = std::get<std::vector<Number>>(m_collected);
    collected.insert(collected.end(), values.begin(), values.end());
    if (collected.size() >= at_once) {
        PutCollected();
    }
}

template <typename Number>
void MSAXTextWriter::PutNumbers(std::span<Number const> values) {
    KetSDK::Support::WorkSteps const steps{
        .items = values.size(), .step = Words::MostNumbers, .parallel = m_parallel, .window = 8};
    while (m_words.size() < steps.NumberOfSlots()) {
        m_words.push_back(std::make_unique_for_overwrite<Words>());
    }
    KetSDK::Support::ComputeSteps(
        steps,
        [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
            auto const begin = static_cast<std::size_t>(first);
            m_words[slot]->Put(values.subspan(begin, static_cast<std::size_t>(last) - begin),
                               m_array_size + begin);
        },
        [&](std::uint64_t, std::uint64_t, std::size_t slot) {
            PutText(m_words[slot]->GetText());
            return m_file.IsGood();
        });
    m_array_size += values.size();
}

void MSAXTextWriter::PutCollected() {
    std::visit(
        [this](auto& numbers) {
            PutNumbers(std::span(std::as_const(numbers)));
            numbers.clear();
        },
        m_collected);
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
