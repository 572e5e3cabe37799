// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>

#include <KetSDK/FileIO/SAX/SaxTextFormat.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/ParallelWork.h>

#include <expat.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace {

// Deeper nesting is no document of ours; objects read it with recursion.
constexpr std::size_t MaxDepth = 128;
constexpr std::size_t ChunkSize = 64 * 1024;

// Whether text of an XML document stands for itself, as numbers do.
bool IsPlain(std::string_view text) {
    // Without a way out of the loop and each in a variable of its own: then compilers look at many at a time.
    unsigned char low = 0, control = 0, high = 0, tag = 0, entity = 0, bracket = 0;
    for (char const c : text) {
        auto const code = static_cast<unsigned char>(c);
        low |= code < '\t';
        control |= static_cast<unsigned char>(code - '\v') < ' ' - '\v'; // behind tabulator and line feed
        high |= code > '~';
        tag |= code == '<';
        entity |= code == '&';
        bracket |= code == ']';
    }
    return (low | control | high | tag | entity | bracket) == 0;
}

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

    // What comes next.
    Piece& Next() { return m_pieces[m_next]; }
    std::string_view Text() const {
        Piece const& piece = m_pieces[m_next];
        return std::string_view(m_text).substr(piece.begin, piece.end - piece.begin);
    }
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
        std::string_view const chunk(static_cast<char const*>(buffer), size);
        if (m_text_goes_on && !m_has_all && IsPlain(chunk)) {
            TextOf(chunk); // which takes a parser longer than to read its numbers
            return;
        }
        m_text_goes_on = false;
        m_chunk_end = chunk.data() + size;
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
        Guard(data, [&](Parser& self) {
            self.TextOf({text, static_cast<std::size_t>(size)});
            // Where the parser hands over the very bytes of the file, it has none of them left to look at.
            self.m_text_goes_on = text + size == self.m_chunk_end;
        });
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
    bool m_has_all = false; // of the file
    char const* m_chunk_end = nullptr;
    bool m_text_goes_on = false; // a text reached to the end of the chunk, which was no end of anything else
    std::vector<Piece> m_pieces; // of the part of the document that was parsed last
    std::size_t m_next = 0;      // the first one that was not taken; there is always one
    std::string m_text;          // of these pieces
};

// The numbers of a tag, for as long as nothing else is read of it. Its text is cut into pieces, which threads
// read while the calling one goes on through the document.
class MSAXTextReader::Array {
public:
    Array(Parser& parser, bool parallel)
        : m_parser(parser)
        , m_parallel(parallel) {}

    // Begins with the text that comes next.
    void Begin() noexcept {
        m_ahead.clear();
        m_pieces.clear();
        m_piece = m_taken = 0;
    }

    // Takes the next numbers, fewer than asked for only at the end of the text.
    template <typename Number>
    std::size_t Take(std::span<Number> values) {
        std::size_t size = 0;
        while (size < values.size() && (m_piece < m_pieces.size() || ReadPieces<Number>())) {
            Piece const& piece = m_pieces[m_piece];
            auto const* const numbers = std::get_if<Numbers<Number>>(&m_numbers);
            std::size_t const taken = std::min(piece.size - m_taken, values.size() - size);
            if (numbers == nullptr || (taken == 0 && !piece.is_good)) {
                ThrowInvalid();
            }
            std::copy_n(numbers->data() + piece.first + m_taken, taken, values.data() + size);
            size += taken;
            m_taken += taken;
            if (m_taken == piece.size && piece.is_good) {
                ++m_piece;
                m_taken = 0;
            }
        }
        return size;
    }

private:
    using Text = std::vector<char, KetSDK::Support::MLargePageAllocator<char>>;
    template <typename Number>
    using Numbers = std::vector<Number, KetSDK::Support::MUninitializedAllocator<Number>>;

    // Whole words of the text, and where their numbers lie.
    struct Piece {
        std::string_view text;
        std::size_t first;
        std::size_t size;
        bool is_good; // otherwise the word behind the numbers is none
    };

    static constexpr std::size_t FirstPieces = 4;
    static constexpr std::size_t MostPieces = 32;

