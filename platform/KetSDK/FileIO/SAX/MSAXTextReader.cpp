// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>

#include <KetSDK/FileIO/SAX/SaxTextFormat.h>

#include <expat.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace {

// Deeper nesting is no document of ours; objects read it with recursion.
constexpr std::size_t MaxDepth = 128;
constexpr std::size_t ChunkSize = 64 * 1024;

[[noreturn]] void ThrowInvalid() {
    throw std::runtime_error("invalid state");
}

} // namespace

// Cuts a document into the beginnings and ends of its tags and the text between them.
class MSAXTextReader::Parser {
public:
    enum class Kind { Start, Text, End, Finished };
    struct Piece {
        Kind kind;
        std::wstring name;     // of a tag that starts
        Attributes attributes; // of a tag that starts
        std::size_t begin;     // of a text, in m_text
        std::size_t end;
    };

    explicit Parser(MFile& file)
        : m_file(file)
        , m_parser(XML_ParserCreate(nullptr)) {
        if (!m_parser) {
            throw std::bad_alloc();
        }
        XML_SetUserData(m_parser.get(), this);
        XML_SetStartDoctypeDeclHandler(m_parser.get(), &OnDoctype);
        XML_SetElementHandler(m_parser.get(), &OnStart, &OnEnd);
        XML_SetCharacterDataHandler(m_parser.get(), &OnText);
        Fetch();
    }

    // What comes next; the text of a text is what of it was not taken.
    Piece& Next() { return m_pieces[m_next]; }
    std::string_view Text() const {
        Piece const& piece = m_pieces[m_next];
        return std::string_view(m_text).substr(piece.begin, piece.end - piece.begin);
    }
    // Takes some characters of a text, or what comes next as a whole.
    void TakeText(std::size_t size) { Next().begin += size; }
    void Take() {
        if (Next().kind != Kind::Finished && ++m_next == m_pieces.size()) {
            Fetch();
        }
    }

private:
    // Parses on until there is something to take.
    void Fetch() {
        m_pieces.clear();
        m_text.clear();
        m_next = 0;
        while (m_pieces.empty()) {
            if (m_has_all) {
                Add(Kind::Finished);
                return;
            }
            ParseChunk();
        }
    }

    void ParseChunk() {
        void* const buffer = XML_GetBuffer(m_parser.get(), static_cast<int>(ChunkSize));
        if (buffer == nullptr) {
            throw std::bad_alloc();
        }
        auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(ChunkSize, m_file.BytesLeft()));
        if (m_file.Read(buffer, size) != size) {
            ThrowInvalid();
        }
        m_has_all = m_file.BytesLeft() == 0;
        if (XML_ParseBuffer(m_parser.get(), static_cast<int>(size), m_has_all) != XML_STATUS_OK) {
            if (m_failure) {
                std::rethrow_exception(m_failure);
            }
            ThrowInvalid();
        }
    }

    // The parser is C code, through which no exception may pass: it is stopped, and thrown for later.
    template <typename Action>
    static void Guard(void* data, Action const& action) {
        auto& self = *static_cast<Parser*>(data);
        if (self.m_failure) {
            return;
        }
        try {
            action(self);
        } catch (...) {
            self.m_failure = std::current_exception();
            XML_StopParser(self.m_parser.get(), XML_FALSE);
        }
    }

    static void XMLCALL OnDoctype(void* data, XML_Char const*, XML_Char const*, XML_Char const*, int) {
        Guard(data, [](Parser&) { ThrowInvalid(); });
    }
    static void XMLCALL OnStart(void* data, XML_Char const* name, XML_Char const** attributes) {
        Guard(data, [&](Parser& self) { self.StartTag(name, attributes); });
    }
    static void XMLCALL OnEnd(void* data, XML_Char const*) {
        Guard(data, [](Parser& self) { self.EndTag(); });
    }
    static void XMLCALL OnText(void* data, XML_Char const* text, int size) {
        Guard(data, [&](Parser& self) { self.TextOf({text, static_cast<std::size_t>(size)}); });
    }

    void StartTag(XML_Char const* name, XML_Char const** attributes) {
        if (++m_depth > MaxDepth) {
            ThrowInvalid();
        }
        Piece& piece = Add(Kind::Start);
        piece.name = KetSAX::Detail::Unescape(name);
        for (; *attributes != nullptr; attributes += 2) {
            piece.attributes.emplace_back(KetSAX::Detail::Unescape(attributes[0]), attributes[1]);
        }
    }

    void EndTag() {
        --m_depth;
        Add(Kind::End);
    }

    // A text comes in parts.
    void TextOf(std::string_view text) {
        Piece& piece =
            !m_pieces.empty() && m_pieces.back().kind == Kind::Text ? m_pieces.back() : Add(Kind::Text);
        m_text.append(text);
        piece.end = m_text.size();
    }

    Piece& Add(Kind kind) { return m_pieces.emplace_back(Piece{kind, {}, {}, m_text.size(), m_text.size()}); }

    struct FreeParser {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    MFile& m_file;
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser> m_parser;
    std::exception_ptr m_failure;
    std::size_t m_depth = 0;
    bool m_has_all = false;      // of the file
    std::vector<Piece> m_pieces; // of the part of the document that was parsed last
    std::size_t m_next = 0;      // the first one that was not taken; there is always one
    std::string m_text;          // of these pieces
};

MSAXTextReader::MSAXTextReader(MFile& file)
    : m_parser(std::make_unique<Parser>(file)) {}

MSAXTextReader::~MSAXTextReader() = default;

void MSAXTextReader::Read(bool& value) {
    std::string_view const text = TrimmedValue();
    if (text != "true" && text != "false") {
        ThrowInvalid();
    }
    value = text == "true";
}

