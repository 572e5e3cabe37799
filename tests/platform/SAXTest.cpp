// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/FileIO/SAX/ISAXPersist.h>
#include <KetSDK/FileIO/SAX/ISAXReference.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryReader.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>

#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <random>

namespace {

// Documents on disk, as the reader and the writer take them; as text or in the binary encoding.
class SAX : public testing::Test {
protected:
    std::unique_ptr<MSAXWriter> MakeWriter(MFile& file) const {
        if (m_binary)
            return std::make_unique<MSAXBinaryWriter>(file);
        return std::make_unique<MSAXTextWriter>(file);
    }
    std::string Write(std::function<void(MSAXWriter&)> const& body) {
        MFile file(m_name, MFile::Mode::Write);
        auto const writer = MakeWriter(file);
        body(*writer);
        EXPECT_TRUE(writer->IsGood());
        EXPECT_TRUE(file.Close());
        return Content(m_name.GetPath());
    }
    void Read(std::string const& document, ISAXPersistBase& object) {
        Save(m_name.GetPath(), document);
        MFile file(m_name, MFile::Mode::Read);
        if (m_binary)
            MSAXBinaryReader(file).ReadDocument(L"Root", object);
        else
            MSAXTextReader(file, m_parallel).ReadDocument(L"Root", object);
    }

    template <typename T>
    void ExpectReadsBack(T const& value);
    template <typename T>
    void ExpectRefused(std::initializer_list<char const*> texts);

    bool m_binary = false;
    bool m_parallel = false;
    MTemporaryDirectory m_folder;
    MFileName m_name = m_folder.GetPath() / "document.xml";
};

// Reads the tags "V" with a function.
struct Values : ISAXPersistBase {
    explicit Values(std::function<void(MSAXReader&)> read)
        : m_read(std::move(read)) {}
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override {
        if (tag == L"V") {
            m_read(reader);
        }
        return tag == L"V";
    }
    std::function<void(MSAXReader&)> m_read;
};

template <typename T>
T Get(MSAXReader& reader) {
    T value{};
    if constexpr (requires { reader.ReadArray(value); })
        reader.ReadArray(value);
    else
        reader.Read(value);
    return value;
}

template <typename T>
void SAX::ExpectReadsBack(T const& value) {
    m_binary = !m_binary;
    if (m_binary)
        ExpectReadsBack(value); // in this encoding first
    constexpr bool has_attribute = std::is_same_v<T, std::wstring> || std::is_same_v<T, std::uint64_t>;
    std::string const document = Write([&](MSAXWriter& writer) {
        MSAXTagWriter const root(writer, L"Root");
        MSAXTagWriter const tag(writer, L"V");
        if constexpr (has_attribute)
            writer.WriteAttribute(L"Name", value);
        if constexpr (requires { writer.WriteArray(value); })
            writer.WriteArray(value);
        else
            writer.Write(value);
    });
    int seen = 0;
    Values values([&](MSAXReader& reader) {
        ++seen;
        EXPECT_EQ(Get<T>(reader), value) << document.substr(0, 1000);
        if constexpr (has_attribute) {
            T attribute{};
            EXPECT_TRUE(reader.ReadAttribute(L"Name", attribute));
            EXPECT_EQ(attribute, value) << document.substr(0, 1000);
            EXPECT_FALSE(reader.ReadAttribute(L"Other", attribute));
        }
    });
    Read(document, values);
    EXPECT_EQ(seen, 1);
}

template <typename T>
void SAX::ExpectRefused(std::initializer_list<char const*> texts) {
    Values values([](MSAXReader& reader) { Get<T>(reader); });
    for (std::string const text : texts)
        EXPECT_THROW(Read("<Root><V>" + text + "</V></Root>", values), std::runtime_error) << text;
}

// A tree that logs what the reader asks of it. "Node" is a child with an identifier, "Group" lets its
// tags through to the same object, "Name" a value, "Next" refers to another node.
struct Node : ISAXPersist, virtual ISAXReference {
    explicit Node(std::string& log)
        : m_log(log) {}
    void SetDefaults() override { m_log += "("; }
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override {
        if (tag == L"Node") {
            reader.Read(*m_children.emplace_back(std::make_unique<Node>(m_log)));
        } else if (tag == L"Name") {
            reader.Read(m_name);
        } else if (tag == L"Next") {
            reader.Read(m_next_id);
        } else if (tag != L"Group") {
            m_log += "?";
            return false;
        }
        return true;
    }
    void HandleEndTag(std::wstring const& tag) override { m_log += static_cast<char>(tag[1]); }
    void InitAfterLoading() override { m_log += ")"; }
    void ResolveReferences(MSAXReader& reader) override {
        m_log += "R";
        m_next = dynamic_cast<Node*>(reader.FindReference(m_next_id));
    }
    void SetObjectId(unsigned int id, KetSAX::SaxIDType) override { m_log += std::to_string(id); }

