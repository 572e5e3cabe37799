// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/ArrayDescription.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkDataArray.h>
#include <vtkInformation.h>
#include <vtkInformationDoubleKey.h>
#include <vtkInformationDoubleVectorKey.h>
#include <vtkInformationIdTypeKey.h>
#include <vtkInformationIntegerKey.h>
#include <vtkInformationIntegerVectorKey.h>
#include <vtkInformationIterator.h>
#include <vtkInformationKeyLookup.h>
#include <vtkInformationStringKey.h>
#include <vtkInformationStringVectorKey.h>
#include <vtkInformationUnsignedLongKey.h>
#include <vtkNew.h>

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// --- Text in words --------------------------------------------------------------------------------------

bool IsPlain(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '.' || c == '_';
}

std::string Escaped(std::string_view text) {
    constexpr char const* digits = "0123456789ABCDEF";
    std::string word;
    for (char const c : text) {
        if (IsPlain(c)) {
            word += c;
        } else {
            auto const byte = static_cast<unsigned char>(c);
            word += {'%', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return word;
}

std::string Unescaped(std::string_view word) {
    std::string text;
    for (std::size_t i = 0; i < word.size(); ++i) {
        unsigned char byte = 0;
        if (word[i] == '%' && i + 2 < word.size() &&
            std::from_chars(word.data() + i + 1, word.data() + i + 3, byte, 16).ec == std::errc()) {
            text += static_cast<char>(byte);
            i += 2;
        } else {
            text += word[i];
        }
    }
    return text;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t at = 0;;) {
        std::size_t const end = std::min(text.find(separator, at), text.size());
        pieces.push_back(text.substr(at, end - at));
        if (end == text.size())
            return pieces;
        at = end + 1;
    }
}

template <std::integral T>
std::string ToText(T value) {
    return std::to_string(value);
}
std::string ToText(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof(text), value).ptr};
}
std::string ToText(char const* value) {
    return Escaped(value ? value : "");
}

template <typename T>
std::optional<T> FromText(std::string_view text) {
    if constexpr (std::same_as<T, std::string>) {
        return Unescaped(text);
    } else {
        T value{};
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size())
            return std::nullopt;
        return value;
    }
}

// --- Entries of an array's information -------------------------------------------------------------------

// A kind of key: what it is called in a word, its values of an information as text, and the way back.
struct KeyKind {
    char const* name;
    std::optional<std::string> (*get)(vtkInformationKey& key, vtkInformation& information);
    void (*set)(vtkInformationKey& key, vtkInformation& information,
                std::vector<std::string_view> const& values);
};

template <typename Key>
Key* As(vtkInformationKey& key) {
    return dynamic_cast<Key*>(&key);
}

// Keys of one value of type T.
template <typename Key, typename T>
constexpr KeyKind KindOfValue(char const* name) {
    return {
        name,
        [](vtkInformationKey& key, vtkInformation& information) -> std::optional<std::string> {
            Key* const typed = As<Key>(key);
            return typed ? std::optional(ToText(typed->Get(&information))) : std::nullopt;
        },
        [](vtkInformationKey& key, vtkInformation& information, std::vector<std::string_view> const& values) {
            Key* const typed = As<Key>(key);
            if (auto const value = FromText<T>(values.front()); typed && value && values.size() == 1)
                typed->Set(&information, *value);
        }};
}

// Keys of a list of values of type T.
template <typename Key, typename T>
constexpr KeyKind KindOfList(char const* name) {
    return {
        name,
        [](vtkInformationKey& key, vtkInformation& information) -> std::optional<std::string> {
            Key* const typed = As<Key>(key);
            if (!typed)
                return std::nullopt;
            std::string text;
            for (int i = 0; i < typed->Length(&information); ++i)
                text += (i > 0 ? "," : "") + ToText(typed->Get(&information, i));
            return text;
        },
        [](vtkInformationKey& key, vtkInformation& information, std::vector<std::string_view> const& values) {
            Key* const typed = As<Key>(key);
            std::vector<T> list;
            for (std::string_view const text : values)
                if (auto const value = FromText<T>(text))
                    list.push_back(*value);
            if (!typed || list.size() != values.size())
                return;
            if constexpr (std::same_as<T, std::string>)
                for (std::string const& value : list)
                    typed->Append(&information, value.c_str());
            else // which refuses another length than the key asks for
                typed->Set(&information, list.data(), static_cast<int>(list.size()));
        }};
}

