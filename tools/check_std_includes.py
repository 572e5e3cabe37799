#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Checks that headers include what declares the names of the standard library that they use.

A header may leave that to one of this tree that it includes. It compiles by itself without, as long as some header
of the standard library happens to include another.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SOURCES = ("platform", "KetSDK")
# Names by the header that declares them; several headers where any of them does.
DECLARED_BY = {
    "algorithm": "all_of any_of copy copy_n equal fill find_if for_each lower_bound max min sort upper_bound",
    "array": "array",
    "atomic": "atomic",
    "bit": "bit_cast bit_width countr_zero endian popcount",
    "charconv": "from_chars to_chars",
    "chrono": "chrono",
    "cmath": "fabs isfinite isnan sqrt",
    "concepts": "convertible_to integral invocable same_as",
    "cstddef": "byte ptrdiff_t size_t",
    "cstdint": "int16_t int32_t int64_t int8_t uint16_t uint32_t uint64_t uint8_t uintptr_t",
    "cstring": "memcmp memcpy memset",
    "deque": "deque",
    "exception": "current_exception exception exception_ptr rethrow_exception",
    "filesystem": "filesystem",
    "functional": "function hash less",
    "initializer_list": "initializer_list",
    "iosfwd istream iostream fstream sstream": "istream",
    "iosfwd ostream iostream fstream sstream": "ostream",
    "iterator": "back_inserter bidirectional_iterator_tag forward_iterator_tag random_access_iterator_tag",
    "limits": "numeric_limits",
    "list": "list",
    "map": "map multimap",
    "memory": "enable_shared_from_this make_shared make_unique shared_ptr unique_ptr weak_ptr",
    "mutex": "lock_guard mutex scoped_lock unique_lock",
    "new": "align_val_t bad_alloc",
    "numeric": "accumulate iota",
    "optional": "nullopt nullopt_t optional",
    "set": "multiset set",
    "span": "span",
    "sstream": "istringstream ostringstream stringstream",
    "stdexcept": "invalid_argument length_error logic_error out_of_range runtime_error",
    "string": "string to_string wstring",
    "string_view": "string_view wstring_view",
    "thread": "jthread thread",
    "tuple": "tie tuple",
    "type_traits": "conditional_t decay_t enable_if_t false_type is_const_v is_same_v remove_cvref_t true_type",
    "unordered_map": "unordered_map",
    "unordered_set": "unordered_set",
    "utility": "as_const exchange forward move pair swap",
    "variant": "get_if holds_alternative variant visit",
    "vector": "vector",
}
HEADERS_OF = {name: headers.split() for headers, names in DECLARED_BY.items() for name in names.split()}
WITHOUT = re.compile(r'//.*|"(?:\\.|[^"\\\n])*"')


class Headers:
    def __init__(self):
        self.text = {
            p.relative_to(ROOT / ("platform" if folder == "platform" else "")).as_posix(): p.read_text()
            for folder in SOURCES
            for p in (ROOT / folder).rglob("*.h")
        }
        self._included = {}

    def included(self, header):
        """All that a header includes, directly or by way of others of this tree."""
        if header not in self._included:
            found = self._included[header] = set()
            for name in re.findall(r"^#include <([^>]+)>", self.text[header], re.M):
                found.add(name)
                if name in self.text:
                    found |= self.included(name)
        return self._included[header]

    def missing(self, header):
        names = set(re.findall(r"\bstd::(\w+)", WITHOUT.sub("", self.text[header])))
        for name in sorted(names & HEADERS_OF.keys()):
            if not self.included(header) & set(HEADERS_OF[name]):
                yield f"{header} uses std::{name}: include <{HEADERS_OF[name][0]}>"


def main():
    headers = Headers()
    found = [line for header in sorted(headers.text) for line in headers.missing(header)]
    print("\n".join(found) if found else f"{len(headers.text)} headers include what they use")
    return 1 if found else 0


sys.exit(main())
