// The stories of the sweeps.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/story.h"

namespace faults {
namespace {

constexpr std::int64_t kStepNs = 1'500'000;

void nothing(Subject&, SimulatedController&) {}

void start(Subject& subject, SimulatedController&) { subject.initialize(); }

/// A host's recovery: reads until there is no error, steps, steers, and finalises.
void goOn(Subject& subject, SimulatedController&) {
    subject.getTime();  // collects a possible error of the monitoring thread
    subject.getTime();
    subject.snapTime(-399);
    subject.tick();
    subject.getTime();
    subject.setCorrection(-1250);
    subject.getCorrection();
    subject.getLimits();
    subject.finalize();
    subject.getTime();
}

/// After a start, failed or not: starts again from a clean state.
void startAgain(Subject& subject, SimulatedController&) {
    subject.getTime();
    subject.finalize();
    subject.initialize();
    subject.getTime();
    subject.finalize();
}

void loseAnInterface(Subject& subject, SimulatedController& controller) {
    subject.initialize();
    controller.interfaces[0].isUp = false;
    subject.tick();
    controller.interfaces[0].isUp = true;
}

void stopTheFpga(Subject& subject, SimulatedController& controller) {
    subject.initialize();
    controller.fpgaIsRunning = false;
}

void tick(Subject& subject, SimulatedController&) { subject.tick(); }

void stepOnce(Subject& subject, SimulatedController&) {
    subject.snapTime(kStepNs);
    subject.tick();
}

void stepTwice(Subject& subject, SimulatedController&) {
    subject.snapTime(kStepNs);
    subject.snapTime(-kStepNs);
    subject.tick();
}

void steer(Subject& subject, SimulatedController&) {
    subject.setCorrection(-12000);
    subject.getCorrection();
    subject.setCorrection(62001);
    subject.getLimits();
}

const std::vector<Story> kStories{
    {"initialize", nothing, start, startAgain},
    {"snapTime", start, stepOnce, goOn},
    {"snapTime twice", start, stepTwice, goOn},
    {"idle service", start, tick, goOn},
    {"service of a returning I210", loseAnInterface, tick, goOn},
    {"service of a stopped FPGA", stopTheFpga, tick, goOn},
    {"metadata", start, [](Subject& subject, SimulatedController&) { subject.applyMetaData(true); }, goOn},
    {"steering", start, steer, goOn},
    {"getTime", start, [](Subject& subject, SimulatedController&) { subject.getTime(); }, goOn},
    {"finalize", start, [](Subject& subject, SimulatedController&) { subject.finalize(); }, startAgain},
};

}  // namespace

const std::vector<Story>& allStories() { return kStories; }

const Story& storyNamed(const std::string& name) {
    for (const Story& story : kStories) {
        if (story.name == name) return story;
    }
    throw std::invalid_argument("no story " + name);
}

}  // namespace faults
