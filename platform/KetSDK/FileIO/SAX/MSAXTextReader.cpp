#include <KetSDK/FileIO/SAX/MSAXTextReader.h>

#include <KetSDK/FileIO/SAX/SaxTextFormat.h>

#include <expat.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <unordered_map>

namespace {

// Deeper nesting is no document of ours; objects read it with recursion.
constexpr std::size_t MaxDepth = 128;
constexpr std::size_t ChunkSize = 64 * 1024;

[[noreturn]] void ThrowInvalid() {
    throw std::runtime_error("invalid state");
}

} // namespace

// Fills a reader's tables from a file.
class MSAXTextReader::Parser {
public:
    explicit Parser(MSAXTextReader& reader)
        : m_reader(reader)
        , m_parser(XML_ParserCreate(nullptr)) {
        if (!m_parser) {
            throw std::bad_alloc();
        }
        XML_SetUserData(m_parser.get(), this);
        XML_SetStartDoctypeDeclHandler(m_parser.get(), &_OnDoctype);
        XML_SetElementHandler(m_parser.get(), &_OnStart, &_OnEnd);
        XML_SetCharacterDataHandler(m_parser.get(), &_OnText);
    }

    void Parse(MFile& file) {
        bool last = false;
        while (!last) {
            void* const buffer = XML_GetBuffer(m_parser.get(), static_cast<int>(ChunkSize));
            if (buffer == nullptr) {
                throw std::bad_alloc();
            }
            auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(ChunkSize, file.BytesLeft()));
            if (file.Read(buffer, size) != size) {
                ThrowInvalid();
            }
            last = file.BytesLeft() == 0;
            if (XML_ParseBuffer(m_parser.get(), static_cast<int>(size), last) != XML_STATUS_OK) {
                if (m_failure) {
                    std::rethrow_exception(m_failure);
                }
                ThrowInvalid();
            }
        }
    }

