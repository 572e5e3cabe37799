// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// What the program uses of CLI11, which reads its command line.
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
