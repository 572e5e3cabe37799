#include "Numbers.h"

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <memory>
#include <type_traits>
#include <utility>

namespace ketmesh {

namespace {

std::string Shape(py::array const& array) {
    return py::str(array.attr("shape"));
}

void SetReadOnly(py::array& array) {
    array.attr("flags").attr("writeable") = false;
}

// The array in another type.
py::array As(std::string const& dtype, py::array const& array) {
    py::array converted = array.attr("astype")(dtype);
    SetReadOnly(converted);
    return converted;
}

// Owns the vector for as long as an array shows it.
template <typename T>
py::capsule Owner(std::unique_ptr<std::vector<T>> values) {
    return py::capsule(values.release(), [](void* p) { delete static_cast<std::vector<T>*>(p); });
}

// Numbers in the type that the library keeps them in.
template <typename T, typename Kept>
std::vector<Kept> Converted(py::array const& array) {
    auto const values = py::array_t<T, py::array::c_style | py::array::forcecast>(array);
    return std::vector<Kept>(values.data(), values.data() + values.size());
}

// 64-bit integers: in 32 bits where all fit, else as halves, the lower one first.
template <typename T>
void TakeWide(py::array const& array, MMeshArray& out) {
    auto const values = py::array_t<T, py::array::c_style | py::array::forcecast>(array);
    T const* const first = values.data();
    T const* const last = first + values.size();
    if (std::all_of(first, last, [](T v) { return std::in_range<std::int32_t>(v); })) {
        out.values = std::vector<std::int32_t>(first, last);
        return;
    }
    auto& halves = out.values.emplace<std::vector<std::int32_t>>();
    for (T const* v = first; v != last; ++v) {
        auto const bits = static_cast<std::uint64_t>(*v);
        halves.push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits)));
        halves.push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits >> 32)));
    }
    out.components *= 2;
    out.type += std::wstring(L" ") + MMeshArrayHalves;
}

std::int64_t Whole(std::int32_t low, std::int32_t high) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 |
                                     static_cast<std::uint32_t>(low));
}

// The type of NumPy that an array of this type has; empty for those that it has no name for.
std::string DtypeOf(std::wstring const& word) {
    if (word == L"id" || word == L"long" || word == L"long_long")
        return "int64";
    if (word == L"unsigned_long" || word == L"unsigned_long_long")
        return "uint64";
    if (word == L"bit")
        return "uint8";
    if (word == L"char")
        return "int8";
    return KetSDK::MeshVTK::ToUtf8(word);
}

template <typename T>
py::array GiveRows(std::vector<T>&& values, std::uint32_t components) {
    return GiveArray(std::move(values), components > 1 ? components : 0);
}

} // namespace

template <typename T>
py::array_t<T> GiveArray(std::vector<T>&& values, std::size_t columns) {
    auto kept = std::make_unique<std::vector<T>>(std::move(values));
    T* const data = kept->data();
    std::size_t const size = kept->size();
    std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(columns == 0 ? size : size / columns)};
    if (columns != 0)
        shape.push_back(static_cast<py::ssize_t>(columns));
    py::array_t<T> array(shape, data, Owner(std::move(kept)));
    SetReadOnly(array);
    return array;
}
template py::array_t<double> GiveArray(std::vector<double>&&, std::size_t);
template py::array_t<std::int32_t> GiveArray(std::vector<std::int32_t>&&, std::size_t);
template py::array_t<std::int64_t> GiveArray(std::vector<std::int64_t>&&, std::size_t);

namespace {

// The array with two dimensions and that many columns, in C order.
template <typename T>
py::array_t<T> TakeRows(py::handle object, char const* name, std::size_t columns, char const* kinds) {
    auto const array = py::array::ensure(object);
    if (!array || std::string(kinds).find(array.dtype().kind()) == std::string::npos)
        throw py::type_error(std::string(name) + " must be an array of " +
                             (std::is_floating_point_v<T> ? "numbers" : "whole numbers"));
    if (array.ndim() != 2 || static_cast<std::size_t>(array.shape(1)) != columns)
        throw py::value_error(std::string(name) + " must have the shape (n, " + std::to_string(columns) +
                              "), not " + Shape(array));
    return py::array_t<T, py::array::c_style | py::array::forcecast>(array);
}

} // namespace

py::array_t<double> TakePoints(py::handle array, char const* name) {
    return TakeRows<double>(array, name, 3, "fiu");
}

py::array_t<std::int64_t> TakeIndices(py::handle array, char const* name, std::size_t columns) {
    return TakeRows<std::int64_t>(array, name, columns, "iu");
}

py::array ToNumpy(MMeshArray&& array) {
    std::string const dtype = DtypeOf(WordsOfType(array).front());
    if (auto* const doubles = std::get_if<std::vector<double>>(&array.values)) {
        py::array const given = GiveRows(std::move(*doubles), array.components);
        return dtype == "float32" ? As(dtype, given) : given;
    }
    auto& numbers = std::get<std::vector<std::int32_t>>(array.values);
    if (!HoldsHalves(array)) {
        py::array const given = GiveRows(std::move(numbers), array.components);
        return dtype.empty() || dtype == "int32" ? given : As(dtype, given);
    }
    std::vector<std::int64_t> wide(numbers.size() / 2);
    for (std::size_t i = 0; i < wide.size(); ++i)
        wide[i] = Whole(numbers[2 * i], numbers[2 * i + 1]);
    py::array const given = GiveRows(std::move(wide), array.components / 2);
    return dtype == "uint64" ? As(dtype, given) : given;
}

MMeshArray FromNumpy(py::handle object, std::string const& name, MMeshArray::Place place, std::size_t rows) {
    auto const array = py::array::ensure(object);
    if (!array)
        throw py::type_error("the values of \"" + name + "\" are no array");
    if (array.ndim() < 1 || array.ndim() > 2 || static_cast<std::size_t>(array.shape(0)) != rows)
        throw py::value_error("\"" + name + "\" must have " + std::to_string(rows) +
                              " rows, and its shape is " + Shape(array));
    MMeshArray out;
    out.name = KetSDK::MeshVTK::FromUtf8(name);
    out.place = place;
    out.components = array.ndim() == 2 ? static_cast<std::uint32_t>(array.shape(1)) : 1;
    char const kind = array.dtype().kind();
    auto const bits = 8 * array.itemsize();
    if (kind == 'f') {
        out.type = bits == 32 ? L"float32" : L"float64";
        out.values = Converted<double, double>(array);
    } else if (kind == 'b') {
        out.type = L"uint8";
        out.values = Converted<std::uint8_t, std::int32_t>(array);
    } else if (kind == 'i' || kind == 'u') {
        out.type = (kind == 'u' ? L"uint" : L"int") + std::to_wstring(bits);
        kind == 'u' ? TakeWide<std::uint64_t>(array, out) : TakeWide<std::int64_t>(array, out);
    } else {
        throw py::type_error("\"" + name + "\" must hold numbers, not " +
                             std::string(py::str(array.dtype())));
    }
    return out;
}

} // namespace ketmesh
