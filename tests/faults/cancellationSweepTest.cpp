// Cancels the host's thread before every export and at each of its calls, and the library's own threads likewise: a
// call completes as usual or is abandoned before it does anything; nothing leaks, and the process continues.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/account.h"
#include "tests/faults/catalog.h"
#include "tests/faults/comparison.h"
#include "tests/faults/figures.h"
#include "tests/faults/library.h"
#include "tests/support/test.h"

namespace faults {
namespace {

constexpr const char* kSwept = "--- swept";
constexpr const char* kAfter = "--- after";
constexpr long kBefore = 0;

/// Plays the swept part of a story on a thread that is cancelled before it or at one of its calls.
class CancelledPart {
public:
    CancelledPart(const Story& story, Subject& subject, SimulatedController& controller, bool isCancelledBefore)
        : story_(story), subject_(subject), controller_(controller), isCancelledBefore_(isCancelledBefore) {
        const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
        pthread_t thread;
        EXPECT_EQ(create(&thread, nullptr, run, this), 0)
            << "a thread of the host's, which the controller does not see";
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        wasCancelled_ = result == PTHREAD_CANCELED;
    }

    bool wasCancelled() const { return wasCancelled_; }
    bool hasFinished() const { return hasFinished_; }

private:
    static void* run(void* given) {
        auto& self = *static_cast<CancelledPart*>(given);
        if (self.isCancelledBefore_) pthread_cancel(pthread_self());
        self.story_.swept(self.subject_, self.controller_);
        self.hasFinished_ = true;
        pthread_testcancel();
        return nullptr;
    }

    const Story& story_;
    Subject& subject_;
    SimulatedController& controller_;
    bool isCancelledBefore_;
    bool hasFinished_ = false;
    bool wasCancelled_ = false;
};

/// The lines between two marks, exclusive.
Journal part(const Journal& journal, const char* from, const char* to) {
    const auto begin = std::find(journal.begin(), journal.end(), from);
    const auto end = std::find(begin, journal.end(), to);
    return {begin + 1, end};
}

/// What the host observes, call by call, and what is left at the end, without times, which depend on earlier calls.
Journal resultsOf(const Journal& journal) {
    Journal results;
    for (const std::string& line : journal) {
        if (line.starts_with("zuqxmtk_")) results.push_back(line.substr(0, line.find(' ', line.find(" code ") + 6)));
        if (line.starts_with("left:")) results.push_back(line);
    }
    return results;
}

class CancellationSweep : public testing::Test {
protected:
    /// With `mayAct`, calls of the story may be abandoned instead of completed.
    void sweep(const Story& story, bool mayAct = false) {
        mayAct_ = mayAct;
        run(story, {0, {}, false, kBefore});
        long position = 1;
        for (;; ++position) {
            const Expected unharmed = expect(story, {position});
            if (!unharmed.met) break;
            run(story, {0, {}, false, position});
            const Outcome outcome = outcomesOf(unharmed.met->call, unharmed.met->isDriver).front();
            if (!expect(story, {position, outcome}).endsProcess) run(story, {position, outcome, false, kBefore});
            if (HasFailure()) FAIL() << "call " << position << " of " << story.name;
        }
        EXPECT_TRUE(mayAct == (left_ > 0)) << left_;
        std::cout << story.name << ": " << runs_ << " cancellations, " << left_ << " of them acted on\n";
    }

private:
    static void tellUpToSwept(const Story& story, const FaultPlan& plan, SimulatedController& controller,
                              Subject& subject) {
        story.before(subject, controller);
        controller.note(kSwept);
        controller.arm(plan);
    }
    static void tellTheRest(const Story& story, SimulatedController& controller, Subject& subject) {
        controller.disarm();
        controller.note(kAfter);
        story.after(subject, controller);
        controller.noteWhatIsLeft();
    }

    static Journal expectedJournal(const Story& story, FaultPlan plan) {
        plan.cancelAt = 0;
        SimulatedController controller;
        Account account(controller);
        tellUpToSwept(story, plan, controller, account);
        story.swept(account, controller);
        tellTheRest(story, controller, account);
        return controller.journal();
    }

    void run(const Story& story, const FaultPlan& plan) {
        ++runs_;
        ++figures().cancellations;
        const Journal expected = expectedJournal(story, plan);
        SimulatedController controller;
        bool hasFinished = false;
        {
            Library library(controller);
            tellUpToSwept(story, plan, controller, library);
            const CancelledPart cancelled(story, library, controller, plan.cancelAt == kBefore);
            tellTheRest(story, controller, library);
            hasFinished = cancelled.hasFinished();
            EXPECT_TRUE(cancelled.wasCancelled() || plan.cancelAt != kBefore) << "the cancellation is lost";
        }
        if (hasFinished) {
            EXPECT_EQ(difference(expected, controller.journal()), "");
            return;
        }
        ++left_;
        EXPECT_TRUE(mayAct_) << "a call was left";
        const Journal whole = part(expected, kSwept, kAfter), done = part(controller.journal(), kSwept, kAfter);
        EXPECT_TRUE(done.size() <= whole.size() && std::equal(done.begin(), done.end(), whole.begin()));
        EXPECT_EQ(resultsOf(part(controller.journal(), kAfter, "")), resultsOf(part(expected, kAfter, "")));
    }

    bool mayAct_ = false;
    long runs_ = 0;
    long left_ = 0;
};

TEST_F(CancellationSweep, InitializeFinishes) { sweep(storyNamed("initialize")); }
TEST_F(CancellationSweep, SnapTimeFinishesAndSoDoesItsAlignment) { sweep(storyNamed("snapTime")); }
TEST_F(CancellationSweep, ASnapTimeThatWaitsForAnAlignmentKeepsItsError) { sweep(storyNamed("snapTime twice")); }
TEST_F(CancellationSweep, TheMonitoringThreadGoesOn) { sweep(storyNamed("idle service")); }
TEST_F(CancellationSweep, TheMonitoringThreadAlignsAnI210) { sweep(storyNamed("service of a returning I210")); }
TEST_F(CancellationSweep, TheMonitoringThreadAlignsTheFpga) { sweep(storyNamed("service of a stopped FPGA")); }
TEST_F(CancellationSweep, MetadataArrives) { sweep(storyNamed("metadata")); }
TEST_F(CancellationSweep, TheCorrectionCallsFinishOrAreLeftWithNothingHeld) { sweep(storyNamed("steering"), true); }
TEST_F(CancellationSweep, GetTimeFinishes) { sweep(storyNamed("getTime")); }
TEST_F(CancellationSweep, FinalizeFinishes) { sweep(storyNamed("finalize")); }

TEST_F(CancellationSweep, CallsBeforeInitialisationReportThatNothingIsInitialised) {
    sweep({"not initialised", [](Subject&, SimulatedController&) {},
           [](Subject& subject, SimulatedController&) {
               subject.getTime();
               subject.snapTime(200);
               subject.setCorrection(1);
               subject.getCorrection();
               subject.getLimits();
               subject.applyMetaData(false);
               subject.finalize();
           },
           [](Subject& subject, SimulatedController&) { subject.initialize(), subject.finalize(); }});
}

}  // namespace
}  // namespace faults
