// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXWriter.h>
#include <KetSDK/FileIO/SAX/SaxBinaryFormat.h>
#include <KetSDK/FileIO/SAX/SaxOpenTags.h>

#include <string>
#include <string_view>

// Writes tags in the binary encoding: the same tags, attributes and values as MSAXTextWriter, many times
// faster and smaller. A double is written as it is, whatever its precision. Names have at most 255
// characters. Used by one thread.
class KETSDK_API MSAXBinaryWriter : public MSAXWriter {
public:
    // The file is open for writing and outlives the writer; who opened it closes it. The document may
    // stand between other things.
    explicit MSAXBinaryWriter(MFile& file);
    ~MSAXBinaryWriter() override;

    void OpenTag(std::wstring const& name) override;
    void CloseTag() override;
    bool IsGood() const override;

    void WriteAttribute(std::wstring const& name, std::wstring const& value) override;
    void WriteAttribute(std::wstring const& name, std::uint64_t value) override;

    using MSAXWriter::Write;
    void Write(bool value) override;
    void Write(std::int32_t value) override;
    void Write(std::uint32_t value) override;
    void Write(std::int64_t value) override;
    void Write(std::uint64_t value) override;
    void Write(double value, int precision = 17) override;
    void Write(std::wstring const& value) override;
    void WriteArray(std::span<std::int32_t const> values) override;
    void WriteArray(std::span<double const> values) override;

private:
    template <typename T>
    void PutValue(KetSAX::Detail::Record record, T value);
    template <typename T>
    void PutArray(KetSAX::Detail::Record record, std::span<T const> values);
    void PutName(std::string_view name);
    void PutText(std::wstring const& text);

    MFile& m_file;
    bool m_good = true;
    KetSAX::Detail::OpenTags m_opened;
};
