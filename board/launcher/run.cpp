// Runs programs on the simulated controller: checks the request, makes the board's file, stays until all have ended.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/run.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "board/launcher/runningBoards.h"
#include "board/preload/environment.h"
#include "board/preload/programs.h"
#include "board/preload/sharedBoard.h"
#include "board/scenario/scenario.h"

namespace halvexboard {

namespace {

namespace fs = std::filesystem;

constexpr const char* kLibrary = "libhalvexboard.so";
constexpr const char* kDefaultScenario = "plain";

fs::path ownDirectory() { return fs::read_symlink("/proc/self/exe").parent_path(); }

fs::path firstExisting(const std::vector<fs::path>& candidates) {
    for (const fs::path& candidate : candidates) {
        std::error_code ignored;  // a candidate that cannot be examined is skipped
        if (fs::is_regular_file(candidate, ignored)) return fs::canonical(candidate);
    }
    return {};
}

fs::path findLibrary() {
    const fs::path here = ownDirectory();
    fs::path found =
        firstExisting({here / kLibrary, here / "../lib" / kLibrary, here / "../lib/halvexboard" / kLibrary});
    if (found.empty())
        throw std::runtime_error(std::string(kLibrary) +
                                 " is neither beside halvexboard, nor in ../lib, nor in ../lib/halvexboard");
    return found;
}

fs::path readyDirectory() { return ownDirectory() / "../share/halvexboard/scenarios"; }

std::string readyNames() {
    std::string names;
    for (const ReadyScenario& scenario : readyScenarios()) names += (names.empty() ? "" : ", ") + scenario.name;
    return names;
}

/// A file, or the name of a built-in scenario.
fs::path findScenario(const std::string& wanted) {
    const std::string name = wanted.empty() ? kDefaultScenario : wanted;
    const std::string file = name + ".toml";
    std::vector<fs::path> candidates;
    if (!wanted.empty()) candidates.emplace_back(wanted);
    if (name.find('/') == std::string::npos) candidates.push_back(readyDirectory() / file);
    fs::path found = firstExisting(candidates);
    if (found.empty())
        throw std::runtime_error("there is no scenario " + name + "; a file, or one of " + readyNames() +
                                 ", is needed");
    return found;
}

bool isSameFile(const fs::path& one, const fs::path& other) {
    std::error_code ignored;  // if one of them does not exist they differ
    return fs::equivalent(one, other, ignored);
}

bool beginsAsTrace(const fs::path& file) {
    static constexpr std::string_view kBegin = R"({"seq":0,)";
    std::string begin(kBegin.size(), '\0');
    std::ifstream stream(file, std::ios::binary);
    stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    begin.resize(static_cast<std::size_t>(stream.gcount()));
    return begin == kBegin || begin.find_first_not_of('\n') == std::string::npos;
}

/// "FILE" and "--option=FILE" alike.
bool isNamedBy(const std::string& word, const fs::path& file) {
    const std::size_t value = word.find('=');
    return isSameFile(word, file) || (value != std::string::npos && isSameFile(word.substr(value + 1), file));
}

/// Throws UsageError where a trace would replace anything but an earlier trace.
void checkTrace(const Options& options, const fs::path& scenario) {
    const fs::path trace = options.traceFile;
    const std::string refusal = "--trace " + options.traceFile + ": ";
    if (trace == "-") throw UsageError(refusal + "needs a file");
    std::error_code error;
    const fs::file_status status = fs::status(trace, error);
    if (!fs::exists(status)) return;
    if (!fs::is_regular_file(status)) throw UsageError(refusal + "is there and is not an ordinary file");
    if (isSameFile(trace, scenario)) throw UsageError(refusal + "is the scenario");
    if (!beginsAsTrace(trace)) throw UsageError(refusal + "is there and does not hold a trace");
    const auto names = [&](const std::string& word) { return isNamedBy(word, trace); };
    if (std::any_of(options.command.begin(), options.command.end(), names))
        throw UsageError(refusal + "is named by the command too, which would find it replaced");
}

void set(const char* variable, const std::string& value) {
    if (setenv(variable, value.c_str(), 1) != 0) throw std::runtime_error(std::string("cannot set ") + variable);
}

/// Appends: libraries preloaded before (a sanitizer's runtime, say) stay first.
void setEnvironment(const fs::path& library, const std::string& boardFile) {
    const char* const earlier = std::getenv(kPreloadVariable);
    const std::string before = earlier != nullptr ? earlier : "";
    set(kPreloadVariable, before.empty() ? library.string() : before + ":" + library.string());
    set(kBoardVariable, boardFile);
}

template <std::size_t size>
void copyText(char (&to)[size], const std::string& from, const char* what) {
    if (from.size() >= size) throw std::runtime_error(std::string(what) + " is too long");
    std::copy_n(from.c_str(), from.size() + 1, to);
}

[[noreturn]] void execute(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    throw std::runtime_error("cannot run " + command[0] + ": " + std::strerror(error));
}

void refuseProgram(const Options& options) {
    rememberEnvironment((" " + options.outside + " ").c_str());
    if (judgeProgram(options.command[0].c_str(), true) == Verdict::refused)
        throw std::runtime_error("cannot run " + options.command[0]);
}

// ----------------------------------------------------------------------------------------------------- the launcher --

/// The file behind a board, by the launcher's pid. Not removed by programs that the launcher becomes.
class BoardFile {
public:
    BoardFile() : path_(std::string(kBoardFiles) + std::to_string(getpid())) {
        removeDeadBoards();
        const int fd = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        const bool isMade =
            fd >= 0 && ftruncate(fd, sizeof(SharedBoard)) == 0 &&
            pwrite(fd, &SharedBoard::kLayout, sizeof SharedBoard::kLayout, offsetof(SharedBoard, settings.layout)) > 0;
        board_ = isMade ? mapBoard(path_.c_str()) : nullptr;
        const int error = errno;
        if (fd >= 0) close(fd);
        if (board_ == nullptr) {
            unlink(path_.c_str());
            throw std::runtime_error("cannot make " + path_ + ": " + std::strerror(error));
        }
        useBoard(*board_);
    }
    ~BoardFile() { unlink(path_.c_str()); }
    BoardFile(const BoardFile&) = delete;
    BoardFile& operator=(const BoardFile&) = delete;

