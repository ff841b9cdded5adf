// The simulated controller for fault sweeps: small, reproducible, with every call numbered and journalled.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace faults {

enum class Call {
    open,
    close,
    read,
    write,
    seek,
    ioctl,
    select,
    socket,
    readClock,
    setClock,
    adjustClock,
    openDirectory,
    readDirectory,
    closeDirectory,
    glob,
    openStream,
    readStream,
    closeStream,
    spawn,
    kill,
    sleep,
    startThread,
    makeMutex,
    makeCondition,
    wait
};

/// The failure of a call: an errno, a short count, or a status from the driver.
struct Outcome {
    int error = 0;
    std::optional<long> count{};
    std::int32_t driverStatus = 0;

    std::string describe() const;
};

/// The result of a call; an error of 0 leaves errno unchanged.
struct Answer {
    long value = 0;
    int error = 0;
};

/// Words and numbers as one line.
template <typename... Words>
std::string line(const Words&... words) {
    std::ostringstream text;
    ((text << ' ' << words), ...);
    return text.str().substr(1);
}

/// Fails the call at `position` (the first is 1); forever means that call and all later ones of its kind. The thread
/// that makes the call at `cancelAt` is cancelled during it.
struct FaultPlan {
    long position = 0;
    Outcome outcome{};
    bool forEver = false;
    long cancelAt = 0;
};

struct Interface {
    std::string name;
    int phcIndex;
    std::int64_t offsetNs;
    bool isUp = true;
    std::uint32_t pinFunction = 0;
    bool isStamping = false;
    std::deque<std::uint64_t> events{};
};

/// Deviations from the usual controller.
struct ControllerOptions {
    int lowestDescriptor = 10;
    std::string firstName = "enp2s0";
    std::string secondName = "enp1s0";
    int pinsOfFirst = 4;
};

/// Two I210s, the FPGA, the Ferrox chip, the oscillator and the system clock, in integers. Time advances 1 us per call.
/// Every step of a slave loses 1.5 us. Threads: thread-safe. Failure: none of its own; answers carry the errors.
class SimulatedController {
public:
    explicit SimulatedController(const ControllerOptions& options = {});

    // The calls. Descriptor numbers are the controller's own.
    Answer open(const char* path, int flags);
    Answer close(int fd) { return release(Call::close, "close", fd); }
    Answer read(int fd, void* buffer, std::size_t length);
    Answer write(int fd, const void* buffer, std::size_t length);
    Answer seek(int fd, long offset);
    Answer ioctl(int fd, unsigned long request, void* argument);
    Answer select(int nfds, bool isWatched, long seconds, long microseconds);
    Answer socket(int domain, int type, int protocol);
    Answer readClock(int clock, std::int64_t& seconds, std::int64_t& nanoseconds);
    Answer setClock(int clock, std::int64_t seconds, std::int64_t nanoseconds);
    Answer adjustClock(int clock, std::uint32_t modes, std::int64_t frequency, std::int64_t seconds,
                       std::int64_t fraction);
    Answer openDirectory(const char* path);
    struct Entry {
        std::string name;
        unsigned char type;
    };
    std::optional<Entry> readDirectory(int directory, int& error);
    Answer closeDirectory(int directory) { return release(Call::closeDirectory, "close directory", directory); }
    Answer glob(const char* pattern, int flags, std::string& found);
    void globfree() { note("globfree"); }
    Answer openStream(const char* path, const char* mode);
    Answer readStream(int stream, std::string& content);
    Answer closeStream(int stream) { return release(Call::closeStream, "close stream", stream); }
    Answer spawn(int& pid, const char* path, char* const arguments[]);
    Answer kill(int pid, int signal);
    Answer sleep(std::int64_t seconds, std::int64_t nanoseconds);
    Answer startThread() { return plain(Call::startThread, "start thread"); }
    Answer makeMutex() { return plain(Call::makeMutex, "make mutex"); }
    Answer makeCondition() { return plain(Call::makeCondition, "make condition"); }
    Answer wait(bool isSignalled, std::int64_t lengthNs);
    /// Duration from now to a time of the monotonic clock.
    std::int64_t nsUntil(std::int64_t seconds, std::int64_t nanoseconds) const;
    void syslog(int priority, std::string_view text);