private:
    // The parser is C code, through which no exception may pass: it is stopped, and thrown for later.
    template <typename Action>
    static void _Guard(void* data, Action const& action) {
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

    static void XMLCALL _OnDoctype(void* data, XML_Char const*, XML_Char const*, XML_Char const*, int) {
        _Guard(data, [](Parser&) { ThrowInvalid(); });
    }
    static void XMLCALL _OnStart(void* data, XML_Char const* name, XML_Char const** attributes) {
        _Guard(data, [&](Parser& self) { self._Start(name, attributes); });
    }
    static void XMLCALL _OnEnd(void* data, XML_Char const*) {
        _Guard(data, [](Parser& self) { self._End(); });
    }
    static void XMLCALL _OnText(void* data, XML_Char const* text, int size) {
        _Guard(data, [&](Parser& self) { self._Text({text, static_cast<std::size_t>(size)}); });
    }

    void _Start(XML_Char const* name, XML_Char const** attributes) {
        if (m_open.size() >= MaxDepth) {
            ThrowInvalid();
        }
        if (!m_open.empty() && m_open.back() + 1 == m_reader.m_tags.size()) {
            m_reader.m_text.resize(m_reader.m_tags.back().text_begin); // what stands between tags is nothing
        }
        std::size_t const text = m_reader.m_text.size();
        m_open.push_back(m_reader.m_tags.size());
        m_reader.m_tags.push_back({_Intern(name), m_reader.m_attributes.size(), text, text, 0});
        for (; *attributes != nullptr; attributes += 2) {
            m_reader.m_attributes.push_back({_Intern(attributes[0]), attributes[1]});
        }
    }

    void _End() {
        Tag& tag = m_reader.m_tags[m_open.back()];
        tag.end = m_reader.m_tags.size();
        tag.text_end = m_reader.m_text.size();
        m_open.pop_back();
    }

    void _Text(std::string_view text) {
        bool const has_tags = m_open.back() + 1 < m_reader.m_tags.size();
        if (!has_tags) {
            m_reader.m_text.append(text);
        }
    }

    std::size_t _Intern(XML_Char const* name) {
        auto const [entry, is_new] = m_names.try_emplace(name, m_reader.m_names.size());
        if (is_new) {
            m_reader.m_names.push_back(KetSAX::Detail::Unescape(name));
        }
        return entry->second;
    }

    struct FreeParser {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    MSAXTextReader& m_reader;
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser> m_parser;
    std::exception_ptr m_failure;
    std::vector<std::size_t> m_open; // the open tags, in m_tags
    std::unordered_map<std::string, std::size_t> m_names;
};

MSAXTextReader::MSAXTextReader(MFile& file) {
    Parser(*this).Parse(file);
    m_open.push_back({0, 0, m_tags.size()});
}

MSAXTextReader::~MSAXTextReader() = default;

void MSAXTextReader::Read(bool& value) {
    std::string_view const text = KetSAX::Detail::Trim(_Value());
    if (text != "true" && text != "false") {
        ThrowInvalid();
    }
    value = text == "true";
}

void MSAXTextReader::Read(std::int32_t& value) {
    value = KetSAX::Detail::ParseInteger<std::int32_t>(KetSAX::Detail::Trim(_Value()));
}

void MSAXTextReader::Read(std::uint32_t& value) {
    value = KetSAX::Detail::ParseInteger<std::uint32_t>(KetSAX::Detail::Trim(_Value()));
}

void MSAXTextReader::Read(std::int64_t& value) {
    value = KetSAX::Detail::ParseInteger<std::int64_t>(KetSAX::Detail::Trim(_Value()));
}

void MSAXTextReader::Read(std::uint64_t& value) {
    value = KetSAX::Detail::ParseInteger<std::uint64_t>(KetSAX::Detail::Trim(_Value()));
}

void MSAXTextReader::Read(double& value) {
    value = KetSAX::Detail::ParseDouble(KetSAX::Detail::Trim(_Value()));
}

void MSAXTextReader::Read(std::wstring& value) {
    value = KetSAX::Detail::Unescape(_Value());
}

void MSAXTextReader::ReadArray(std::vector<std::int32_t>& values) {
    _ReadArray(values);
}
void MSAXTextReader::ReadArray(std::vector<double>& values) {
    _ReadArray(values);
}

std::size_t MSAXTextReader::ReadPart(std::span<std::int32_t> values) {
    return _ReadPart(values);
}
std::size_t MSAXTextReader::ReadPart(std::span<double> values) {
    return _ReadPart(values);
}

template <typename Number>
void MSAXTextReader::_ReadArray(std::vector<Number>& values) {
    constexpr std::size_t piece = 1024;
    values.clear();
    m_part_begin = 0;
    for (std::size_t size = piece; size == piece;) {
        std::size_t const before = values.size();
        values.resize(before + piece);
        size = _ReadPart(std::span(values).subspan(before));
        values.resize(before + size);
    }
}

template <typename Number>
std::size_t MSAXTextReader::_ReadPart(std::span<Number> values) {
    constexpr std::string_view WhiteSpace = " \t\r\n";
    std::string_view const text = _Value();
    std::size_t count = 0;
    std::size_t begin = std::min(text.find_first_not_of(WhiteSpace, m_part_begin), text.size());
    for (; begin < text.size() && count < values.size(); ++count) {
        std::size_t const end = std::min(text.find_first_of(WhiteSpace, begin), text.size());
        std::string_view const number = text.substr(begin, end - begin);
        if constexpr (std::is_same_v<Number, double>) {
            values[count] = KetSAX::Detail::ParseDouble(number);
        } else {
            values[count] = KetSAX::Detail::ParseInteger<Number>(number);
        }
        begin = std::min(text.find_first_not_of(WhiteSpace, end), text.size());
    }
    m_part_begin = begin;
    return count;
}

bool MSAXTextReader::ReadAttribute(std::wstring const& name, std::wstring& value) {
    std::string const* const text = _FindAttribute(name);
    if (text != nullptr) {
        value = KetSAX::Detail::Unescape(*text);
    }
    return text != nullptr;
}

bool MSAXTextReader::ReadAttribute(std::wstring const& name, std::uint64_t& value) {
    std::string const* const text = _FindAttribute(name);
    if (text != nullptr) {
        value = KetSAX::Detail::ParseInteger<std::uint64_t>(KetSAX::Detail::Trim(*text));
    }
    return text != nullptr;
}

bool MSAXTextReader::_EnterTag(std::wstring& name) {
    OpenTag& open = m_open.back();
    if (open.next >= open.end) {
        return false;
    }
    std::size_t const entered = open.next;
    Tag const& tag = m_tags[entered];
    open.next = tag.end;
    m_open.push_back({entered, entered + 1, tag.end});
    m_part_begin = 0;
    name = m_names[tag.name];
    return true;
}

void MSAXTextReader::_LeaveTag() {
    m_open.pop_back();
}

// The open tag; outside of one there is nothing to read.
MSAXTextReader::Tag const& MSAXTextReader::_Current() const {
    if (m_open.size() < 2) {
        ThrowInvalid();
    }
    return m_tags[m_open.back().tag];
}

std::string_view MSAXTextReader::_Value() const {
    Tag const& tag = _Current();
    bool const has_tags = tag.end > m_open.back().tag + 1;
    if (has_tags) {
        ThrowInvalid();
    }
    return std::string_view(m_text).substr(tag.text_begin, tag.text_end - tag.text_begin);
}

std::string const* MSAXTextReader::_FindAttribute(std::wstring const& name) const {
    Tag const& tag = _Current();
    std::size_t const next = m_open.back().tag + 1;
    std::size_t const end = next < m_tags.size() ? m_tags[next].attributes : m_attributes.size();
    for (std::size_t i = tag.attributes; i < end; ++i) {
        if (m_names[m_attributes[i].name] == name) {
            return &m_attributes[i].value;
        }
    }
    return nullptr;
}