    std::string& m_log;
    std::vector<std::unique_ptr<Node>> m_children;
    std::wstring m_name;
    unsigned int m_next_id = 0;
    Node* m_next = nullptr;
};

std::uint64_t Bits(double value) {
    return std::bit_cast<std::uint64_t>(value);
}

} // namespace

TEST_F(SAX, ObjectsAreReadInOrderAndUnknownTagsAreSkipped) {
    std::string log;
    Node root(log);
    Read(
        "<?xml version='1.0'?>\n<!-- a comment --><Root>\n <Node Id='7'><Name>one</Name><Next>8</Next></Node>"
        "<Unknown><Node Id='7'><Name>skipped</Name></Node></Unknown>"
        "<Group><Node Id='8'><Name><![CDATA[<two>]]></Name></Node></Group></Root>",
        root);
    // root( Node 7( Name, Next ) /Node; unknown; Node 8( Name ) /Node; /Group )
    EXPECT_EQ(log, "((7ae)o?(8a)or)RRR");
    ASSERT_EQ(root.m_children.size(), 2U);
    EXPECT_EQ(root.m_children[0]->m_next, root.m_children[1].get());
    EXPECT_EQ(root.m_children[1]->m_name, L"<two>");
    EXPECT_EQ(root.m_children[1]->m_next, nullptr);
}

// As a value and as an attribute.
TEST_F(SAX, EveryStringReadsBack) {
    std::vector<std::wstring> texts(1, std::wstring(100000, L'\u20AC'));
    for (wchar_t const* const text :
         {L"", L" ", L"\n\r\n\t ", L"<a b=\"c\">&amp;'</a>]]>", L"\\ \\\\u{41} \\u{", L"&#10;",
          L"\x01\x08\x0B\x1F\x7F\x85\u2028", L"\u00E9\u4E2D\uFEFF\uFFFD", L"\U0001F600\U0010FFFF"})
        texts.push_back(text);
    for (std::uint32_t const c : {0U, 0xD800U, 0xDFFFU, 0xFFFEU, 0xFFFFU, 0x110000U, 0xFFFFFFFFU})
        texts.push_back(std::wstring(2, static_cast<wchar_t>(c)) + L"x");
    std::mt19937 random(7);
    for (int bits = 4; bits <= 32; ++bits) {
        std::wstring& text = texts.emplace_back();
        for (int i = 0; i < 50; ++i)
            text.push_back(static_cast<wchar_t>(static_cast<std::uint32_t>(random()) >> (32 - bits)));
    }
    for (std::wstring const& text : texts)
        ExpectReadsBack(text);
}

