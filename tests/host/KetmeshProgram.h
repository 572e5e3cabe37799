// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "TestFiles.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>

#include <vtkCellData.h>
#include <vtkMath.h>
#include <vtkNew.h>
#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>
#include <vtkXMLUnstructuredGridReader.h>
#include <vtkXMLUnstructuredGridWriter.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace fs = std::filesystem;
using Json = nlohmann::json;

inline std::string const Data = KETSDK_DATA_DIR "/";
inline std::string const Head = Data + "head_small_tet4.vtu";

// The first component of a cell array.
inline std::vector<double> CellValues(vtkDataSet& data, char const* name) {
    std::vector<double> values;
    vtkDataArray* const array = data.GetCellData()->GetArray(name);
    EXPECT_NE(array, nullptr) << name;
    for (vtkIdType i = 0; array && i < array->GetNumberOfTuples(); ++i)
        values.push_back(array->GetComponent(i, 0));
    return values;
}

inline double Distance(double const* a, double const* b) {
    return std::sqrt(vtkMath::Distance2BetweenPoints(a, b));
}

struct Result {
    int status = -1; // exit status, or -1 when the program was killed
    std::string out;
    std::string err;
};

// Runs the program in a folder of its own.
class Ketmesh : public ::testing::Test {
protected:
    Ketmesh() { fs::create_directory(m_folder / "out"); }

    // Starts the program with standard output and error going to files, unless `prepare`, which its process
    // calls first, leads them elsewhere.
    pid_t Start(
        std::vector<std::string> arguments, std::function<void()> const& prepare = [] {}) const {
        arguments.insert(arguments.begin(), "ketmesh");
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        std::string const out = (m_folder / "stdout").string();
        std::string const err = (m_folder / "stderr").string();
        pid_t const child = ::fork();
        if (child == 0) {
            ::dup2(::open(out.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600), STDOUT_FILENO);
            ::dup2(::open(err.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600), STDERR_FILENO);
            prepare();
            ::execv(KETMESH_PROGRAM, argv.data());
            ::_exit(127);
        }
        return child;
    }
    // Tells the kernel to send the calling process, and the program that it becomes, a signal as soon as
    // something happens in a folder, which no speed can change: DN_ACCESS when a file there is read,
    // DN_CREATE, DN_MODIFY, DN_RENAME.
    static void SignalAt(fs::path const& folder, unsigned long event, int signal) {
        int const file = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
        ::fcntl(file, F_SETSIG, signal);
        ::fcntl(file, F_SETOWN, ::getpid());
        if (::fcntl(file, F_NOTIFY, event) != 0)
            ::_exit(126);
    }
    Result Finish(pid_t child) const {
        int status = 0;
        ::waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Content(m_folder / "stdout"),
                Content(m_folder / "stderr")};
    }
    Result Run(std::vector<std::string> const& arguments) const { return Finish(Start(arguments)); }
    Json RunJson(std::vector<std::string> arguments) const {
        arguments.push_back("--json");
        Result const result = Run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return Json::parse(result.out, nullptr, false);
    }

    // One line that says why, for programs too, and nothing written.
    void ExpectRefused(std::vector<std::string> arguments, std::string const& reason) const {
        SCOPED_TRACE(reason);
        arguments.push_back("--json");
        Result const result = Run(arguments);
        EXPECT_EQ(result.status, 1);
        Json const report = Json::parse(result.out, nullptr, false);
        EXPECT_EQ("ketmesh: " + report.value("error", "") + "\n", result.err);
        EXPECT_TRUE(report["inputs"].is_array() && report["warnings"].is_array()) << report;
        EXPECT_TRUE(result.err.starts_with("ketmesh: ")) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
        EXPECT_TRUE(Outputs().empty());
    }

    // The words of a command line: TET4 and its like are the sample meshes, what has the ending of a file
    // lies in the folder of this run, and ~ is a space.
    std::vector<std::string> Words(std::string const& line) const {
        static std::map<std::string, std::string> const samples = {{"TET4", Head},
                                                                   {"TET10", Data + "head_small_tet10.vtu"},
                                                                   {"HEX8", Data + "hex_matrix_fiber.vtu"},
                                                                   {"WEDGE6", Data + "wedge_beam14.vtu"},
                                                                   {"CT", Data + "head_ct.nii.gz"}};
        std::vector<std::string> words;
        std::istringstream stream(line);
        for (std::string word; stream >> word;) {
            std::ranges::replace(word, '~', ' ');
            std::string const ending = fs::path(word).extension().string();
            bool const is_file =
                ending.size() > 1 && std::isalpha(static_cast<unsigned char>(ending[1])) != 0;
            words.push_back(samples.contains(word) ? samples.at(word) : is_file ? Path(word) : word);
        }
        return words;
    }
    std::string Path(std::string const& name) const { return (m_folder / name).string(); }
    std::vector<std::string> Outputs() const {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(m_folder / "out"))
            names.push_back(entry.path().filename().string());
        return names;
    }

    MTemporaryDirectory const m_owner;
    fs::path const m_folder = m_owner.GetPath().GetPath();
};

template <typename Reader>
auto ReadFile(std::string const& path) {
    vtkNew<Reader> reader;
    reader->SetFileName(path.c_str());
    reader->Update();
    return vtkSmartPointer(reader->GetOutput());
}

inline vtkSmartPointer<vtkUnstructuredGrid> ReadGrid(std::string const& name) {
    return ReadFile<vtkXMLUnstructuredGridReader>(Data + name);
}

template <typename Writer = vtkXMLUnstructuredGridWriter>
void WriteGrid(std::string const& path, vtkUnstructuredGrid& grid, int mode = vtkXMLWriter::Appended) {
    vtkNew<Writer> writer;
    if constexpr (std::is_same_v<Writer, vtkXMLUnstructuredGridWriter>)
        writer->SetDataMode(mode);
    else
        writer->SetFileType(mode);
    writer->SetFileName(path.c_str());
    writer->SetInputData(&grid);
    writer->Write();
}