    const std::string& path() const { return path_; }
    SharedBoard& board() const { return *board_; }

private:
    std::string path_;
    SharedBoard* board_ = nullptr;
};

void startTrace(SharedBoard& board, const std::string& name) {
    const std::string path = fs::absolute(name);
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);  // stays open, and locked
    if (fd < 0) throw std::runtime_error("cannot write the trace " + name + ": " + std::strerror(errno));
    if (flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw std::runtime_error("cannot write the trace " + name + ": another board writes it");
    if (ftruncate(fd, 0) != 0) throw std::runtime_error("cannot write the trace " + name + ": " + std::strerror(errno));
    copyText(board.trace.path, path, "the name of the trace");
}

volatile std::sig_atomic_t endSignal = 0;

void noteEnd(int signal) { endSignal = signal; }

void signalAll(SharedBoard& board, int signal) {
    for (const Process& process : board.processes.entries)
        if (process.isUsed && process.pid > 0) kill(process.pid, signal);
}

/// Signals that a terminal sends reach the programs too, which decide; the others end all of them.
void handleSignals() {
    struct sigaction action {};
    action.sa_handler = noteEnd;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
    sigaction(SIGALRM, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGQUIT, &action, nullptr);
}

/// Asks all to end; what is still there after five seconds is killed.
void endAll(SharedBoard& board, int signal) {
    constexpr unsigned kPatienceSeconds = 5;
    signalAll(board, signal == SIGALRM ? SIGKILL : signal);
    alarm(kPatienceSeconds);
}

/// Waits for the program and for all that it has left on the board. Returns the program's wait status.
int stayUntilTheEnd(SharedBoard& board, pid_t program) {
    int result = 0;
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(-1, &status, 0);
        if (ended == program) result = status;
        if (ended < 0 && errno == ECHILD) return result;
        if (ended < 0 && errno == EINTR && endSignal != 0) endAll(board, std::exchange(endSignal, 0));
    }
}

int runAndStay(SharedBoard& board, const std::vector<std::string>& command) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t program = fork();
    if (program < 0) throw std::runtime_error(std::string("cannot start: ") + std::strerror(errno));
    if (program == 0) {
        try {
            execute(command);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "halvexboard: %s\n", error.what());
            std::_Exit(kCannotStart);
        }
    }
    handleSignals();
    const int status = stayUntilTheEnd(board, program);
    const LockGuard guard(boardLock());
    writeTrace();
    return status;
}

