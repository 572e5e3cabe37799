// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MSAXBinaryReader.h>

#include <KetSDK/FileIO/SAX/SaxOpenTags.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace {

// Deeper nesting is no document of ours; objects read it with recursion.
constexpr std::size_t MaxDepth = 128;

void Require(bool condition) {
    if (!condition) {
        throw std::runtime_error("invalid state");
    }
}

} // namespace

MSAXBinaryReader::MSAXBinaryReader(MFile& file)
    : m_file(file) {
    auto signature = KetSAX::Detail::BinarySignature;
    Require(m_file.Read(signature.data(), signature.size()) == signature.size() &&
            signature == KetSAX::Detail::BinarySignature);
    NextRecord();
    Expect(Record::Open);
}

MSAXBinaryReader::~MSAXBinaryReader() = default;

void MSAXBinaryReader::Read(bool& value) {
    Expect(Record::Bool);
    auto const byte = Take<std::uint8_t>();
    Require(byte <= 1);
    value = byte == 1;
    NextRecord();
}

void MSAXBinaryReader::Read(std::int32_t& value) {
    ReadInteger(value);
}
void MSAXBinaryReader::Read(std::uint32_t& value) {
    ReadInteger(value);
}
void MSAXBinaryReader::Read(std::int64_t& value) {
    ReadInteger(value);
}
void MSAXBinaryReader::Read(std::uint64_t& value) {
    ReadInteger(value);
}

void MSAXBinaryReader::Read(double& value) {
    Expect(Record::Double);
    value = Take<double>();
    NextRecord();
}

void MSAXBinaryReader::Read(std::wstring& value) {
    Expect(Record::Text);
    value = TakeText();
    NextRecord();
}

void MSAXBinaryReader::ReadArray(std::vector<std::int32_t>& values) {
    ReadNumbersOf(Record::Int32Array, values);
}
void MSAXBinaryReader::ReadArray(std::vector<double>& values) {
    ReadNumbersOf(Record::DoubleArray, values);
}
std::size_t MSAXBinaryReader::ReadPart(std::span<std::int32_t> values) {
    return ReadSome(Record::Int32Array, values);
}
std::size_t MSAXBinaryReader::ReadPart(std::span<double> values) {
    return ReadSome(Record::DoubleArray, values);
}

bool MSAXBinaryReader::ReadAttribute(std::wstring const& name, std::wstring& value) {
    Require(!m_open.empty());
    Attributes const& attributes = m_open.back();
    auto const found = std::find_if(attributes.begin(), attributes.end(),
                                    [&name](auto const& attribute) { return attribute.first == name; });
    if (found == attributes.end()) {
        return false;
    }
    value = found->second;
    return true;
}

bool MSAXBinaryReader::ReadAttribute(std::wstring const& name, std::uint64_t& value) {
    std::wstring text;
    if (!ReadAttribute(name, text)) {
        return false;
    }
    std::string digits;
    for (wchar_t const c : text) {
        Require(c >= L'0' && c <= L'9');
        digits.push_back(static_cast<char>(c));
    }
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    Require(error == std::errc() && end == digits.data() + digits.size());
    return true;
}

bool MSAXBinaryReader::EnterTag(std::wstring& name) {
    if (m_finished) {
        return false;
    }
    // A value that was not asked for. An object is told that it has all its tags only when its own has
    // closed.
    while (m_record != Record::Open && m_record != Record::Close) {
        SkipRecord();
        NextRecord();
    }
    if (m_record == Record::Close) {
        return false;
    }
    Require(m_open.size() < MaxDepth);
    name = TakeName();
    Attributes attributes;
    for (NextRecord(); m_record == Record::Attribute; NextRecord()) {
        std::wstring attribute = TakeName();
        attributes.emplace_back(std::move(attribute), TakeText());
    }
    m_open.push_back(std::move(attributes));
    return true;
}

void MSAXBinaryReader::LeaveTag() {
    for (std::size_t depth = 0; depth > 0 || m_record != Record::Close; NextRecord()) {
        depth += m_record == Record::Open ? 1 : 0;
        depth -= m_record == Record::Close ? 1 : 0;
        SkipRecord();
    }
    m_open.pop_back();
    m_finished = m_open.empty();
    if (!m_finished) {
        NextRecord();
    }
}

template <typename T>
T MSAXBinaryReader::Take() {
    T value;
    Require(m_file.READ(value));
    return value;
}