TEST_F(SAX, EveryDoubleReadsBackBitForBit) {
    for (bool const binary : {true, false}) {
        m_binary = binary;
        using Limits = std::numeric_limits<double>;
        std::vector<double> numbers;
        for (double const number : {0.0, 0.1, 1.0 / 3.0, 5e22, DBL_MAX, DBL_MIN, Limits::denorm_min(),
                                    DBL_MIN - Limits::denorm_min(), Limits::infinity(), Limits::quiet_NaN(),
                                    std::bit_cast<double>(0x7FF80000DEADBEEFULL)})
            numbers.insert(numbers.end(), {number, -number});
        std::mt19937_64 random(11);
        for (int i = 0; i < 2000; ++i)
            numbers.push_back(std::bit_cast<double>(random()));
        std::string const document = Write([&](MSAXWriter& writer) {
            MSAXTagWriter const root(writer, L"Root");
            for (double const number : numbers)
                writer.WriteTag(L"V", number, 17);
            MSAXTagWriter const array(writer, L"V");
            writer.WriteArray(std::span(numbers).first(100));
            writer.WriteArray(std::span(numbers).subspan(100));
        });
        std::vector<double> read;
        Values values([&](MSAXReader& reader) {
            if (read.size() == numbers.size()) {
                double part[7];
                for (std::size_t size = 7; size == 7; read.insert(read.end(), part, part + size))
                    size = reader.ReadPart(std::span(part));
            } else {
                reader.Read(read.emplace_back());
            }
        });
        Read(document, values);
        ASSERT_EQ(read.size(), 2 * numbers.size());
        for (std::size_t i = 0; i < read.size(); ++i)
            EXPECT_EQ(Bits(read[i]), Bits(numbers[i % numbers.size()])) << i;
    }
    std::string const short_one = Write([](MSAXWriter& writer) { writer.WriteTag(L"V", 2.0 / 3.0, 4); });
    EXPECT_NE(short_one.find("<V>0.6667</V>"), std::string::npos) << short_one;
}

TEST_F(SAX, IntegersReadBackAndBadValuesAreRefused) {
    ExpectReadsBack(INT32_MIN);
    ExpectReadsBack(UINT32_MAX);
    ExpectReadsBack(INT64_MIN);
    ExpectReadsBack(UINT64_MAX);
    ExpectReadsBack(true);
    ExpectReadsBack(std::vector<std::int32_t>{0, -1, INT32_MAX, INT32_MIN});
    std::vector<std::int32_t> many(100000); // pieces of the file end within numbers
    std::iota(many.begin(), many.end(), -1000);
    ExpectReadsBack(many);

    ExpectRefused<std::int32_t>({"", "x", "1x", "1 2", "0x10", "1.0", "2147483648", "-2147483649", "1<V/>"});
    ExpectRefused<std::uint32_t>({"-1", "4294967296", "+1"});
    ExpectRefused<double>(
        {"", "1e", "1,5", "1e400", "1e-400", "0x1p3", "1 2", "nan:", "nan:1", "nan:7FF8000000000000x"});
    ExpectRefused<bool>({"", "TRUE", "2", "truefalse"});
    ExpectRefused<std::wstring>(
        {"\\", "\\n", "\\u{", "\\u{}", "\\u{12", "\\u{1FFFFFFFF}", "\\u{-1}", "\\u{G}", "<V>a</V>"});
    ExpectRefused<std::vector<std::int32_t>>({"1 2 x", "1,2", "1 2147483648"});
}

// An array goes through the reader in pieces, of which some need no XML parser and some are read ahead. What
// stands between two numbers means the same wherever a piece ends.
TEST_F(SAX, LongArraysAreReadLikeShortOnes) {
    std::vector<std::int32_t> numbers(100000);
    std::iota(numbers.begin(), numbers.end(), 100000); // of six digits
    std::string text;
    for (std::int32_t const number : numbers)
        text += std::to_string(number) + (number % 16 == 0 ? '\n' : ' ');
    std::vector<std::int32_t> read;
    Values values([&read](MSAXReader& reader) {
        std::int32_t part[1000]; // none of which is lost when one behind it is bad
        for (std::size_t size = std::size(part); size == std::size(part);) {
            size = reader.ReadPart(std::span(part));
            read.insert(read.end(), part, part + size);
        }
    });
    auto const read_with = [&](std::string const& inside, std::size_t place, std::string const& tag = "V") {
        read.clear();
        std::size_t const gap = text.find_first_of(" \n", place);
        Read("<Root><" + tag + ">" + text.substr(0, gap) + inside + text.substr(gap) + "</" + tag +
                 "></Root>",
             values);
    };
    for (bool const parallel : {false, true}) {
        m_parallel = parallel;
        for (std::size_t const place : {0u, 65000u, 65500u, 131050u, 393000u, 598000u}) {
            SCOPED_TRACE(place);
            for (char const* const inside :
                 {"", "<!-- 1 -->", "&#32;", "<![CDATA[\n]]>", "\r\n", "<?a b?>"}) {
                read_with(inside, place);
                EXPECT_TRUE(read == numbers) << inside;
            }
            for (char const* const inside : {" 1e", "<V/>"})
                EXPECT_THROW(read_with(inside, place), std::runtime_error) << inside;
            for (char const* const inside : {"]]>", "\x01", "\xC3", "\x80", "&a;", "<"}) {
                EXPECT_THROW(read_with(inside, place), std::runtime_error) << inside;
                EXPECT_THROW(read_with(inside, place, "Skipped"), std::runtime_error) << inside;
            }
            EXPECT_THROW(read_with(" x", place), std::runtime_error);
            EXPECT_EQ(read.size(), place / 7 / 1000 * 1000);
        }
        // Characters of two bytes, of which each could be that of a number.
        std::u16string const wide = u"\xFEFF<Root><V>" + std::u16string(200000, u'\x3132') + u"</V></Root>";
        std::wstring name;
        Values strings([&name](MSAXReader& reader) { reader.Read(name); });
        Read({reinterpret_cast<char const*>(wide.data()), 2 * wide.size()}, strings);
        EXPECT_TRUE(name == std::wstring(200000, L'\x3132'));
    }
}

