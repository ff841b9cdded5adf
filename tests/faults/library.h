// The library itself as the subject of a sweep: its exports are called, its calls answered by a controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"
#include "tests/faults/subject.h"

namespace faults {

/// Routes the process's C library calls to the controller for a scope. Threads: thread-bound.
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