    void arm(const FaultPlan& plan);  ///< Positions count from here.
    void disarm();
    /// The kind of the call at the armed position, and whether it went to a driver; empty if no call got that far.
    struct Met {
        Call call;
        bool isDriver;
    };
    std::optional<Met> met() const { return met_; }
    long callsSinceArmed() const { return position_; }

    void note(std::string text);  ///< Adds a journal line that is not a call.
    void noteWhatIsLeft();        ///< Journals open descriptors and running children, as one line.
    const std::vector<std::string>& journal() const { return journal_; }

    std::array<Interface, 2> interfaces;
    bool isQuiet = false;                      ///< Keeps no journal, to save memory in long runs.
    std::atomic<bool> refusesMetadata{false};  ///< The FPGA's next record fails, once.
    std::atomic<long> refusedMetadata{0};
    std::size_t mostDescriptors = 1000;  ///< Beyond: EMFILE.
    bool fpgaIsRunning = true;
    bool fpgaReadsZero = false;
    long edgesThatTheFpgaMisses = 0;

private:
    static constexpr const char* kFpgaNode = "/dev/zu/fpga0";
    static constexpr const char* kFerroxNode = "/dev/zu/ferrox0";

    struct Descriptor {
        std::string path;
        std::size_t offset = 0;
        std::size_t directoryPosition = 0;
    };

    const Outcome* enter(Call call, std::string text, bool isDriver = false);
    void leave(const Answer& answer);
    Answer finish(Answer answer) {
        leave(answer);
        return answer;
    }
    Answer plain(Call call, std::string text);
    Answer release(Call call, const char* verb, int fd);
    /// A call that fails with -1 and an errno; otherwise `answer` answers, given the short count of a fault.
    template <typename Answering>
    Answer perform(Call call, std::string text, Answering&& answer) {
        const std::lock_guard lock(mutex_);
        const Outcome* const fault = enter(call, std::move(text));
        if (fault != nullptr && fault->error != 0) return finish({-1, fault->error});
        return finish(answer(fault != nullptr ? fault->count : std::nullopt));
    }
    Answer makeDescriptor(std::string path);
    Descriptor* find(int fd);
    Interface* phcOf(int fd);
    Interface* phcOfClock(int clock);
    std::uint64_t phcTime(const Interface& phc) const { return nowNs_ + static_cast<std::uint64_t>(phc.offsetNs); }

    Answer interfaceRequest(unsigned long request, void* argument);
    Answer phcRequest(Interface& phc, unsigned long request, void* argument);
    Answer driverRequest(bool isFpga, unsigned long request, void* argument, std::int32_t driverStatus);
    std::uint64_t ferroxMethod(unsigned method, std::uint64_t argument, bool isRefused);
    std::uint64_t fpgaMethod(unsigned method, std::uint64_t argument, bool isRefused);
    void emitEpoch();
    std::string describeRequest(int fd, unsigned long request, const void* argument);

    const ControllerOptions options_;
    mutable std::mutex mutex_;
    std::vector<std::string> journal_;
    std::optional<FaultPlan> plan_;
    long position_ = 0;
    std::optional<Met> met_;

    std::uint64_t nowNs_ = 1'700'000'000'000'000'000;
    std::int64_t systemOffsetNs_ = 0;
    std::int64_t ferroxOffsetNs_ = -1'250'000'000;
    std::uint64_t ferroxEpochNs_ = 0;
    std::int64_t fpgaOffsetNs_ = 730'000'000;
    std::uint64_t fpgaEpochNs_ = 0;
    std::map<std::string, std::string> files_;
    std::map<int, Descriptor> descriptors_;
    std::map<int, bool> children_;  ///< Whether each is alive; killed ones stay until reaped.
};

}  // namespace faults