std::wstring MSAXBinaryReader::TakeName() {
    std::string name(Take<std::uint8_t>(), '\0');
    Require(m_file.Read(name.data(), name.size()) == name.size() && KetSAX::Detail::IsName(name));
    return {name.begin(), name.end()};
}

std::wstring MSAXBinaryReader::TakeText() {
    auto const size = Take<std::uint64_t>();
    Require(size <= m_file.BytesLeft() / sizeof(std::uint32_t));
    std::wstring text;
    text.reserve(static_cast<std::size_t>(size));
    for (std::uint64_t i = 0; i < size; ++i) {
        text.push_back(static_cast<wchar_t>(Take<std::uint32_t>()));
    }
    return text;
}

void MSAXBinaryReader::NextRecord() {
    do {
        m_record = Take<Record>();
        Require(m_record <= Record::DoubleArray);
        if (m_record == Record::Int32Array) {
            BeginArray(sizeof(std::int32_t));
        } else if (m_record == Record::DoubleArray) {
            BeginArray(sizeof(double));
        }
    } while ((m_record == Record::Int32Array || m_record == Record::DoubleArray) && m_numbers_left == 0);
}

void MSAXBinaryReader::BeginArray(std::size_t number_size) {
    m_numbers_left = Take<std::uint64_t>();
    Require(m_numbers_left <= m_file.BytesLeft() / number_size);
}

void MSAXBinaryReader::Skip(std::uint64_t bytes) {
    std::byte skipped[4096];
    while (bytes > 0) {
        auto const part = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, sizeof skipped));
        Require(m_file.Read(skipped, part) == part);
        bytes -= part;
    }
}

void MSAXBinaryReader::SkipRecord() {
    switch (m_record) {
    case Record::Close:
        break;
    case Record::Open:
        TakeName();
        break;
    case Record::Attribute:
        TakeName();
        [[fallthrough]];
    case Record::Text:
        TakeText();
        break;
    case Record::Bool:
        Skip(1);
        break;
    case Record::Int32:
    case Record::UInt32:
        Skip(sizeof(std::int32_t));
        break;
    case Record::Int64:
    case Record::UInt64:
    case Record::Double:
        Skip(sizeof(std::int64_t));
        break;
    case Record::Int32Array:
        Skip(m_numbers_left * sizeof(std::int32_t));
        break;
    case Record::DoubleArray:
        Skip(m_numbers_left * sizeof(double));
        break;
    }
}

// The open tag's value; outside of a tag there is nothing to read.
void MSAXBinaryReader::Expect(Record record) const {
    Require(m_record == record && (record == Record::Open || !m_open.empty()));
}

template <typename Integer>
void MSAXBinaryReader::ReadInteger(Integer& value) {
    Require(!m_open.empty());
    auto const take = [this, &value]<typename Stored>(Stored) {
        auto const stored = this->template Take<Stored>(); // Clang 14 does not see "this" otherwise
        Require(std::in_range<Integer>(stored));
        value = static_cast<Integer>(stored);
    };
    switch (m_record) {
    case Record::Int32:
        take(std::int32_t{});
        break;
    case Record::UInt32:
        take(std::uint32_t{});
        break;
    case Record::Int64:
        take(std::int64_t{});
        break;
    case Record::UInt64:
        take(std::uint64_t{});
        break;
    default:
        Require(false);
    }
    NextRecord();
}

template <typename Number>
void MSAXBinaryReader::ReadNumbersOf(Record record, std::vector<Number>& values) {
    values.clear();
    std::size_t size = 0;
    do {
        // The numbers of a piece are in the file, as BeginArray has seen.
        std::size_t const piece = m_record == record ? static_cast<std::size_t>(m_numbers_left) : 0;
        values.resize(size + piece);
        size += ReadSome(record, std::span(values).subspan(size));
    } while (m_record == record);
}

template <typename Number>
std::size_t MSAXBinaryReader::ReadSome(Record record, std::span<Number> values) {
    Require(!m_open.empty() && (m_record == record || m_record == Record::Close));
    std::size_t count = 0;
    while (count < values.size() && m_record == record) {
        auto const part =
            static_cast<std::size_t>(std::min<std::uint64_t>(m_numbers_left, values.size() - count));
        Require(m_file.ReadArray(values.subspan(count, part)));
        count += part;
        m_numbers_left -= part;
        if (m_numbers_left == 0) {
            NextRecord();
        }
    }
    return count;
}
