// One session of the host: loads, initialises and finalises the library around the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/session.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "host/clocks/rawClock.h"
#include "host/errors/information.h"
#include "host/inspect/controllerFacts.h"
#include "host/session/stopRequest.h"

namespace halvexctl {
namespace {

std::string codeText(std::optional<std::int32_t> code) { return code ? std::to_string(*code) : "an error"; }

/// Shows on a terminal what it waits for: a call of the library may take seconds.
class Progress {
public:
    Progress(Printer& printer, const std::string& sentence) : printer_(printer) { show(sentence); }
    ~Progress() { show(""); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void show(const std::string& sentence) {
        if (printer_.showsProgress()) {
            printer_.progress(sentence);
        }
    }

    Printer& printer_;
};

void fail(Result& result, std::string sentence) {
    result.outcome = Outcome::failed;
    result.message = std::move(sentence);
}

}  // namespace

Session::Session(SessionSettings settings, Printer& printer) : settings_(std::move(settings)), printer_(printer) {}

Session::~Session() { finish(); }

HostCalls& Session::calls() {
    if (!library_) {
        library_ = std::make_unique<PluginLibrary>(settings_.libraryPath);
    }
    if (!calls_) {
        HostCalls::Echo echo;
        if (settings_.echo) {
            echo = [this](const std::string& line) { printer_.call(line); };
        }
        calls_ = std::make_unique<HostCalls>(library_->functions(), std::move(echo));
        listenToCalls();
    }
    return *calls_;
}

void Session::listenToCalls() {
    if (calls_ && recorder_) {
        calls_->listen([this](const CallReport& report) { recorder_->call(report); });
    } else if (calls_) {
        calls_->listen({});
    }
}

void Session::startRecording(const RecordOptions& options) {
    if (recorder_) {
        throw std::logic_error(fmt::format("{} is being recorded already", recordPath_));
    }
    recorder_ = std::make_unique<SessionRecorder>(settings_.libraryPath, options);
    recordPath_ = options.path;
    listenToCalls();
}

void Session::stopRecording() {
    if (recorder_) {
        const std::unique_ptr<SessionRecorder> over = std::exchange(recorder_, nullptr);
        listenToCalls();
        over->finish(exitCode_);
    }
}

bool Session::rest(std::int64_t durationNs) {
    const std::int64_t endRawNs = recorder_ ? rawTimeNs() + durationNs : 0;
    while (recorder_) {
        if (recorder_->untilDueNs() == 0) {
            recorder_->sample(initializedCalls());
        }
        const std::int64_t leftNs = endRawNs - rawTimeNs();
        if (leftNs <= 0) {
            return !StopRequest::isMade();
        }
        if (!sleepNs(std::min(leftNs, recorder_->untilDueNs()))) {
            return false;
        }
    }
    return sleepNs(durationNs);
}

void Session::initialize() {
    if (initialized_) {
        throw std::logic_error("the library is initialised already; finalize it first");
    }
    HostCalls& host = calls();
    finalizeIsDue_ = true;
    const Progress progress(printer_, "  initialising: clocks are found, seeded and aligned");
    host.initialize();
    initialized_ = true;
}

void Session::finalize() {
    HostCalls& host = calls();
    const Progress progress(printer_, "  finalising");
    host.finalize();
    initialized_ = false;
    finalizeIsDue_ = false;
    finalizedOnRequest_ = true;
}

void Session::finish() {
    if (finalizeIsDue_) {
        finalizeIsDue_ = false;
        initialized_ = false;
        const Progress progress(printer_, "  finalising");
        calls_->finalize();
    }
    if (expectation_) {
        Result unmet{"expect-error", "", Outcome::ok, {}, "", {}};
        fail(unmet, fmt::format("{} was expected and no call followed", codeText(expectation_->code)));
        expectation_.reset();
        show(unmet);
    }
    try {
        stopRecording();
    } catch (const std::exception& exception) {
        Result lost{"record", recordPath_, Outcome::ok, {}, "", {}};
        fail(lost, exception.what());
        show(lost);
    }
}

/// Refuses the whole line if a verb would initialise the library while another process owns the clocks.
bool Session::refuse(std::span<const Command> commands) {
    const auto first = std::ranges::find_if(
        commands, [](const Command& command) { return command.needsTimekeeper() || command.verb->name == "init"; });
    if (initialized_ || settings_.rules.yes || first == commands.end()) {
        return false;
    }
    const std::vector<std::string> owners = clockOwners();
    for (auto command = commands.begin(); !owners.empty() && command != commands.end(); ++command) {
        Result result{std::string(command->verb->name), command->argumentText, Outcome::skipped, {}, "", {}};
        if (command == first) {
            fail(result, fmt::format("would initialise the library, but the clocks belong to {}; nothing was done. "
                                     "monitor and get CLOCK only read; add --yes to initialise anyway",
                                     fmt::join(owners, ", ")));
        }
        show(result);
        minded(ExitCode::refused);
    }
    return !owners.empty();
}

void Session::carryOut(std::span<const Command> commands) {
    if (refuse(commands)) {
        return;
    }
    bool over = false;
    for (const Command& command : commands) {
        if (over || StopRequest::isMade()) {
            over = true;
            show({std::string(command.verb->name), command.argumentText, Outcome::skipped, {}, "", {}});
            continue;
        }
        printer_.begin(std::string(command.verb->name), command.argumentText);
        const std::int64_t beganRawNs = recorder_ ? rawTimeNs() : 0;
        Result result = carryOutOne(command);
        keepVerb(result, beganRawNs);
        show(result);
        over = result.outcome == Outcome::failed;
    }
}

/// Records a verb; one that makes calls is followed by a sample. The verb that starts the recording began before it.
void Session::keepVerb(Result& result, std::int64_t beganRawNs) {
    if (!recorder_ || beganRawNs == 0) {
        return;
    }
    try {
        recorder_->verb(result, beganRawNs);
        if (initialized_ && calls_->count() != callsKept_) {
            callsKept_ = calls_->count();
            recorder_->sample(initializedCalls());
        }
    } catch (const std::exception& exception) {
        fail(result, fmt::format("the record cannot be kept: {}", exception.what()));
        recorder_.reset();
        listenToCalls();
    }
}

void Session::show(const Result& result) {
    printer_.result(result);
    switch (result.outcome) {
        case Outcome::ok:
            break;
        case Outcome::warning:
            minded(ExitCode::warnings);
            break;
        case Outcome::failed:
        case Outcome::skipped:
            minded(ExitCode::failure);
            break;
    }
}

Result Session::carryOutOne(const Command& command) {
    Result result{std::string(command.verb->name), command.argumentText, Outcome::ok, {}, "", {}};
    try {
        attempt(command, result);
    } catch (const CallFailure& failure) {  // from the initialisation before the verb
        fail(result, failure.what());
        result.error = ErrorReport{failure.function(), failure.code(), failure.information()};
    } catch (const std::exception& exception) {
        fail(result, exception.what());
    }
    return result;
}

void Session::attempt(const Command& command, Result& result) {
    if (command.needsTimekeeper()) {
        prepare();
    }
    const std::uint64_t callsBefore = calls_ ? calls_->count() : 0;
    const std::int32_t codeBefore = calls_ ? calls_->status().code() : 0;
    try {
        command.verb->carryOut(*this, command, result);
    } catch (const CallFailure& failure) {
        judgeFailure(result, failure);
        return;
    }
    const bool madeCalls = calls_ && calls_->count() != callsBefore;
    const std::int32_t code = calls_ ? calls_->status().code() : 0;
    if (code > 0 && codeBefore == 0 && result.outcome == Outcome::ok) {
        result.warn("the library warned: " + describeError(code, calls_->status().information()));
    }
    judgeSuccess(result, madeCalls);
}

void Session::prepare() {
    if (!initialized_ && !finalizedOnRequest_) {
        initialize();
    }
}

void Session::judgeSuccess(Result& result, bool madeCalls) {
    if (!expectation_ || !madeCalls || result.outcome == Outcome::failed) {
        return;
    }
    fail(result, fmt::format("was expected to fail with {} and did not", codeText(expectation_->code)));
    expectation_.reset();
}

void Session::judgeFailure(Result& result, const CallFailure& failure) {
    result.error = ErrorReport{failure.function(), failure.code(), failure.information()};
    if (failure.wasHeldBefore()) {
        fail(result,
             fmt::format("nothing was done: the status still holds {}; clear resets it", codeText(failure.code())));
        return;
    }
    if (!expectation_) {
        fail(result, failure.what());
        return;
    }
    const Expectation expected = *std::exchange(expectation_, std::nullopt);
    if (expected.code && expected.code != failure.code()) {
        fail(result, fmt::format("was expected to fail with {}, but {}", *expected.code, failure.what()));
        return;
    }
    result.add("expectedError", true, "failed as expected", failure.what());
}

}  // namespace halvexctl
