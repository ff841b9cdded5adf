// Who keeps the clocks in a run: the library in a host of its own, or the programs of linuxptp.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/system/machine.h"

namespace peers {

/// What processes have used up so far.
struct Usage {
    double cpuMs = 0;
    long wakeUps = 0;  ///< Times that one of their threads has waited.
};

/// Starts processes, and ends them when it goes. Threads: one.
class Contender {
public:
    Contender() = default;
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;
    virtual ~Contender();

    virtual void start() = 0;
    /// Called ten times a second; for those that are started one after the other.
    virtual void look(const systemtest::Truth&) {}

    virtual Usage usage() const;

protected:
    pid_t startProgram(const std::vector<std::string>& words);

    std::vector<pid_t> processes_;
};

/// The library in a process that calls zuqxmtk_initialize and then only waits.
class Library : public Contender {
public:
    ~Library() override;
    void start() override;
    Usage usage() const override;  ///< With the phc2sys that the library has started.
};

/// ts2phc on both I210s, and phc2sys on the first.
class Linuxptp : public Contender {
public:
    explicit Linuxptp(bool isStartedTogether) : isStartedTogether_(isStartedTogether) {}
    void start() override;
    void look(const systemtest::Truth& truth) override;

private:
    void startPhc2sys();

    bool isStartedTogether_;  ///< Else phc2sys waits until ts2phc has brought the clock that it reads to the master.
    bool isFollowed_ = false;
};

}  // namespace peers
