// One session of the host: loads, initialises and finalises the library around the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "host/cli/command.h"
#include "host/output/printer.h"
#include "host/output/result.h"
#include "host/record/sessionRecorder.h"
#include "host/session/hostCalls.h"
#include "host/session/pluginLibrary.h"

namespace halvexctl {

struct SessionSettings {
    std::string libraryPath;
    bool echo = false;
    ReadingRules rules;
    int inputFd = 0;  ///< Input of `run`.
    int stopFd = -1;  ///< Readable once a stop is requested; -1: none.
};

/// Executes commands. Owns the library and the status; borrows the printer. Threads: thread-bound. Failure: reported in
/// results and the exit code; never throws.
class Session {
public:
    Session(SessionSettings settings, Printer& printer);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void carryOut(std::span<const Command> commands);  ///< In order, up to the first that fails.
    void show(const Result& result);                   ///< Prints it and updates the exit code.
    void finish();                                     ///< Finalises the library if needed.
    void minded(ExitCode code) { exitCode_ = graver(exitCode_, code); }
    ExitCode exitCode() const { return exitCode_; }

    // For the verbs.
    HostCalls& calls();  ///< Loads the library if needed; throws PluginError.
    HostCalls* initializedCalls() { return initialized_ ? calls_.get() : nullptr; }  ///< Null: not initialised.
    Printer& printer() { return printer_; }
    const SessionSettings& settings() const { return settings_; }
    void initialize();
    void finalize();
    void startRecording(const RecordOptions& options);  ///< std::logic_error if a recording is active.
    void stopRecording();
    SessionRecorder* recorder() { return recorder_.get(); }        ///< Null: no recording.
    const std::string& recordPath() const { return recordPath_; }  ///< Of the latest recording; empty: none.
    bool rest(std::int64_t durationNs);  ///< Sleeps, taking due samples; false if a stop was requested.
    void expectError(std::optional<std::int32_t> code) { expectation_ = Expectation{code}; }

private:
    struct Expectation {
        std::optional<std::int32_t> code;  ///< Empty: any error.
    };

    Result carryOutOne(const Command& command);
    void attempt(const Command& command, Result& result);
    void prepare();
    bool refuse(std::span<const Command> commands);
    void judgeSuccess(Result& result, bool madeCalls);
    void judgeFailure(Result& result, const CallFailure& failure);
    void keepVerb(Result& result, std::int64_t beganRawNs);
    void listenToCalls();

    SessionSettings settings_;
    Printer& printer_;
    std::unique_ptr<PluginLibrary> library_;
    std::unique_ptr<HostCalls> calls_;
    std::unique_ptr<SessionRecorder> recorder_;
    std::string recordPath_;
    std::uint64_t callsKept_ = 0;  ///< Calls made until the last recorded verb.
    std::optional<Expectation> expectation_;
    bool initialized_ = false;
    bool finalizeIsDue_ = false;       ///< Initialisation was attempted, successfully or not.
    bool finalizedOnRequest_ = false;  ///< Later verbs do not initialise implicitly.
    ExitCode exitCode_ = ExitCode::ok;
};

}  // namespace halvexctl
