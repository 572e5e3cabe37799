// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <host/terminal/CommandLine.h>
#include <host/terminal/ExitStatus.h>
#include <host/terminal/Output.h>

#include <chrono>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace ketmesh {

// A subcommand. It declares its options, makes those of a job of them, runs the job, and shows the result.
// What all commands have in common is done here: the report as JSON or for people, the names of the files
// that were read and written, warnings, progress, cancellation, threads, and what time and memory it took.
class Command {
public:
    using Progress = std::shared_ptr<KetSDK::Common::IProgressDelegate>;

    virtual ~Command() = default;
    // Declares the subcommand and its options in the application's command line.
    void Declare(CLI::App& app);
    // Does the work and prints results to standard output; returns an exit status. Throws
    // KetSDK::MeshJobs::Error or another exception for what failed.
    int Run(Progress const& progress);
    // Whether standard output is one JSON object.
    bool IsJson() const noexcept { return m_json; }
    // What there is of a report when the command has failed: the error, inputs and warnings.
    Json ReportError(std::string const& line) const;

    // To be called by the options that name files: those that are read, when they are declared (a name that
    // stays empty is left out), and that the command writes files at all.
    void DeclareInput(std::string const& name) { m_inputs.push_back(&name); }
    void DeclareOutput() { m_has_outputs = true; }
    // A file that was written.
    void AddFile(std::string const& name) { m_files.push_back(name); }

protected:
    // The texts of the help; `footer` may hold several lines.
    Command(char const* name, char const* description, char const* footer)
        : m_name(name)
        , m_description(description)
        , m_footer(footer) {}

    virtual void DeclareOptions(CLI::App& command) = 0;
    // Prints what answers a question, with what all reports have.
    void PrintAnswer(Json answer) const;
    // Answers a question about the program itself, such as --list, which needs no files; false when none was
    // asked.
    virtual bool Answer() { return false; }
    // Reads, runs the job, writes; keeps the result. Throws KetSDK::MeshJobs::Error.
    virtual void Work(KetSDK::MeshJobs::Context const& context) = 0;
    // The result for programs, without what all reports have (inputs, warnings, files) ...
    virtual Json Report() const = 0;
    // ... and for people, without the names of the files that were written ...
    virtual void Print(std::ostream& out) const = 0;
    // ... unless that text is about these files anyway.
    virtual bool NamesFiles() const { return false; }
    // Says on standard error which check that the user asked for did not hold, and returns the exit status.
    virtual int Check() const { return Done; }

private:
    KetSDK::MeshJobs::Context MakeContext(Progress const& progress);
    // What all reports have.
    void AddSurroundings(Json& report) const;
    // Seconds since the beginning that were spent on neither reading nor writing.
    double SecondsOfWork() const;
    // What --timing asks for.
    void AddTiming(Json& report) const;
    std::string TimingText() const;
    std::string ObjectText() const;
    std::string Text() const;

    char const* m_name;
    char const* m_description;
    char const* m_footer;
    std::vector<std::string const*> m_inputs;
    std::vector<std::string> m_files;
    std::vector<std::string> m_warnings;
    std::vector<KetSDK::MeshJobs::TurnedInput> m_turned;
    std::string m_cancelled; // what a cancelled run prints
    int m_threads = 0;       // 0: as many as there are cores
    bool m_timing = false;
    std::chrono::steady_clock::time_point m_start;
    KetSDK::MeshJobs::FileTimes m_times;
    bool m_has_outputs = false;
    bool m_json = false;
    bool m_all_rows = false;
};

} // namespace ketmesh