/// Ends as the program did.
[[noreturn]] void endAs(int status) {
    if (WIFSIGNALED(status)) {
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        std::signal(WTERMSIG(status), SIG_DFL);
        raise(WTERMSIG(status));
    }
    std::_Exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

}  // namespace

std::vector<ReadyScenario> readyScenarios() {
    std::vector<ReadyScenario> scenarios;
    for (const auto& entry : fs::directory_iterator(readyDirectory())) {
        if (entry.path().extension() != ".toml") continue;
        const std::string title = loadScenario(entry.path().string()).title;
        const std::size_t colon = title.find(": ");
        scenarios.push_back(
            {entry.path().stem().string(), colon == std::string::npos ? title : title.substr(colon + 2)});
    }
    std::sort(scenarios.begin(), scenarios.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return scenarios;
}

void runOnBoard(const Options& options) {
    if (std::getenv(kBoardVariable) != nullptr)
        throw std::runtime_error("this is a board already; one cannot run on another");
    const fs::path scenarioFile = findScenario(options.scenario);
    Scenario scenario = loadScenario(scenarioFile.string());
    if (options.seed) scenario.config.seed = *options.seed;
    if (!options.traceFile.empty()) checkTrace(options, scenarioFile);
    std::optional<BoardFile> file(std::in_place);
    SharedBoard& board = file->board();
    board.settings.config = scenario.config;
    board.settings.isTimeReal = options.realTime;
    board.settings.hasConsole = options.console;
    copyText(board.settings.scenario, scenarioFile.stem().string().substr(0, sizeof board.settings.scenario - 1), "");
    copyText(board.settings.outside, " " + options.outside + " ", "--outside");
    if (!options.traceFile.empty()) startTrace(board, options.traceFile);
    setEnvironment(findLibrary(), file->path());
    refuseProgram(options);
    if (!options.isQuiet)
        std::fprintf(stderr, "halvexboard: scenario %s, seed %llu\n", scenarioFile.stem().c_str(),
                     static_cast<unsigned long long>(scenario.config.seed));
    const int status = runAndStay(board, options.command);
    file.reset();
    endAs(status);
}

void attachToBoard(const Options& options) {
    const std::vector<RunningBoard> boards = runningBoards();
    const auto chosen = std::find_if(boards.begin(), boards.end(), [&](const RunningBoard& board) {
        return options.boardPid == 0 || board.pid == options.boardPid;
    });
    if (chosen == boards.end())
        throw std::runtime_error("there is no such board; halvexboard ps lists those there are");
    if (options.boardPid == 0 && boards.size() > 1)
        throw UsageError("there are several boards; --board PID names one, halvexboard ps lists them");
    SharedBoard* const board = mapBoard(chosen->path.c_str());
    if (board == nullptr) throw std::runtime_error(chosen->path.string() + ": " + std::strerror(errno));
    setEnvironment(findLibrary(), chosen->path);
    Options withNames = options;
    withNames.outside = board->settings.outside;
    refuseProgram(withNames);
    execute(options.command);
}

}  // namespace halvexboard
