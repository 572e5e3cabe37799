// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/CalculiX.h>

#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace KetSDK::MeshSolver {

namespace {

using Clock = std::chrono::steady_clock;
using Detail::LineFile;
using Detail::Trimmed;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A running program, which is ended when the object dies before it.
class Process {
public:
    // Throws Error when the program cannot be started.
    Process(CalculiXOptions const& options, std::filesystem::path const& log) {
        std::string const job = options.job;
        std::vector<std::string> texts = Environment(options.threads);
        std::vector<char*> environment;
        environment.reserve(texts.size() + 1);
        for (std::string& text : texts)
            environment.push_back(text.data());
        environment.push_back(nullptr);
        std::array<char*, 3> arguments = {const_cast<char*>(options.program.c_str()),
                                          const_cast<char*>(job.c_str()), nullptr};
        int const parent = ::getpid();
        m_id = ::fork();
        if (m_id < 0)
            throw Error("CalculiX cannot be started: " + std::generic_category().message(errno));
        if (m_id != 0)
            return;
        // In the child: only what is safe between fork and exec. It ends with its parent, and a Ctrl-C in the
        // terminal, which the parent takes, does not reach it.
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        int const output = ::open(log.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0666);
        int const input = ::open("/dev/null", O_RDONLY);
        bool const is_ready = output >= 0 && input >= 0 && ::dup2(input, 0) >= 0 && ::dup2(output, 1) >= 0 &&
                              ::dup2(output, 2) >= 0 && ::chdir(options.folder.c_str()) == 0 &&
                              ::getppid() == parent;
        if (is_ready)
            ::execve(options.program.c_str(), arguments.data(), environment.data());
        ::_exit(CannotStart);
    }
    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;
    ~Process() {
        if (m_id > 0)
            End();
    }

    static constexpr int CannotStart = 127;

    // Whether it has ended; the status is that of waitpid then. Throws Error when there is none to be had:
    // where this process ignores SIGCHLD, or takes the status of every child, nothing tells how it ended.
    bool HasEnded(int& status) {
        int const ended = ::waitpid(m_id, &status, WNOHANG);
        int const error = errno;
        if (ended == 0 || (ended < 0 && error == EINTR))
            return false;
        m_id = -1;
        if (ended < 0)
            throw Error("CalculiX has ended, but whether it failed cannot be told (" +
                        std::generic_category().message(error) +
                        "); does the program that runs it ignore SIGCHLD?");
        return true;
    }

private:
    // That of this process, with the number of threads in the variables that the solver looks at.
    static std::vector<std::string> Environment(int threads) {
        std::string const count = std::to_string(threads);
        std::vector<std::string> texts = {"OMP_NUM_THREADS=" + count, "CCX_NPROC_RESULTS=" + count,
                                          "CCX_NPROC_EQUATION_SOLVER=" + count};
        auto const is_ours = [](std::string_view text) {
            return text.starts_with("OMP_NUM_THREADS=") || text.starts_with("CCX_NPROC_");
        };
        for (char** each = ::environ; each && *each; ++each)
            if (!is_ours(*each))
                texts.emplace_back(*each);
        return texts;
    }

    void End() {
        ::kill(-m_id, SIGKILL);
        ::kill(m_id, SIGKILL);
        while (::waitpid(m_id, nullptr, 0) < 0 && errno == EINTR) {
        }
        m_id = -1;
    }