void MSAXTextReader::Read(std::int32_t& value) {
    value = KetSAX::Detail::ParseInteger<std::int32_t>(TrimmedValue());
}

void MSAXTextReader::Read(std::uint32_t& value) {
    value = KetSAX::Detail::ParseInteger<std::uint32_t>(TrimmedValue());
}

void MSAXTextReader::Read(std::int64_t& value) {
    value = KetSAX::Detail::ParseInteger<std::int64_t>(TrimmedValue());
}

void MSAXTextReader::Read(std::uint64_t& value) {
    value = KetSAX::Detail::ParseInteger<std::uint64_t>(TrimmedValue());
}

void MSAXTextReader::Read(double& value) {
    value = KetSAX::Detail::ParseDouble(TrimmedValue());
}

void MSAXTextReader::Read(std::wstring& value) {
    value = KetSAX::Detail::Unescape(Value());
}

void MSAXTextReader::ReadArray(std::vector<std::int32_t>& values) {
    ReadNumbersOf(values);
}
void MSAXTextReader::ReadArray(std::vector<double>& values) {
    ReadNumbersOf(values);
}

std::size_t MSAXTextReader::ReadPart(std::span<std::int32_t> values) {
    return ReadSome(values);
}
std::size_t MSAXTextReader::ReadPart(std::span<double> values) {
    return ReadSome(values);
}

template <typename Number>
void MSAXTextReader::ReadNumbersOf(std::vector<Number>& values) {
    constexpr std::size_t piece = 1024;
    values.clear();
    for (std::size_t size = piece; size == piece;) {
        std::size_t const before = values.size();
        values.resize(before + piece);
        size = ReadSome(std::span(values).subspan(before));
        values.resize(before + size);
    }
}

template <typename Number>
std::size_t MSAXTextReader::ReadSome(std::span<Number> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        std::string_view const word = NextWord();
        if (word.empty()) {
            return i;
        }
        if constexpr (std::is_same_v<Number, double>) {
            values[i] = KetSAX::Detail::ParseDouble(word);
        } else {
            values[i] = KetSAX::Detail::ParseInteger<Number>(word);
        }
    }
    return values.size();
}

bool MSAXTextReader::ReadAttribute(std::wstring const& name, std::wstring& value) {
    std::string const* const text = FindAttribute(name);
    if (text != nullptr) {
        value = KetSAX::Detail::Unescape(*text);
    }
    return text != nullptr;
}

bool MSAXTextReader::ReadAttribute(std::wstring const& name, std::uint64_t& value) {
    std::string const* const text = FindAttribute(name);
    if (text != nullptr) {
        value = KetSAX::Detail::ParseInteger<std::uint64_t>(KetSAX::Detail::Trim(*text));
    }
    return text != nullptr;
}

bool MSAXTextReader::EnterTag(std::wstring& name) {
    while (m_parser->Next().kind == Parser::Kind::Text) {
        m_parser->Take();
    }
    Parser::Piece& piece = m_parser->Next();
    if (piece.kind != Parser::Kind::Start) {
        return false;
    }
    name = std::move(piece.name);
    if (!m_open.empty()) {
        m_open.back().has_tags = true;
    }
    m_open.push_back({std::move(piece.attributes), false});
    m_value.clear();
    m_parser->Take();
    return true;
}

void MSAXTextReader::LeaveTag() {
    for (std::size_t depth = 1; depth > 0; m_parser->Take()) {
        Parser::Kind const kind = m_parser->Next().kind;
        depth += kind == Parser::Kind::Start ? 1 : 0;
        depth -= kind == Parser::Kind::End ? 1 : 0;
    }
    m_open.pop_back();
    m_value.clear();
    // What follows the outermost tag belongs to the document, too.
    while (m_open.empty() && m_parser->Next().kind != Parser::Kind::Finished) {
        m_parser->Take();
    }
}

// Outside of a tag there is nothing to read.
MSAXTextReader::OpenTag const& MSAXTextReader::Current() const {
    if (m_open.empty()) {
        ThrowInvalid();
    }
    return m_open.back();
}

std::string_view MSAXTextReader::Value() {
    for (; m_parser->Next().kind == Parser::Kind::Text; m_parser->Take()) {
        m_value.append(m_parser->Text());
    }
    if (Current().has_tags || m_parser->Next().kind == Parser::Kind::Start) {
        ThrowInvalid();
    }
    return m_value;
}

std::string_view MSAXTextReader::TrimmedValue() {
    return KetSAX::Detail::Trim(Value());
}

std::string_view MSAXTextReader::NextWord() {
    auto const is_space = [](char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; };
    m_value.clear(); // what of the word stood at the end of a piece
    for (; m_parser->Next().kind == Parser::Kind::Text; m_parser->Take()) {
        std::string_view const text = m_parser->Text();
        std::size_t begin = 0;
        while (m_value.empty() && begin < text.size() && is_space(text[begin])) {
            ++begin;
        }
        std::size_t end = begin;
        while (end < text.size() && !is_space(text[end])) {
            ++end;
        }
        std::string_view const word = text.substr(begin, end - begin);
        if (end < text.size()) {
            m_parser->TakeText(end);
            return m_value.empty() ? word : m_value.append(word);
        }
        m_value.append(word);
    }
    if (Current().has_tags || m_parser->Next().kind == Parser::Kind::Start) {
        ThrowInvalid();
    }
    return m_value;
}

std::string const* MSAXTextReader::FindAttribute(std::wstring const& name) const {
    for (auto const& [attribute, value] : Current().attributes) {
        if (attribute == name) {
            return &value;
        }
    }
    return nullptr;
}