// Every proper beginning of a document is an error; that of a short one is found before any object sees a
// tag.
TEST_F(SAX, CutOffAndMalformedDocumentsReachNoObject) {
    std::string const document =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Root a=\"b\"><V>1</V><V>\xC3\xA9&lt;</V></Root>";
    int seen = 0;
    Values values([&](MSAXReader&) { ++seen; });
    Read(document, values);
    EXPECT_EQ(seen, 2);
    std::vector<std::string> bad = {document + "<Root/>", document + "x", "<Other><V>1</V></Other>",
                                    "<!DOCTYPE Root><Root><V>1</V></Root>",
                                    "<!DOCTYPE Root [<!ENTITY a 'aaaa'>]><Root><V>&a;</V></Root>"};
    for (std::string const& inside :
         {std::string("<V></Root></V>"), std::string("<V>&undefined;</V>"), std::string("<V>\xFF</V>"),
          std::string("<V>\x01</V>"), std::string("<V a='1' a='2'/>"), std::string("<V>\0</V>", 8)})
        bad.push_back("<Root>" + inside + "</Root>");
    std::vector<std::string> const cut = CutAtEveryByte(document);
    bad.insert(bad.end(), cut.begin(), cut.end());
    std::string deep, ends;
    for (int i = 0; i < 100000; ++i) {
        deep += "<V>";
        ends += "</V>";
    }
    bad.push_back("<Root>" + deep + ends + "</Root>");
    for (std::string const& text : bad) {
        EXPECT_THROW(Read(text, values), std::runtime_error) << text.substr(0, 200);
        EXPECT_EQ(seen, 2) << text.substr(0, 200);
    }
    std::string const long_one = "<Root><V>" + std::string(300000, ' ') + "</V>";
    EXPECT_NO_THROW(Read(long_one + "</Root>", values));
    for (std::string const end : {"", "<V>", "</Root>x", "&undefined;</Root>"})
        EXPECT_THROW(Read(long_one + end, values), std::runtime_error) << end;
    MFile closed;
    EXPECT_THROW(MSAXTextReader{closed}, std::runtime_error);

    std::string log;
    Node root(log);
    EXPECT_THROW(Read("<Root><Node Id='1'/><Node Id='1'/></Root>", root), std::runtime_error);
    EXPECT_THROW(Read("<Root><Node Id='4294967296'/></Root>", root), std::runtime_error);
}

