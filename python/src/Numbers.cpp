// SPDX-License-Identifier: BSD-3-Clause
#include "Numbers.h"

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <tuple>
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

// Owns the vector for as long as an array shows it.
template <typename T>
py::capsule Owner(std::unique_ptr<std::vector<T>> values) {
    return py::capsule(values.release(), [](void* p) { delete static_cast<std::vector<T>*>(p); });
}

// 64-bit integers: in 32 bits where all fit, else as halves, the lower one first.
template <typename T>
void TakeWide(T const* first, T const* last, MMeshArray& out) {
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

// The values in the type that the library keeps them in, in one pass where they lie in C order.
template <typename T>
void TakeValues(py::array const& array, MMeshArray& out) {
    auto const values = py::array_t<T, py::array::c_style | py::array::forcecast>(array);
    T const* const first = values.data();
    T const* const last = first + values.size();
    py::gil_scoped_release const released;
    if constexpr (std::is_floating_point_v<T>)
        out.values = std::vector<double>(first, last);
    else if constexpr (std::numeric_limits<T>::digits < 32)
        out.values = std::vector<std::int32_t>(first, last);
    else
        TakeWide(first, last, out);
}

// The same for the type that the array has.
void TakeNumbers(py::array const& array, MMeshArray& out) {
    char const kind = array.dtype().kind();
    auto const take = [&]<typename T>(T) {
        if (py::isinstance<py::array_t<T>>(array))
            TakeValues<T>(array, out);
        return py::isinstance<py::array_t<T>>(array);
    };
    bool const taken = std::apply(
        [&](auto... types) { return (take(types) || ...); },
        std::tuple<double, float, std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t>{});
    if (taken)
        return;
    if (kind == 'f')
        TakeValues<double>(array, out);
    else if (kind == 'i')
        TakeValues<std::int64_t>(array, out);
    else
        TakeValues<std::uint64_t>(array, out);
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

// Values as the library keeps them, in the type that they have for users: without a copy where both are one.
template <typename T, typename Kept>
py::array GiveAs(std::vector<Kept>&& values, std::uint32_t components) {
    std::size_t const columns = components > 1 ? components : 0;
    if constexpr (std::is_same_v<T, Kept>) {
        return GiveArray(std::move(values), columns);
    } else {
        std::vector<T> converted(values.size());
        {
            py::gil_scoped_release const released;
            std::ranges::transform(values, converted.begin(), [](Kept v) { return static_cast<T>(v); });
        }
        return GiveArray(std::move(converted), columns);
    }
}

py::array GiveWhole(std::vector<std::int32_t>&& values, std::uint32_t components, std::string const& dtype) {
    auto const give = [&]<typename T>(T) { return GiveAs<T>(std::move(values), components); };
    if (dtype == "int8")
        return give(std::int8_t{});
    if (dtype == "uint8")
        return give(std::uint8_t{});
    if (dtype == "int16")
        return give(std::int16_t{});
    if (dtype == "uint16")
        return give(std::uint16_t{});
    if (dtype == "uint32")
        return give(std::uint32_t{});
    if (dtype == "int64")
        return give(std::int64_t{});
    if (dtype == "uint64")
        return give(std::uint64_t{});
    return give(std::int32_t{});
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
template py::array_t<std::uint8_t> GiveArray(std::vector<std::uint8_t>&&, std::size_t);
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
    if (auto* const doubles = std::get_if<std::vector<double>>(&array.values))
        return dtype == "float32" ? GiveAs<float>(std::move(*doubles), array.components)
                                  : GiveAs<double>(std::move(*doubles), array.components);
    auto& numbers = std::get<std::vector<std::int32_t>>(array.values);
    if (!HoldsHalves(array))
        return GiveWhole(std::move(numbers), array.components, dtype);
    std::vector<std::int64_t> wide(numbers.size() / 2);
    for (std::size_t i = 0; i < wide.size(); ++i)
        wide[i] = Whole(numbers[2 * i], numbers[2 * i + 1]);
    if (dtype == "uint32")
        return GiveAs<std::uint32_t>(std::move(wide), array.components / 2);
    return dtype == "uint64" ? GiveAs<std::uint64_t>(std::move(wide), array.components / 2)
                             : GiveAs<std::int64_t>(std::move(wide), array.components / 2);
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
    if (kind == 'f')
        out.type = bits == 32 ? L"float32" : L"float64";
    else if (kind == 'b')
        out.type = L"uint8";
    else if (kind == 'i' || kind == 'u')
        out.type = (kind == 'u' ? L"uint" : L"int") + std::to_wstring(bits);
    else
        throw py::type_error("\"" + name + "\" must hold numbers, not " +
                             std::string(py::str(array.dtype())));
    TakeNumbers(kind == 'b' ? py::array(array.attr("view")("uint8")) : array, out);
    return out;
}

} // namespace ketmesh
