// The contenders of a run: the library in its own host, or the linuxptp programs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>

#include "tests/system/machine.h"

namespace peers {

/// Resources that processes have used so far.
struct Usage {
    double cpuMs = 0;
    long wakeUps = 0;  ///< Number of waits of all threads.
};

/// Starts processes, and ends them on destruction. Threads: one.
class Contender {
public:
    Contender() = default;
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;
    virtual ~Contender();

    virtual void start() = 0;
    /// Called ten times a second; for contenders that start their processes one after the other.
    virtual void look(const systemtest::Truth&) {}

    virtual Usage usage() const;

protected:
    pid_t startProgram(const std::vector<std::string>& words);

    std::vector<pid_t> processes_;
};

/// The library in a process that calls zuqxmtk_initialize and then waits.
class Library : public Contender {
public:
    ~Library() override;
    void start() override;
    Usage usage() const override;  ///< Includes the library's phc2sys.
};

/// ts2phc on both I210s, and phc2sys on the first.
class Linuxptp : public Contender {
public:
    explicit Linuxptp(bool isStartedTogether) : isStartedTogether_(isStartedTogether) {}
    void start() override;
    void look(const systemtest::Truth& truth) override;

private:
    void startPhc2sys();

    bool isStartedTogether_;  ///< Otherwise phc2sys waits until ts2phc has aligned its source to the master.
    bool isFollowed_ = false;
};

/// The cost of one clock reading, by phc_ctl of linuxptp and by the library, as a JSON object. The board must be on,
/// with nothing else disciplining its clocks.
std::string measureReadings();

}  // namespace peers
