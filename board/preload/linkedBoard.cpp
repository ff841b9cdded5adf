// The board linked into a test executable.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/linkedBoard.h"

#include <sys/mman.h>
#include <unistd.h>
#include <cstring>
#include <stdexcept>

#include "board/preload/boardLife.h"
#include "board/preload/shimHooks.h"
#include "board/preload/waiting.h"
#include "board/scenario/scenario.h"
#include "board/trace/traceLine.h"

namespace halvexboard {

namespace {

/// Address space reserved for the trace; pages are used as lines arrive, nothing comes from the heap.
constexpr std::size_t kArenaSize = std::size_t{1} << 30;
constexpr std::size_t kSyslogArenaSize = std::size_t{1} << 26;

struct Arena {
    char* memory = nullptr;
    std::size_t size = 0;
    std::size_t used = 0;

    void reserve(std::size_t wanted) {
        if (memory != nullptr) return;
        void* const mapped =
            mmap(nullptr, wanted, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapped == MAP_FAILED) throw std::runtime_error("no address space for the trace of the board");
        memory = static_cast<char*>(mapped);
        size = wanted;
    }
};

Arena traceArena GUARDED_BY(boardLock());
Arena syslogArena GUARDED_BY(boardLock());  // NUL-terminated texts
bool boardIsOn = false;

void keepHappening(void*, const board_happening& happening) noexcept REQUIRES(boardLock()) {
    if (traceArena.size - traceArena.used < kMaxTraceLine)
        __builtin_trap();  // a test must not fill a gigabyte of trace
    traceArena.used += formatHappening(*happening.where, happening, traceArena.memory + traceArena.used, kMaxTraceLine);
    if (happening.kind != BOARD_HAPPENING_SYSLOG || syslogArena.size - syslogArena.used <= happening.text_size) return;
    char* const text = syslogArena.memory + syslogArena.used;
    std::memcpy(text, happening.text, happening.text_size);
    text[happening.text_size] = '\0';
    syslogArena.used += happening.text_size + 1;
}

board_config parse(std::string_view text) { return parseScenario(text, "scenario").config; }

}  // namespace

LinkedBoard::LinkedBoard(std::string_view scenarioText, const LinkedBoardOptions& options)
    : LinkedBoard(parse(scenarioText), options) {}

LinkedBoard::LinkedBoard(const board_config& config, const LinkedBoardOptions& options)
    : config_(config), options_(options) {
    if (boardIsOn) throw std::logic_error("a board is on already");
    if (options_.seed) config_.seed = *options_.seed;
    start();
}

LinkedBoard::~LinkedBoard() {
    switchOff();
    boardIsOn = false;
}

void LinkedBoard::start() {
    {
        const LockGuard guard(boardLock());
        traceArena.reserve(kArenaSize);
        syslogArena.reserve(kSyslogArenaSize);
    }
    clearTrace();
    CoreOptions core;
    core.virtualTime = options_.virtualTime;
    core.withScheduler = options_.virtualTime && options_.withScheduler.value_or(hasThreadShims != nullptr);
    core.consoleFd = options_.console ? STDERR_FILENO : -1;
    core.sink = {keepHappening, nullptr};
    if (!switchOn(config_, core)) throw std::runtime_error("the board cannot be switched on like this");
    boardIsOn = true;
}

void LinkedBoard::reset() {
    switchOff();
    start();
}

void LinkedBoard::reset(std::uint64_t seed) {
    config_.seed = seed;
    reset();
}

std::uint64_t LinkedBoard::rawNs() const { return rawNow(); }

void LinkedBoard::sleepNs(std::uint64_t ns) { sleepUntil(deadlineAfter(ns)); }

void LinkedBoard::withModel(const std::function<void(board&, std::uint64_t)>& action) {
    const LockGuard guard(boardLock());
    action(*model(), rawNow());
    tellModelChanged();
}

board_truth LinkedBoard::truth() {
    board_truth all{};
    withModel([&all](board& board, std::uint64_t rawNs) { board_get_truth(&board, rawNs, &all); });
    return all;
}

std::int64_t LinkedBoard::differenceNs(int clock) { return truth().difference_ns[clock]; }

bool LinkedBoard::doEvent(board_event_kind kind, int target, std::int64_t value) {
    int result = 0;
    withModel([&](board& board, std::uint64_t rawNs) {
        const board_event_config event{rawNs, kind, target, value};
        result = board_do_event(&board, rawNs, &event);
    });
    return result == 0;
}

std::string LinkedBoard::traceText() const {
    const LockGuard guard(boardLock());
    return {traceArena.memory, traceArena.used};
}

std::vector<std::string> LinkedBoard::trace() const {
    const std::string text = traceText();
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::vector<std::string> LinkedBoard::syslogLines() const {
    const LockGuard guard(boardLock());
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < syslogArena.used; at += lines.back().size() + 1)
        lines.emplace_back(syslogArena.memory + at);
    return lines;
}

void LinkedBoard::clearTrace() {
    const LockGuard guard(boardLock());
    traceArena.used = 0;
    syslogArena.used = 0;
}

}  // namespace halvexboard