constexpr KeyKind KeyKinds[] = {
    KindOfValue<vtkInformationIntegerKey, int>("int"),
    KindOfValue<vtkInformationIdTypeKey, vtkIdType>("id"),
    KindOfValue<vtkInformationUnsignedLongKey, unsigned long>("unsigned_long"),
    KindOfValue<vtkInformationDoubleKey, double>("double"),
    KindOfValue<vtkInformationStringKey, std::string>("string"),
    KindOfList<vtkInformationIntegerVectorKey, int>("ints"),
    KindOfList<vtkInformationDoubleVectorKey, double>("doubles"),
    KindOfList<vtkInformationStringVectorKey, std::string>("strings"),
};

// The ranges of the lengths of rows that VTK has computed stand in the information too. They come from the
// values, so they are computed again: the array may have other rows by then.
constexpr char const* RangeWord = "range";
constexpr char const* FiniteRangeWord = "finite_range";

bool IsRange(vtkInformationKey const* key) {
    return key == vtkDataArray::L2_NORM_RANGE() || key == vtkDataArray::L2_NORM_FINITE_RANGE();
}

// The entry as a word; nothing for a key that VTK's files do not hold.
std::optional<std::string> DescribeKey(vtkInformationKey& key, vtkInformation& information) {
    if (IsRange(&key))
        return &key == vtkDataArray::L2_NORM_RANGE() ? RangeWord : FiniteRangeWord;
    for (KeyKind const& kind : KeyKinds)
        if (auto const values = kind.get(key, information))
            return "key:" + Escaped(key.GetLocation()) + ':' + Escaped(key.GetName()) + ':' + kind.name +
                   '=' + *values;
    return std::nullopt;
}

void ApplyRange(std::string_view word, vtkAbstractArray& target) {
    auto* const numbers = vtkDataArray::SafeDownCast(&target);
    double range[2];
    if (numbers && word == RangeWord)
        numbers->GetRange(range, -1);
    else if (numbers && word == FiniteRangeWord)
        numbers->GetFiniteRange(range, -1);
}

// `names` are location, name and kind.
void ApplyKey(std::vector<std::string_view> const& names, std::string_view values, vtkAbstractArray& target) {
    vtkInformationKey* const key = vtkInformationKeyLookup::Find(Unescaped(names[1]), Unescaped(names[0]));
    for (KeyKind const& kind : KeyKinds)
        if (key && !IsRange(key) && names[2] == kind.name)
            kind.set(*key, *target.GetInformation(), Split(values, ','));
}

// Applies a word that has a value.
void ApplyWord(std::string const& word, vtkAbstractArray& target) {
    std::size_t const end = word.find('=');
    if (end == std::string::npos)
        return;
    std::string_view const value = std::string_view(word).substr(end + 1);
    std::vector<std::string_view> const names = Split(std::string_view(word).substr(0, end), ':');
    if (names.front() == "name" && names.size() == 1) {
        target.SetName(Unescaped(value).c_str());
    } else if (names.front() == "component" && names.size() == 2) {
        if (auto const index = FromText<int>(names[1]);
            index && *index >= 0 && *index < target.GetNumberOfComponents())
            target.SetComponentName(*index, Unescaped(value).c_str());
    } else if (names.front() == "key" && names.size() == 4) {
        ApplyKey({names.begin() + 1, names.end()}, value, target);
    }
}

} // namespace

void AddWord(MMeshArray& array, std::wstring_view word) {
    array.type += L' ';
    array.type += word;
}

void DescribeArray(vtkAbstractArray& source, MMeshArray& array) {
    if (char const* const name = source.GetName(); name && (*name == '\0' || ToUtf8(array.name) != name))
        AddWord(array, FromUtf8("name=" + Escaped(name)));
    for (int i = 0; source.HasAComponentName() && i < source.GetNumberOfComponents(); ++i)
        if (char const* const name = source.GetComponentName(i))
            AddWord(array, FromUtf8("component:" + std::to_string(i) + '=' + Escaped(name)));
    if (!source.HasInformation())
        return;
    vtkNew<vtkInformationIterator> entry;
    entry->SetInformationWeak(source.GetInformation());
    for (entry->InitTraversal(); !entry->IsDoneWithTraversal(); entry->GoToNextItem())
        if (auto const word = DescribeKey(*entry->GetCurrentKey(), *source.GetInformation()))
            AddWord(array, FromUtf8(*word));
}

void ApplyDescription(MMeshArray const& array, vtkAbstractArray& target) {
    std::vector<std::wstring> const words = WordsOfType(array);
    if (!array.name.empty())
        target.SetName(ToUtf8(array.name).c_str());
    for (std::wstring const& word : words)
        ApplyWord(ToUtf8(word), target);
    for (std::wstring const& word : words) // which a new name makes VTK forget
        ApplyRange(ToUtf8(word), target);
}

} // namespace KetSDK::MeshVTK::Detail