    static bool IsSpace(char c) noexcept { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
    bool TextGoesOn() { return m_parser.Next().kind == Parser::Kind::Text; }

    // False at the end of the text.
    template <typename Number>
    bool ReadPieces();
    template <typename Number>
    static void Read(Piece& piece, Number* numbers);
    // Reads the number that a word is, all of it, and returns the end of the word. Throws when it is none.
    template <typename Number>
    static char const* ReadWord(char const* at, char const* end, Number& number);
    void Fetch(std::size_t size);
    void FetchWords();
    void CutIntoPieces();

    Parser& m_parser;
    bool m_parallel;
    Text m_ahead; // what has been fetched of the text, but for that of the pieces
    Text m_text;  // of the pieces
    std::vector<Piece> m_pieces;
    std::variant<Numbers<std::int32_t>, Numbers<double>> m_numbers;
    std::size_t m_piece = 0; // the first with numbers that were not taken
    std::size_t m_taken = 0; // of its numbers
};

template <typename Number>
bool MSAXTextReader::Array::ReadPieces() {
    FetchWords();
    CutIntoPieces();
    if (!std::holds_alternative<Numbers<Number>>(m_numbers)) {
        m_numbers.emplace<Numbers<Number>>();
    }
    auto& numbers = std::get<Numbers<Number>>(m_numbers);
    numbers.resize(
        std::max({numbers.size(), m_text.size() / 2 + m_pieces.size(), m_text.capacity() / 2 + MostPieces}));
    std::size_t const most = m_parallel ? std::min(2 * m_pieces.size(), MostPieces) * ChunkSize : 0;
    KetSDK::Support::ComputeSteps(
        {.items = m_pieces.size(),
         .parallel = m_parallel,
         .window = std::max<std::size_t>(m_pieces.size() / 4, 1)},
        [&](std::uint64_t i, std::uint64_t, std::size_t) {
            Piece& piece = m_pieces[static_cast<std::size_t>(i)];
            Read(piece, numbers.data() + piece.first);
        },
        [&](std::uint64_t, std::uint64_t, std::size_t) {
            Fetch(std::min(m_ahead.size() + 2 * ChunkSize, most));
            return true;
        });
    return !m_pieces.empty();
}

template <typename Number>
char const* MSAXTextReader::Array::ReadWord(char const* at, char const* end, Number& number) {
    // To look for the end of the word first would take a quarter more time.
    auto const [behind, error] = std::from_chars(at, end, number);
    if (error == std::errc() && (behind == end || IsSpace(*behind))) {
        return behind;
    }
    if constexpr (std::is_same_v<Number, double>) { // the bits of what is no number, perhaps
        char const* const word_end = std::find_if(at, end, IsSpace);
        number = KetSAX::Detail::ParseDouble({at, static_cast<std::size_t>(word_end - at)});
        return word_end;
    } else {
        ThrowInvalid();
    }
}

template <typename Number>
void MSAXTextReader::Array::Read(Piece& piece, Number* numbers) {
    char const* at = piece.text.data();
    char const* const end = at + piece.text.size();
    try {
        while ((at = std::find_if_not(at, end, IsSpace)) != end) {
            at = ReadWord(at, end, numbers[piece.size]);
            ++piece.size;
        }
        piece.is_good = true;
    } catch (std::runtime_error const&) {
        // It counts when the numbers before it have been taken.
    }
}

// Goes on until so much of the text has been fetched, or to its end.
void MSAXTextReader::Array::Fetch(std::size_t size) {
    // Always as much, so that the next reader can have the same memory.
    m_ahead.reserve((m_parallel ? MostPieces + 2 : 2) * ChunkSize);
    for (; m_ahead.size() < size && TextGoesOn(); m_parser.Take()) {
        std::string_view const text = m_parser.Text();
        m_ahead.insert(m_ahead.end(), text.begin(), text.end());
    }
}

// Makes what has been fetched the text of the next pieces, up to the end of a word.
void MSAXTextReader::Array::FetchWords() {
    Fetch(m_parallel ? FirstPieces * ChunkSize : ChunkSize);
    auto const last_space = [this] { return std::find_if(m_ahead.rbegin(), m_ahead.rend(), IsSpace).base(); };
    auto end = TextGoesOn() ? last_space() : m_ahead.end();
    while (end == m_ahead.begin() && TextGoesOn()) { // in a word
        Fetch(2 * m_ahead.size());
        end = TextGoesOn() ? last_space() : m_ahead.end();
    }
    m_text.assign(end, m_ahead.end());
    m_ahead.erase(end, m_ahead.end());
    m_text.swap(m_ahead);
}

void MSAXTextReader::Array::CutIntoPieces() {
    m_pieces.clear();
    m_piece = m_taken = 0;
    std::string_view const text(m_text.data(), m_text.size());
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = std::min(begin + ChunkSize, text.size());
        while (end < text.size() && !IsSpace(text[end])) {
            ++end;
        }
        // A number takes two characters, but for the last one of a piece.
        m_pieces.push_back({text.substr(begin, end - begin), begin / 2 + m_pieces.size(), 0, false});
        begin = end;
    }
}

MSAXTextReader::MSAXTextReader(MFile& file, bool parallel)
    : m_parser(std::make_unique<Parser>(file))
    , m_array(std::make_unique<Array>(*m_parser, parallel)) {}

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
    std::size_t const size = m_array->Take(values);
    if (size < values.size()) {
        RequireNoTags();
    }
    return size;
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
    m_array->Begin();
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
    m_array->Begin();
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
    RequireNoTags();
    return m_value;
}

void MSAXTextReader::RequireNoTags() const {
    if (Current().has_tags || m_parser->Next().kind == Parser::Kind::Start) {
        ThrowInvalid();
    }
}

std::string_view MSAXTextReader::TrimmedValue() {
    return KetSAX::Detail::Trim(Value());
}

std::string const* MSAXTextReader::FindAttribute(std::wstring const& name) const {
    for (auto const& [attribute, value] : Current().attributes) {
        if (attribute == name) {
            return &value;
        }
    }
    return nullptr;
}
