// The library itself under a sweep: its exports, called, and its calls, answered by a controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"
#include "tests/faults/subject.h"

namespace faults {

/// While it lives, the C library's functions answer this process from the controller. Threads: one makes, drives and
/// destroys it.
class Library : public Subject {
public:
    explicit Library(SimulatedController& controller);
    ~Library() override;

    void initialize() override;
    void finalize() override;
    void getTime() override;
    void snapTime(std::int64_t offsetNs) override;
    void setCorrection(std::int32_t ppb) override;
    void getCorrection() override;
    void getLimits() override;
    void applyMetaData(bool isPtp) override;
    void tick() override;
    void applyText(const char* metadata);

private:
    SimulatedController& controller_;
    bool isThreadRunning_ = false;
};

}  // namespace faults