    int m_id = -1;
};

// What the solver printed, as far as it matters.
struct Log {
    std::string version;
    std::string error; // its *ERROR lines as one; empty without
};

Log ReadLog(std::filesystem::path const& path) {
    Log log;
    LineFile file(path);
    std::string_view line;
    bool is_in_error = false; // messages go on in indented lines
    constexpr std::size_t enough = 300;
    while (file.Next(line)) {
        constexpr std::string_view version = "CalculiX Version ";
        if (std::size_t const at = line.find(version); at != std::string_view::npos && log.version.empty())
            log.version = line.substr(at + version.size(), line.find(',') - at - version.size());
        bool const is_error = line.find("*ERROR") != std::string_view::npos;
        is_in_error = is_error || (is_in_error && line.starts_with("       "));
        if (!is_in_error || log.error.size() > enough)
            continue;
        for (char const c : std::string(log.error.empty() ? ""
                                        : is_error        ? "; "
                                                          : " ") +
                                std::string(Trimmed(line)))
            if (c != ' ' || log.error.empty() || log.error.back() != ' ')
                log.error += c;
    }
    return log;
}

constexpr char const* LogRemedy = " and it names no error; --keep keeps what it printed, in model.log";

std::string Reason(int status, std::filesystem::path const& program) {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        return "it was ended by signal 9; there may not be enough memory";
    if (WIFSIGNALED(status))
        return "it was ended by signal " + std::to_string(WTERMSIG(status)) + LogRemedy;
    if (WEXITSTATUS(status) == Process::CannotStart)
        return program.string() + " cannot be started; is it a program for this machine?";
    if (WEXITSTATUS(status) != 0)
        return "its exit status is " + std::to_string(WEXITSTATUS(status)) + LogRemedy;
    return {};
}

class Phase {
public:
    explicit Phase(Common::IProgressDelegate* progress)
        : m_progress(progress) {
        if (m_progress)
            m_progress->Begin("Solving", false);
    }
    Phase(Phase const&) = delete;
    Phase& operator=(Phase const&) = delete;
    ~Phase() {
        if (m_progress)
            m_progress->End();
    }

private:
    Common::IProgressDelegate* m_progress;
};

// Waits for the end of a run; returns its status.
int Wait(Process& process, CalculiXOptions const& options, Clock::time_point start) {
    Phase const phase(options.progress.get());
    int status = 0;
    auto pause = std::chrono::milliseconds(1);
    while (!process.HasEnded(status)) {
        if (options.progress && options.progress->IsCancelled())
            throw Cancelled();
        if (options.timeout > 0.0 && SecondsSince(start) > options.timeout)
            throw TimedOut();
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::milliseconds(50));
    }
    return status;
}

} // namespace

TimedOut::TimedOut()
    : Error("CalculiX has not ended in time") {}

TimedOut::~TimedOut() = default;

std::filesystem::path FindCalculiX(std::string const& path) {
    std::string_view rest = path;
    while (!rest.empty()) {
        std::size_t const colon = rest.find(':');
        std::filesystem::path const folder = rest.substr(0, colon);
        std::error_code ignored;
        std::filesystem::path const program =
            std::filesystem::absolute(folder.empty() ? "." : folder, ignored) / "ccx";
        if (::access(program.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(program, ignored))
            return program;
        rest.remove_prefix(colon == std::string_view::npos ? rest.size() : colon + 1);
    }
    throw Error("the solver CalculiX (ccx) is not on the path; install it (on Debian the package "
                "calculix-ccx)");
}

CalculiXReport RunCalculiX(CalculiXOptions const& options) {
    std::filesystem::path const log_path = options.folder / (options.job + ".log");
    Clock::time_point const start = Clock::now();
    int status = 0;
    {
        Process process(options, log_path);
        status = Wait(process, options, start);
    }
    double const seconds = SecondsSince(start);
    Log const log = ReadLog(log_path);
    std::string const reason = Reason(status, options.program);
    if (!log.error.empty() || !reason.empty())
        throw Error("CalculiX has failed: " + (log.error.empty() ? reason : log.error));
    return {log.version, seconds};
}

std::map<std::string, std::array<double, 3>> ReadTotals(std::filesystem::path const& path) {
    std::map<std::string, std::array<double, 3>> totals;
    LineFile file(path);
    std::string_view line;
    std::string set; // whose numbers are to come
    constexpr std::string_view start = "total force (fx,fy,fz) for set ";
    constexpr std::size_t first = 6; // three columns of 14 characters behind these
    while (file.Next(line)) {
        if (std::size_t const at = line.find(start); at != std::string_view::npos) {
            std::string_view const name = line.substr(at + start.size());
            set = name.substr(0, name.find(' '));
        } else if (!set.empty() && !Trimmed(line).empty()) {
            std::array<double, 3>& total = totals[std::exchange(set, std::string())];
            for (std::size_t i = 0; i < 3; ++i)
                if (first + 14 * i >= line.size() ||
                    !Detail::ReadReal(line.substr(first + 14 * i, 14), total[i]))
                    throw Error("line " + std::to_string(file.GetLineNumber()) +
                                ": a total force is no number");
        }
    }
    return totals;
}

} // namespace KetSDK::MeshSolver
