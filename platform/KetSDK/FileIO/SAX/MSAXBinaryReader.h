// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXReader.h>
#include <KetSDK/FileIO/SAX/SaxBinaryFormat.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// Reads what MSAXBinaryWriter wrote, tag by tag as it comes from the file: nothing but the open tags is
// held, and a value is read once. Damage shows only where it stands, when the objects before it have been
// filled. Deep nesting is refused. Used by one thread.
class KETSDK_API MSAXBinaryReader : public MSAXReader {
public:
    // The file is open for reading and outlives the reader. The document begins where the file stands;
    // what follows it is left in the file. Throws std::runtime_error("invalid state") when there is none.
    explicit MSAXBinaryReader(MFile& file);
    ~MSAXBinaryReader() override;

    using MSAXReader::Read;
    void Read(bool& value) override;
    void Read(std::int32_t& value) override;
    void Read(std::uint32_t& value) override;
    void Read(std::int64_t& value) override;
    void Read(std::uint64_t& value) override;
    void Read(double& value) override;
    void Read(std::wstring& value) override;
    void ReadArray(std::vector<std::int32_t>& values) override;
    void ReadArray(std::vector<double>& values) override;
    std::size_t ReadPart(std::span<std::int32_t> values) override;
    std::size_t ReadPart(std::span<double> values) override;

    bool ReadAttribute(std::wstring const& name, std::wstring& value) override;
    bool ReadAttribute(std::wstring const& name, std::uint64_t& value) override;

protected:
    bool EnterTag(std::wstring& name) override;
    void LeaveTag() override;

private:
    using Record = KetSAX::Detail::Record;
    using Attributes = std::vector<std::pair<std::wstring, std::wstring>>;

    template <typename T>
    T Take();
    std::wstring TakeName();
    std::wstring TakeText();
    // Goes to the next record, which is m_record from then on; arrays without numbers are passed over.
    void NextRecord();
    void BeginArray(std::size_t number_size);
    void Skip(std::uint64_t bytes);
    // Skips the record, but for a tag what it holds.
    void SkipRecord();
    void Expect(Record record) const;
    template <typename Integer>
    void ReadInteger(Integer& value);
    template <typename Number>
    void ReadNumbersOf(Record record, std::vector<Number>& values);
    template <typename Number>
    std::size_t ReadSome(Record record, std::span<Number> values);

    MFile& m_file;
    std::vector<Attributes> m_open;   // of the open tags, from the outermost on
    Record m_record = Record::Close;  // what comes next; its value has not been read
    std::uint64_t m_numbers_left = 0; // of the array that m_record is
    bool m_finished = false;          // the outermost tag has been left
};
