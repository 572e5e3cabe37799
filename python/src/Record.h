// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Copies.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>

namespace ketmesh {

namespace py = pybind11;

// A plain struct as a class of Python: its members are attributes that cannot be set, `repr` shows them, and
// `as_dict()` gives them by name. From a pickle comes an object of Python with the same attributes.
template <typename T>
class Record {
public:
    Record(py::module_& module, char const* name, char const* doc)
        : m_class(module, name, doc) {
        m_class.def("__repr__", [](py::object const& self) { return Show(self); });
        m_class.def(
            "as_dict", [](py::object const& self) { return Dict(self); }, "The attributes by name.");
        CopyIsItself(m_class);
        m_class.def("__reduce__", [](py::object const& self) {
            auto const kept = py::module_::import("ketmesh._kept").attr("kept");
            return py::make_tuple(kept, py::make_tuple(py::type::of(self).attr("__name__"), Dict(self)));
        });
    }
    ~Record() { m_class.attr("_fields") = py::tuple(m_fields); }
    Record(Record const&) = delete;
    Record& operator=(Record const&) = delete;

    // A member, a member function without arguments, or a function of the struct.
    template <typename Member>
    Record& Field(char const* name, Member member, char const* doc) {
        if constexpr (std::is_member_object_pointer_v<Member>)
            m_class.def_readonly(name, member, doc);
        else
            m_class.def_property_readonly(name, member, doc);
        m_fields.append(name);
        return *this;
    }

private:
    static py::dict Dict(py::object const& self) {
        py::dict dict;
        for (py::handle const name : self.attr("_fields"))
            dict[name] = self.attr(name);
        return dict;
    }
    static std::string Show(py::object const& self) {
        std::string text = py::str(py::type::of(self).attr("__name__"));
        char const* before = "(";
        for (py::handle const name : self.attr("_fields")) {
            text += before + std::string(py::str(name)) + "=" + std::string(py::repr(self.attr(name)));
            before = ", ";
        }
        return text + ")";
    }

    py::class_<T> m_class;
    py::list m_fields;
};

// Metrics, presets and limits, by name.
void AddTables(py::module_& module);
// The structs that jobs report in.
void AddReports(py::module_& module);
// Models and surfaces: reading, writing, arrays.
void AddModels(py::module_& module);
// Images: the same.
void AddImages(py::module_& module);
// A function for each job.
void AddJobs(py::module_& module);
void AddSolverJobs(py::module_& module);

} // namespace ketmesh
