// What the library must do on a controller, step by step, implemented independently: the oracle of the sweeps.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"
#include "tests/faults/subject.h"
#include "tests/support/errorCodes.h"

namespace faults {

using namespace testsupport;

/// An error to be reported to the host: a code and its error information.
struct Error {
    std::int32_t code;
    std::string json;
};

/// A failed release: the process ends here.
struct ProcessEnds {};

/// One thread's view of the controller: its calls and its errno.
class Caller {
public:
    explicit Caller(SimulatedController& answering) : controller(answering) {}
    /// Returns the answer's value; its error becomes this thread's errno.
    long take(const Answer& answer) {
        if (answer.error != 0) error = answer.error;
        return answer.value;
    }
    std::string errorText() const;

    SimulatedController& controller;
    int error = 0;
};

/// Raises an error with the library's wording; `constant` is its name of the code, the code's own if empty.
[[noreturn]] void fail(std::int32_t code, std::string_view file, int line, std::string_view message,
                       std::string_view constant = "");
[[noreturn]] void failForeign(std::string_view what);

/// A slave of either kind.
class SlaveAccount {
public:
    virtual ~SlaveAccount() = default;
    virtual std::string getName() const = 0;
    virtual void release(Caller& caller) = 0;
    virtual bool isEnabled(Caller& caller) = 0;
    virtual void arm(Caller& caller) = 0;
    virtual std::uint64_t getEpochTimestamp(Caller& caller) = 0;
    virtual void adjustTime(Caller& caller, std::int64_t offsetNs) = 0;
    virtual void reinitialize(Caller& caller) = 0;
    virtual bool hasBeenAligned(Caller& caller) = 0;

    bool flag = true;
};

class I210Account : public SlaveAccount {
public:
    I210Account(Caller& caller, std::string interfaceName);
    std::string getName() const override { return "i210EpochDevice_" + interface; }
    void release(Caller& caller) override;
    bool isEnabled(Caller& caller) override;
    void arm(Caller& caller) override;
    std::uint64_t getEpochTimestamp(Caller& caller) override;
    void adjustTime(Caller& caller, std::int64_t offsetNs) override;
    void reinitialize(Caller& caller) override;
    bool hasBeenAligned(Caller& caller) override;

    std::string interface;

private:
    void open(Caller& caller);
    int findIndex(Caller& caller) const;
    void setPin(Caller& caller, std::uint32_t function) const;
    void ioctl(Caller& caller, int fd, unsigned long request, void* argument, std::string_view context) const;
    bool waitFor(Caller& caller, long seconds) const;
    std::uint64_t readEvent(Caller& caller) const;

    std::string path_;
    int fd_ = -1;
};

/// Either of the two driver interfaces: finding, opening, calling.
class DriverAccount {
public:
    struct Lines {
        int enumerate, none, path, open;
    };

    DriverAccount(std::string deviceName, std::string unit, const char* identifier, std::string noneText, Lines lines);
    void load(Caller& caller);
    void close(Caller& caller);

    /// Calls one method and returns its result; raises what it fails with. `status` is the code in the caller's record.
    std::uint64_t ask(Caller& caller, std::uint32_t request, const char* failureText, int line,
                      std::int32_t status = 0) const;
    /// Calls one method without a result; returns the code in the caller's record: 0, or a warning.
    std::int32_t tell(Caller& caller, std::uint32_t request, std::optional<std::uint64_t> argument,
                      const char* failureText, int line) const;

private:
    std::uint64_t call(Caller& caller, std::uint32_t request, std::optional<std::uint64_t> argument, bool hasResult,
                       std::int32_t& status, const char* failureText, int line) const;
    void check(std::int32_t status, const char* failureText, int line) const;
    std::string readPath(Caller& caller, const std::string& directory, std::int32_t& status) const;

    std::string device_;
    std::string file_;
    const char* identifier_;
    std::string noneText_;
    Lines lines_;
    int fd_ = -1;
};

class FpgaAccount : public SlaveAccount {
public:
    explicit FpgaAccount(Caller& caller);
    std::string getName() const override { return "fpgaEpochDevice"; }
    void release(Caller& caller) override;  ///< Throws ProcessEnds if the FPGA cannot be reset.
    bool isEnabled(Caller& caller) override;
    void arm(Caller& caller) override;
    std::uint64_t getEpochTimestamp(Caller& caller) override;
    void adjustTime(Caller& caller, std::int64_t offsetNs) override;
    void reinitialize(Caller& caller) override;
    bool hasBeenAligned(Caller& caller) override;
    void applyMetadata(Caller& caller, bool isPtp);

private:
    void load(Caller& caller);
    void reset(Caller& caller);
    std::uint64_t getTime(Caller& caller);
    void setStatusInfo(Caller& caller, const unsigned char (&record)[19], const char* failureText, int line);

    DriverAccount driver_;
    std::uint64_t lastEpochNs_ = 0;
};

class FerroxAccount {
public:
    explicit FerroxAccount(Caller& caller);
    void release(Caller& caller) { driver_.close(caller); }
    std::uint64_t getTime(Caller& caller);
    void adjustTime(Caller& caller, std::int64_t offsetNs);
    std::uint64_t generateEpoch(Caller& caller);

private:
    DriverAccount driver_;
};

class SystemClockAccount {
public:
    SystemClockAccount(Caller& caller, const std::string& source);
    void release(Caller& caller) const;
    std::uint64_t getTime(Caller& caller) const;
    void adjustTime(Caller& caller, std::int64_t offsetNs) const;

private:
    int pid_ = 0;
};

class OscillatorAccount {
public:
    explicit OscillatorAccount(Caller& caller);
    void release(Caller& caller) const {
        if (fd_ > 0) caller.take(caller.controller.close(fd_));
    }
    std::int32_t getCorrection(Caller& caller) const;
    void setCorrection(Caller& caller, std::int32_t ppb) const;

private:
    static std::string findDirectory(Caller& caller);
    static int openFile(Caller& caller, const std::string& path, int flags);
    void seek(Caller& caller) const;

    std::string directory_;
    int fd_ = -1;
};

/// The whole library. Slaves by position: the I210s in order, the FPGA last.
class Account : public Subject {
public:
    explicit Account(SimulatedController& controller)
        : controller_(controller), host_(controller), monitor_(controller), alignment_(controller) {}

    void initialize() override;
    void finalize() override;
    void getTime() override;
    void snapTime(std::int64_t offsetNs) override;
    void setCorrection(std::int32_t ppb) override;
    void getCorrection() override;
    void getLimits() override;
    void applyMetaData(bool isPtp) override;
    void tick() override;

private:
    struct Timekeeper;

    template <typename Operation>
    void framed(const char* name, Operation&& operation);
    void report(const char* name, const Error& error);
    void build();
    void releaseTimekeeper();
    void pass(bool isSignalled);
    void service();
    void finishAlignment();

    SimulatedController& controller_;
    Caller host_, monitor_, alignment_;
    std::shared_ptr<Timekeeper> timekeeper_;
    bool isThreadRunning_ = false;
    std::optional<Error> monitorError_;
    std::string observed_;
};

}  // namespace faults
