#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/FileIO/SAX/ISAXPersist.h>
#include <KetSDK/FileIO/SAX/ISAXReference.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>

#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <random>

namespace {

// Documents on disk, as the reader and the writer take them.
class SAX : public testing::Test {
protected:
    std::string Write(std::function<void(MSAXWriter&)> const& body) {
        MFile file(m_name, MFile::Mode::Write);
        MSAXTextWriter writer(file);
        body(writer);
        EXPECT_TRUE(writer.IsGood());
        EXPECT_TRUE(file.Close());
        std::ifstream stream(m_name.GetPath(), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    void Read(std::string const& document, ISAXPersistBase& object) {
        std::ofstream(m_name.GetPath(), std::ios::binary) << document;
        MFile file(m_name, MFile::Mode::Read);
        MSAXTextReader(file).ReadDocument(L"Root", object);
    }

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

TEST_F(SAX, EveryStringReadsBack) {
    std::vector<std::wstring> texts = {L"",
                                       L" ",
                                       L"\n\r\n\t ",
                                       L"<a b=\"c\">&amp;'</a>]]>",
                                       L"\\ \\\\u{41} \\u{",
                                       L"&#10;",
                                       std::wstring(1, L'\0'),
                                       L"\x01\x08\x0B\x1F\x7F\x85\u2028",
                                       L"\u00E9\u4E2D\uFEFF\uFFFD",
                                       L"\U0001F600\U0010FFFF",
                                       L"Volume 1",
                                       std::wstring(100000, L'\u20AC')};
    for (std::uint32_t const c : {0xD800U, 0xDFFFU, 0xFFFEU, 0xFFFFU, 0x110000U, 0xFFFFFFFFU}) {
        texts.push_back(std::wstring(2, static_cast<wchar_t>(c)) + L"x");
    }
    std::mt19937 random(7);
    for (int bits = 4; bits <= 32; ++bits) {
        std::wstring& text = texts.emplace_back();
        for (int i = 0; i < 50; ++i) {
            text.push_back(static_cast<wchar_t>(static_cast<std::uint32_t>(random()) >> (32 - bits)));
        }
    }
    for (std::wstring const& text : texts) {
        std::string const document = Write([&](MSAXWriter& writer) {
            MSAXTagWriter const root(writer, L"Root");
            MSAXTagWriter const value(writer, L"V");
            writer.WriteAttribute(L"Name", text);
            writer.Write(text);
        });
        std::wstring value = L"?", attribute = L"?";
        Values values([&](MSAXReader& reader) {
            reader.Read(value);
            EXPECT_TRUE(reader.ReadAttribute(L"Name", attribute));
            EXPECT_FALSE(reader.ReadAttribute(L"Other", attribute));
        });
        Read(document, values);
        EXPECT_EQ(value, text) << document.substr(0, 1000);
        EXPECT_EQ(attribute, text) << document.substr(0, 1000);
    }
}

TEST_F(SAX, EveryDoubleReadsBackBitForBit) {
    using Limits = std::numeric_limits<double>;
    std::vector<double> numbers = {0.0,
                                   -0.0,
                                   0.1,
                                   1.0 / 3.0,
                                   5e22,
                                   DBL_MAX,
                                   -DBL_MAX,
                                   DBL_MIN,
                                   Limits::denorm_min(),
                                   DBL_MIN - Limits::denorm_min(),
                                   Limits::infinity(),
                                   -Limits::infinity(),
                                   Limits::quiet_NaN(),
                                   -Limits::quiet_NaN(),
                                   std::bit_cast<double>(0x7FF80000DEADBEEFULL)};
    std::mt19937_64 random(11);
    for (int i = 0; i < 2000; ++i) {
        numbers.push_back(std::bit_cast<double>(random()));
    }
    std::string const document = Write([&](MSAXWriter& writer) {
        MSAXTagWriter const root(writer, L"Root");
        for (double const number : numbers) {
            writer.WriteTag(L"V", number, 17);
        }
        MSAXTagWriter const array(writer, L"V");
        writer.WriteArray(std::span(numbers).first(100));
        writer.WriteArray(std::span(numbers).subspan(100));
    });
    std::vector<double> read;
    Values values([&](MSAXReader& reader) {
        if (read.size() == numbers.size()) {
            std::vector<double> array = {1.0}; // replaced
            reader.ReadArray(array);
            read.insert(read.end(), array.begin(), array.end());
        } else {
            reader.Read(read.emplace_back());
        }
    });
    Read(document, values);
    ASSERT_EQ(read.size(), 2 * numbers.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
        EXPECT_EQ(Bits(read[i]), Bits(numbers[i % numbers.size()])) << i;
    }
    EXPECT_NE(Write([](MSAXWriter& writer) {
                  MSAXTagWriter const root(writer, L"Root");
                  writer.WriteTag(L"V", 2.0 / 3.0, 4);
              }).find("<V>0.6667</V>"),
              std::string::npos);
}

TEST_F(SAX, IntegersReadBackAndBadValuesAreRefused) {
    std::vector<std::int32_t> const array = {0, -1, INT32_MAX, INT32_MIN};
    std::string const document = Write([&](MSAXWriter& writer) {
        MSAXTagWriter const root(writer, L"Root");
        MSAXTagWriter const value(writer, L"V");
        writer.WriteAttribute(L"Count", UINT64_MAX);
        writer.WriteTag(L"V", INT32_MIN);
        writer.WriteTag(L"V", UINT32_MAX);
        writer.WriteTag(L"V", INT64_MIN);
        writer.WriteTag(L"V", UINT64_MAX);
        writer.WriteTag(L"V", true);
        writer.WriteTag(L"V", L"text");
        MSAXTagWriter const numbers(writer, L"V");
        writer.WriteArray(array);
    });
    std::size_t step = 0;
    auto const expect = [](auto expected) {
        return [expected](MSAXReader& reader) {
            auto value = decltype(expected){};
            reader.Read(value);
            EXPECT_EQ(value, expected);
        };
    };
    std::function<void(MSAXReader&)> const steps[] = {[](MSAXReader& reader) {
                                                          std::uint64_t count = 0;
                                                          EXPECT_TRUE(reader.ReadAttribute(L"Count", count));
                                                          EXPECT_EQ(count, UINT64_MAX);
                                                      },
                                                      expect(INT32_MIN),
                                                      expect(UINT32_MAX),
                                                      expect(INT64_MIN),
                                                      expect(UINT64_MAX),
                                                      expect(true),
                                                      expect(std::wstring(L"text")),
                                                      [&](MSAXReader& reader) {
                                                          std::vector<std::int32_t> numbers;
                                                          reader.ReadArray(numbers);
                                                          EXPECT_EQ(numbers, array);
                                                      }};
    Values values([&](MSAXReader& reader) { steps[step++](reader); });
    Read(document, values);
    EXPECT_EQ(step, std::size(steps));

    Values as_int([](MSAXReader& reader) {
        std::int32_t v;
        reader.Read(v);
    });
    Values as_unsigned([](MSAXReader& reader) {
        std::uint32_t v;
        reader.Read(v);
    });
    Values as_double([](MSAXReader& reader) {
        double v;
        reader.Read(v);
    });
    Values as_bool([](MSAXReader& reader) {
        bool v;
        reader.Read(v);
    });
    Values as_text([](MSAXReader& reader) {
        std::wstring v;
        reader.Read(v);
    });
    Values as_array([](MSAXReader& reader) {
        std::vector<std::int32_t> v;
        reader.ReadArray(v);
    });
    struct {
        Values& type;
        std::vector<std::string> bad;
    } const cases[] = {
        {as_int, {"", "x", "1x", "1 2", "0x10", "1.0", "2147483648", "-2147483649", "1<V/>"}},
        {as_unsigned, {"-1", "4294967296", "+1"}},
        {as_double,
         {"", "1e", "1,5", "1e400", "1e-400", "0x1p3", "1 2", "nan:", "nan:1", "nan:7FF8000000000000x"}},
        {as_bool, {"", "TRUE", "2", "truefalse"}},
        {as_text,
         {"\\", "\\n", "\\u{", "\\u{}", "\\u{12", "\\u{1FFFFFFFF}", "\\u{-1}", "\\u{G}", "<V>a</V>"}},
        {as_array, {"1 2 x", "1,2", "1 2147483648"}},
    };
    for (auto const& [type, bad] : cases) {
        for (std::string const& text : bad) {
            EXPECT_THROW(Read("<Root><V>" + text + "</V></Root>", type), std::runtime_error) << text;
        }
    }
}

// Every proper beginning of a document is an error, found before any object sees a tag.
TEST_F(SAX, CutOffAndMalformedDocumentsReachNoObject) {
    std::string const document =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Root a=\"b\"><V>1</V><V>\xC3\xA9&lt;</V></Root>";
    int seen = 0;
    Values values([&](MSAXReader&) { ++seen; });
    Read(document, values);
    EXPECT_EQ(seen, 2);
    std::vector<std::string> bad = {
        document + "<Root/>",
        document + "x",
        "<Other><V>1</V></Other>",
        "<Root><V></Root></V>",
        "<!DOCTYPE Root><Root><V>1</V></Root>",
        "<!DOCTYPE Root [<!ENTITY a 'aaaa'><!ENTITY b '&a;&a;'>]><Root><V>&b;</V></Root>",
        "<Root><V>&undefined;</V></Root>",
        "<Root><V>\xFF</V></Root>",
        "<Root><V>\x01</V></Root>",
        "<Root><V a='1' a='2'/></Root>",
        std::string("<Root><V>\0</V></Root>", 21)};
    for (std::size_t size = 0; size < document.size(); ++size) {
        bad.push_back(document.substr(0, size));
    }
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<V>";
    }
    for (int i = 0; i < 100000; ++i) {
        deep += "</V>";
    }
    deep = "<Root>" + deep + "</Root>";
    bad.push_back(deep);
    for (std::string const& text : bad) {
        EXPECT_THROW(Read(text, values), std::runtime_error) << text.substr(0, 200);
        EXPECT_EQ(seen, 2) << text.substr(0, 200);
    }
    MFile closed;
    EXPECT_THROW(MSAXTextReader{closed}, std::runtime_error);

    std::string log;
    Node root(log);
    EXPECT_THROW(Read("<Root><Node Id='1'/><Node Id='1'/></Root>", root), std::runtime_error);
    EXPECT_THROW(Read("<Root><Node Id='4294967296'/></Root>", root), std::runtime_error);
}

TEST_F(SAX, MisusedWriterMakesNoBrokenDocument) {
    MFile file(m_name, MFile::Mode::Write);
    MSAXTextWriter writer(file);
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
    EXPECT_TRUE(writer.IsGood());
    ASSERT_TRUE(file.Close());
    int sum = 0;
    Values values([&](MSAXReader& reader) {
        std::int32_t v;
        reader.Read(v);
        sum += v;
    });
    file.Open(m_name, MFile::Mode::Read);
    MSAXTextReader(file).ReadDocument(L"Root", values);
    EXPECT_EQ(sum, 2);
}

TEST_F(SAX, StateStreamReadsBackAndRefusesWhatIsMissing) {
    MFile file(m_name, MFile::Mode::Write);
    MStreamMFileOut out(file);
    out.Write(std::uint8_t{200});
    out.Write(std::uint16_t{60000});
    out.Write(std::int32_t{-5});
    out.Write(-0.0);
    out.Write(std::wstring(L"a\0\U0001F600", 3));
    out.Write(UINT64_MAX / 4 + 2); // a length that wraps when multiplied by four
    ASSERT_TRUE(file.Close());
    EXPECT_EQ(std::filesystem::file_size(m_name.GetPath()), 1U + 2 + 4 + 8 + 8 + 12 + 8);

    file.Open(m_name, MFile::Mode::Read);
    MStreamMFileIn in(file);
    std::uint8_t byte = 0;
    std::uint16_t word = 0;
    std::int32_t number = 0;
    double real = 1.0;
    std::wstring text;
    in.Read(byte);
    in.Read(word);
    in.Read(number);
    in.Read(real);
    in.Read(text);
    EXPECT_EQ(byte, 200);
    EXPECT_EQ(word, 60000);
    EXPECT_EQ(number, -5);
    EXPECT_EQ(Bits(real), Bits(-0.0));
    EXPECT_EQ(text, std::wstring(L"a\0\U0001F600", 3));
    EXPECT_THROW(in.Read(text), std::runtime_error);
    EXPECT_THROW(in.Read(byte), std::runtime_error) << "the end of the file";
}
