// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MSAXBinaryWriter.h>

#include <limits>
#include <stdexcept>

using KetSAX::Detail::CheckedName;
using KetSAX::Detail::Record;
using Content = KetSAX::Detail::OpenTags::Content;

namespace {

std::string ShortName(std::wstring const& name) {
    if (name.size() > std::numeric_limits<std::uint8_t>::max()) {
        throw std::runtime_error("invalid state");
    }
    return CheckedName(name);
}

} // namespace

MSAXBinaryWriter::MSAXBinaryWriter(MFile& file)
    : m_file(file) {
    m_file.Write(KetSAX::Detail::BinarySignature.data(), KetSAX::Detail::BinarySignature.size());
}

MSAXBinaryWriter::~MSAXBinaryWriter() = default;

void MSAXBinaryWriter::OpenTag(std::wstring const& name) {
    std::string const tag = ShortName(name);
    if (m_opened.GetDepth() > 0) {
        m_opened.Put(Content::Tags);
    }
    m_opened.Open(tag);
    m_file.WRITE(Record::Open);
    PutName(tag);
}

// Called from destructors: it throws nothing, and closing what is not open shows in IsGood().
void MSAXBinaryWriter::CloseTag() {
    if (m_opened.GetDepth() == 0) {
        m_good = false;
        return;
    }
    m_opened.Close();
    m_file.WRITE(Record::Close);
}

bool MSAXBinaryWriter::IsGood() const {
    return m_good && m_file.IsGood();
}

void MSAXBinaryWriter::WriteAttribute(std::wstring const& name, std::wstring const& value) {
    std::string const attribute = ShortName(name);
    m_opened.PutAttribute();
    m_file.WRITE(Record::Attribute);
    PutName(attribute);
    PutText(value);
}

void MSAXBinaryWriter::WriteAttribute(std::wstring const& name, std::uint64_t value) {
    WriteAttribute(name, std::to_wstring(value));
}

void MSAXBinaryWriter::Write(bool value) {
    PutValue(Record::Bool, value);
}
void MSAXBinaryWriter::Write(std::int32_t value) {
    PutValue(Record::Int32, value);
}
void MSAXBinaryWriter::Write(std::uint32_t value) {
    PutValue(Record::UInt32, value);
}
void MSAXBinaryWriter::Write(std::int64_t value) {
    PutValue(Record::Int64, value);
}
void MSAXBinaryWriter::Write(std::uint64_t value) {
    PutValue(Record::UInt64, value);
}
void MSAXBinaryWriter::Write(double value, int) {
    PutValue(Record::Double, value);
}

void MSAXBinaryWriter::Write(std::wstring const& value) {
    m_opened.Put(Content::Value);
    m_file.WRITE(Record::Text);
    PutText(value);
}

void MSAXBinaryWriter::WriteArray(std::span<std::int32_t const> values) {
    PutArray(Record::Int32Array, values);
}
void MSAXBinaryWriter::WriteArray(std::span<double const> values) {
    PutArray(Record::DoubleArray, values);
}

template <typename T>
void MSAXBinaryWriter::PutValue(Record record, T value) {
    m_opened.Put(Content::Value);
    m_file.WRITE(record);
    m_file.WRITE(value);
}

template <typename T>
void MSAXBinaryWriter::PutArray(Record record, std::span<T const> values) {
    m_opened.Put(Content::Array);
    m_file.WRITE(record);
    m_file.WRITE(std::uint64_t{values.size()});
    m_file.WriteArray(values);
}

void MSAXBinaryWriter::PutName(std::string_view name) {
    m_file.WRITE(static_cast<std::uint8_t>(name.size()));
    m_file.Write(name.data(), name.size());
}

void MSAXBinaryWriter::PutText(std::wstring const& text) {
    m_file.WRITE(std::uint64_t{text.size()});
    for (wchar_t const c : text) {
        m_file.WRITE(static_cast<std::uint32_t>(c));
    }
}
