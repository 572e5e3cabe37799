// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXWriter.h>
#include <KetSDK/FileIO/SAX/SaxOpenTags.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// Writes tags as an XML document in UTF-8. The numbers of an array stand one after the other,
// separated by white space. Used by one thread.
class KETSDK_API MSAXTextWriter : public MSAXWriter {
public:
    // The file is open for writing and outlives the writer; who opened it closes it. When parallel, the
    // numbers of arrays are put into words on several threads; the document is the same.
    explicit MSAXTextWriter(MFile& file, bool parallel = false);
    ~MSAXTextWriter() override;

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
    void PutText(std::string_view text);
    void PutLineBreak(std::size_t depth);
    void PutValue(std::string_view text);
    template <typename Number>
    void PutInteger(Number value);
    template <typename Number>
    void PutArray(std::span<Number const> values);
    template <typename Number>
    void PutNumbers(std::span<Number const> values);
    void PutCollected();
    void EndStartTag(KetSAX::Detail::OpenTags::Content content);
    void PutAttributeText(std::wstring const& name, std::string_view escaped);

    MFile& m_file;
    bool m_good = true;
    KetSAX::Detail::OpenTags m_opened;
    std::string m_scratch;

    class Words;
    bool m_parallel;
    std::size_t m_array_size = 0; // numbers in the array that is being written
    // The last numbers of that array: threads take many at a time.
    std::variant<std::vector<std::int32_t>, std::vector<double>> m_collected;
    std::vector<std::unique_ptr<Words>> m_words; // that threads put numbers into
};