// Nothing but "invalid state" comes of a damaged binary document, whatever it claims to hold.
TEST_F(SAX, DamagedBinaryDocumentsAreRefusedOrReadWithoutHarm) {
    m_binary = true;
    std::string const document = Write([](MSAXWriter& writer) {
        MSAXTagWriter const root(writer, L"Root");
        writer.WriteAttribute(L"Name", L"\u20AC");
        writer.OpenTag(L"Skipped");
        writer.WriteTag(L"V", std::wstring(L"text"));
        writer.WriteTag(L"W", 1.5, 17);
        writer.CloseTag();
        MSAXTagWriter const array(writer, L"V");
        writer.WriteArray(std::vector<std::int32_t>());
        writer.WriteArray(std::vector<std::int32_t>{1, 2});
        writer.WriteArray(std::vector<std::int32_t>{3});
    });
    std::vector<std::int32_t> numbers;
    Values values([&](MSAXReader& reader) { reader.ReadArray(numbers); });
    Read(document + "what follows is not the reader's", values);
    EXPECT_EQ(numbers, (std::vector<std::int32_t>{1, 2, 3}));
    for (std::string const& cut : CutAtEveryByte(document))
        EXPECT_THROW(Read(cut, values), std::runtime_error) << cut.size();
    for (std::size_t i = 0; i < document.size(); ++i) {
        for (int const change : {0x01, 0x80, 0xFF}) {
            std::string damaged = document;
            damaged[i] = static_cast<char>(damaged[i] ^ change);
            try {
                Read(damaged, values);
                EXPECT_LE(numbers.capacity(), 64U) << i;
            } catch (std::runtime_error const& error) {
                EXPECT_STREQ(error.what(), "invalid state");
            }
        }
    }
    std::string const opened = document.substr(0, 8) + "\x01\x04Root";
    std::string deep = opened;
    for (int i = 0; i < 100000; ++i)
        deep += "\x01\x01V";
    Values nested([](MSAXReader&) {});
    EXPECT_THROW(Read(deep, nested), std::runtime_error);
}

TEST_F(SAX, MisusedWriterMakesNoBrokenDocument) {
    for (bool const binary : {true, false}) {
        m_binary = binary;
        MFile file(m_name, MFile::Mode::Write);
        auto const made = MakeWriter(file);
        MSAXWriter& writer = *made;
        EXPECT_THROW(writer.Write(1), std::runtime_error);
        for (wchar_t const* name : {L"", L"two words", L"1st", L"a<b", L"\u00E9"}) {
            EXPECT_THROW(writer.OpenTag(name), std::runtime_error);
        }
        writer.OpenTag(L"Root");
        writer.WriteTag(L"V", 1);
        EXPECT_THROW(writer.Write(2), std::runtime_error) << "a value beside a tag";
        EXPECT_THROW(writer.WriteAttribute(L"Late", 1), std::runtime_error);
        writer.OpenTag(L"V");
        writer.Write(1);
        EXPECT_THROW(writer.Write(2), std::runtime_error) << "a second value";
        EXPECT_THROW(writer.OpenTag(L"V"), std::runtime_error) << "a tag beside a value";
        writer.CloseTag();
        writer.CloseTag();
        EXPECT_THROW(writer.OpenTag(L"Root"), std::runtime_error) << "a second outermost tag";
        ASSERT_TRUE(file.Close());
        int sum = 0;
        Values values([&](MSAXReader& reader) { sum += Get<std::int32_t>(reader); });
        Read(Content(m_name.GetPath()), values);
        EXPECT_EQ(sum, 2);
    }
}

TEST_F(SAX, StateStreamReadsBackAndRefusesWhatIsMissing) {
    std::wstring const wide(L"a\0\U0001F600", 3);
    MFile file(m_name, MFile::Mode::Write);
    MStreamMFileOut out(file);
    out.Write(std::uint16_t{60000});
    out.Write(-0.0);
    out.Write(wide);
    out.Write(UINT64_MAX / 4 + 2); // a length that wraps when multiplied by four
    ASSERT_TRUE(file.Close());
    EXPECT_EQ(std::filesystem::file_size(m_name.GetPath()), 2U + 8 + 8 + 12 + 8);

    file.Open(m_name, MFile::Mode::Read);
    MStreamMFileIn in(file);
    std::uint16_t word = 0;
    double real = 1.0;
    std::wstring text;
    in.Read(word);
    in.Read(real);
    in.Read(text);
    EXPECT_EQ(word, 60000);
    EXPECT_EQ(Bits(real), Bits(-0.0));
    EXPECT_EQ(text, wide);
    EXPECT_THROW(in.Read(text), std::runtime_error);
    EXPECT_THROW(in.Read(word), std::runtime_error) << "the end of the file";
}
