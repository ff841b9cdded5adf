// The verbs monitor and record: every clock looked at again and again.
#include "host/monitor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <system_error>

#include "host/errorInformation.h"
#include "host/inspect/clockSample.h"
#include "host/inspect/systemFiles.h"
#include "host/rawClock.h"
#include "host/session.h"
#include "host/stopRequest.h"

namespace halvexctl {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr int kReadings = 5;

[[noreturn]] void failFor(const std::string& path, int error) {
    throw std::system_error(error, std::generic_category(), path);
}

std::int64_t systemTimeNs() {
    timespec now{};
    if (::clock_gettime(CLOCK_REALTIME, &now) != 0) {
        failFor("clock_gettime", errno);
    }
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

/// One clock's time between two readings of another: the narrowest of some.
template <typename Outer, typename Inner>
CrossTime bracket(Outer outerNs, Inner innerNs) {
    CrossTime best{0, 0, std::numeric_limits<std::int64_t>::max()};
    for (int i = 0; i < kReadings; ++i) {
        const std::int64_t beforeNs = outerNs();
        const auto clockNs = static_cast<std::int64_t>(innerNs());
        const std::int64_t widthNs = outerNs() - beforeNs;
        if (widthNs >= 0 && (widthNs + 1) / 2 < best.boundNs) {
            const std::int64_t middleNs = beforeNs + widthNs / 2;
            best = {static_cast<std::uint64_t>(middleNs), clockNs - middleNs, (widthNs + 1) / 2};
        }
    }
    return best;
}

/// Writes all of it into a new file beside `path`, which then takes its place: readers see the old or the new text.
void replaceFile(const std::string& path, const std::string& text) {
    const std::string aside = fmt::format("{}.{}.new", path, ::getpid());
    const int fd = ::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        failFor(aside, errno);
    }
    const ssize_t written = ::write(fd, text.data(), text.size());
    const int error = written < 0 ? errno : ENOSPC;
    ::close(fd);
    if (written != static_cast<ssize_t>(text.size()) || std::rename(aside.c_str(), path.c_str()) != 0) {
        const int renameError = errno;
        ::unlink(aside.c_str());
        failFor(path, written == static_cast<ssize_t>(text.size()) ? renameError : error);
    }
}

/// Whether a phc2sys runs: one that /proc shows, or else a living child of this process (the library starts no other).
std::optional<bool> isPhc2SysAlive() {
    for (const std::string& name : namesIn("/proc")) {
        if (readFirstLine("/proc/" + name + "/comm") == "phc2sys") {
            const std::string status = readFirstLine("/proc/" + name + "/stat").value_or("");
            if (status.find(") Z ") == std::string::npos) {
                return true;
            }
        }
    }
    siginfo_t child{};
    const int result = ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT);  // looks, and leaves it to its owner
    const int error = errno;
    if (result != 0) {
        return error == ECHILD ? std::optional(false) : std::nullopt;
    }
    return child.si_pid == 0;
}

/// A file that samples are appended to, a line each.
class Recording {
public:
    explicit Recording(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "ae")) {
        if (file_ == nullptr) {
            failFor(path, errno);
        }
    }
    ~Recording() { std::fclose(file_); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    void add(const nlohmann::ordered_json& line) {
        fmt::print(file_, "{}\n", line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
        if (std::fflush(file_) != 0) {
            failFor(path_, errno);
        }
    }

private:
    std::string path_;
    std::FILE* file_;
};

/// Takes samples. Borrows the session. Threads: thread-bound.
class Watch {
public:
    explicit Watch(Session& session) : session_(session) {
        for (const InterfaceFacts& interface : gatherInterfaces()) {
            if (choiceOf(interface).isChosen) {
                clocks_.emplace_back(interface.name, interface.node);
            }
        }
    }

    Sample take() {
        Sample sample;
        const CrossTime system = bracket(rawTimeNs, systemTimeNs);
        sample.rawNs = static_cast<std::int64_t>(system.systemNs);
        sample.systemNs = static_cast<std::uint64_t>(sample.rawNs + system.differenceNs);
        sample.systemBoundNs = system.boundNs;
        if (session_.isInitialized()) {
            sample.clocks.push_back(master());
        }
        for (const auto& [name, node] : clocks_) {
            sample.clocks.push_back(hardwareClock(name, node));
        }
        ClockSample realtime;
        realtime.name = "CLOCK_REALTIME";
        realtime.cross = CrossTime{sample.systemNs, 0, 0};
        sample.clocks.push_back(realtime);
        sample.steeringPpb = readSteeringPpb();
        sample.childIsAlive = isPhc2SysAlive();
        sample.kernelClock = readKernelClock();
        sample.errorCount = errorCount_;
        sample.lastError = lastError_;
        compare(sample);
        return sample;
    }

private:
    static ClockSample hardwareClock(const std::string& name, const std::string& node) {
        ClockSample sample;
        sample.name = name;
        PtpClock clock(node);  // opened anew: an interface may come and go
        sample.cross = clock.crossTime();
        sample.error = clock.errorText();
        return sample;
    }

    ClockSample master() {
        ClockSample sample;
        sample.name = "master";
        HostCalls& calls = session_.calls();
        try {
            const HostCalls::Quiet quiet(calls);
            sample.cross = bracket(systemTimeNs, [&calls] { return calls.getTimeNs(); });
        } catch (const CallFailure& failure) {
            if (failure.wasHeldBefore()) {
                throw;  // the user's own business, from before
            }
            ++errorCount_;
            lastError_ = describeError(failure.code(), failure.information());
            sample.error = lastError_;
            calls.clearStatus();
        }
        return sample;
    }

    Session& session_;
    std::vector<std::pair<std::string, std::string>> clocks_;
    std::uint64_t errorCount_ = 0;
    std::string lastError_;
};

}  // namespace

void watchClocks(Session& session, const MonitorOptions& options, Result& result) {
    std::optional<Recording> record;
    if (!options.recordPath.empty()) {
        record.emplace(options.recordPath);
    }
    Watch watch(session);
    std::optional<Sample> before;
    std::uint64_t taken = 0, alarms = 0;
    bool goesOn = true;
    while (goesOn && !StopRequest::isMade()) {
        Sample sample = watch.take();
        if (before) {
            findJumps(*before, sample);
        }
        ++taken;
        alarms += sample.hasAlarm() ? 1U : 0U;
        if (!options.isQuiet) {
            session.printer().sample([&sample](bool inColour) { return sampleAsText(sample, inColour); },
                                     sampleAsJson(sample), options.count == 1);
        }
        if (options.isQuiet && session.printer().showsProgress()) {
            session.printer().progress(fmt::format("  {} of {} samples", taken, options.count));
        }
        if (record) {
            record->add(sampleAsJson(sample));
        }
        if (!options.metricsPath.empty()) {
            replaceFile(options.metricsPath, sampleAsMetrics(sample));
        }
        before = std::move(sample);
        goesOn = taken != options.count && sleepNs(options.intervalNs);
    }
    if (options.isQuiet && session.printer().showsProgress()) {
        session.printer().progress("");
    }
    result.add("samples", taken, taken == 1 ? "" : "samples", std::to_string(taken));
    result.add("alarms", alarms, taken == 1 ? "" : "with alarms", std::to_string(alarms));
    if (before) {
        result.add("last", sampleAsJson(*before), "", "");
    }
    if (alarms > 0) {
        result.warn(fmt::format("{} of {} samples had an alarm", alarms, taken));
    }
}

}  // namespace halvexctl
