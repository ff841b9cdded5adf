// Fails every operating-system call of every story in every plausible way, once and forever, and compares actual with
// required behaviour: calls, messages, log lines, results, and what is left open.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/catalog.h"
#include "tests/faults/comparison.h"
#include "tests/faults/figures.h"
#include "tests/faults/interposition.h"
#include "tests/faults/library.h"
#include "tests/faults/story.h"
#include "tests/support/test.h"

namespace faults {
namespace {

const SimulatedController* controllerOfChild = nullptr;
const Expected* expectedOfChild = nullptr;
constexpr int kEndedAsExpected = 77;
constexpr int kEndedOtherwise = 78;
constexpr int kWentOn = 79;

[[noreturn]] void judgeTheEnd() {
    answerFrom(nullptr);
    const std::string text = difference(expectedOfChild->journal, controllerOfChild->journal());
    std::cerr << text << std::flush;
    _exit(text.empty() ? kEndedAsExpected : kEndedOtherwise);
}

/// Runs the library in a child process, which must end by std::terminate after exactly the expected calls.
std::string runInChild(const Story& story, const FaultPlan& plan, const Expected& expected) {
    const pid_t child = fork();
    if (child == 0) {
        SimulatedController controller;
        controllerOfChild = &controller;
        expectedOfChild = &expected;
        std::set_terminate(judgeTheEnd);
        alarm(20);
        Library library(controller);
        tell(story, plan, controller, library);
        _exit(kWentOn);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kEndedAsExpected) return "";
    return "  the process was to end in std::terminate; wait status " + std::to_string(status) + '\n';
}

bool hasEverHung(const Call call) { return call == Call::wait; }  // failing forever, the thread would never wait again

class CallSweep : public testing::Test {
protected:
    void sweep(const std::string& name) {
        const Story& story = storyNamed(name);
        long position = 1;
        for (;; ++position) {
            const Expected unharmed = expect(story, {position, {}, false});
            if (!unharmed.met) break;
            const Call call = unharmed.met->call;
            for (const Outcome& outcome : outcomesOf(call, unharmed.met->isDriver)) {
                run(story, {position, outcome, false});
                if (!hasEverHung(call)) run(story, {position, outcome, true});
                if (wrong_ > 5) FAIL() << "too many are wrong to go on";
            }
        }
        run(story, {position, {}, false});  // once without a fault
        figures().positions += position - 1;
        std::cout << name << ": " << runs_ << " runs at " << position - 1 << " positions, " << wrong_ << " wrong\n";
    }

private:
    void run(const Story& story, const FaultPlan& plan) {
        ++runs_;
        ++figures().runs;
        const Expected expected = expect(story, plan);
        if (expected.endsProcess) ++figures().processEnds;
        const std::string text =
            expected.endsProcess ? runInChild(story, plan, expected) : runHere(story, plan, expected);
        if (text.empty()) return;
        ++wrong_;
        ++figures().wrong;
        ADD_FAILURE() << story.name << ", call " << plan.position << ", " << plan.outcome.describe()
                      << (plan.forEver ? ", forever\n" : ", once\n") << text;
    }

    long runs_ = 0;
    long wrong_ = 0;
};

TEST_F(CallSweep, InitializeReportsEveryFaultAndCanBeTriedAgain) { sweep("initialize"); }
TEST_F(CallSweep, SnapTimeAndItsAlignmentReportEveryFault) { sweep("snapTime"); }
TEST_F(CallSweep, ASecondSnapTimeReportsTheFaultsOfTheFirst) { sweep("snapTime twice"); }
TEST_F(CallSweep, AnIdleServicePassReportsEveryFaultToTheNextCall) { sweep("idle service"); }
TEST_F(CallSweep, AServicePassThatAlignsAnI210AgainReportsEveryFault) { sweep("service of a returning I210"); }
TEST_F(CallSweep, AServicePassThatAlignsTheFpgaAgainReportsEveryFault) { sweep("service of a stopped FPGA"); }
TEST_F(CallSweep, MetadataThatTheFpgaDoesNotTakeIsReported) { sweep("metadata"); }
TEST_F(CallSweep, TheCorrectionCallsReportEveryFault) { sweep("steering"); }
TEST_F(CallSweep, GetTimeReportsEveryFault) { sweep("getTime"); }
TEST_F(CallSweep, FinalizeEndsTheProcessOrLeavesNothingBehind) { sweep("finalize"); }

TEST(AnEdge, ThatTheFpgaMissesIsLookedFor101TimesWith10MsBetween) {
    const Story& usual = storyNamed("service of a stopped FPGA");
    const Story story{"missed edge", usual.before,
                      [](Subject& subject, SimulatedController& controller) {
                          controller.edgesThatTheFpgaMisses = 1;
                          subject.tick();
                      },
                      usual.after};
    const Expected expected = expect(story, {});
    EXPECT_EQ(std::count(expected.journal.begin(), expected.journal.end(), "sleep 0.10000000 = 0"), 101);
    EXPECT_EQ(runHere(story, {}, expected), "");
}

TEST(CallSweepItself, NoticesACallThatIsMissingAndAMessageThatDiffers) {
    const Expected expected = expect(storyNamed("getTime"), {1, {5, std::nullopt, 0}, false});
    Journal shorter = expected.journal;
    shorter.erase(shorter.begin() + 3);
    EXPECT_NE(difference(expected.journal, shorter), "");
    Journal reworded = expected.journal;
    reworded[reworded.size() - 2] += "x";
    EXPECT_NE(difference(expected.journal, reworded), "");
    EXPECT_EQ(difference(expected.journal, expected.journal), "");
}

}  // namespace
}  // namespace faults
