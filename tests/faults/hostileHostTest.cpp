// The library in difficult hosts: its behaviour must not change.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/time.h>

#include "include/zuqxmtk.h"
#include "tests/faults/account.h"
#include "tests/faults/comparison.h"
#include "tests/faults/interposition.h"
#include "tests/faults/library.h"
#include "tests/faults/story.h"
#include "tests/support/numericLocale.h"
#include "tests/support/statusHolder.h"
#include "tests/support/test.h"

namespace faults {
namespace {

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

/// Plays every story without faults; returns where the library differs.
std::string tellAll(const ControllerOptions& options = {}) {
    std::string text;
    for (const Story& story : allStories()) text += runHere(story, {}, expect(story, {}, options), options);
    return text;
}

bool has(const SimulatedController& controller, const std::string& line) {
    return std::any_of(controller.journal().begin(), controller.journal().end(),
                       [&](const std::string& seen) { return seen.starts_with(line); });
}

/// The exit status of `life` in a child process.
int exitStatusOf(void (*life)()) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        life();
        _exit(99);  // `life` must exit
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -status;
}

TEST(HostileHost, WithDescriptorsAbove1024IsServedAsAnyOther) { EXPECT_EQ(tellAll({.lowestDescriptor = 5000}), ""); }

TEST(HostileHost, WithClosedStandardStreamsKeepsDescriptor0Open) {
    EXPECT_EQ(tellAll({.lowestDescriptor = 0}), "");
    SimulatedController controller({.lowestDescriptor = 0});
    {
        Library library(controller);
        library.initialize();
        library.finalize();
        controller.noteWhatIsLeft();
    }
    EXPECT_EQ(controller.journal().back(), "left: 0=/dev/ptp0 zombie 4000");
}

TEST(HostileHost, ThatHasNoDescriptorLeftAtAnyOpenIsToldSo) {
    for (std::size_t most = 0; most < 8; ++most) {
        const Story story{"no descriptor left", [](Subject&, SimulatedController&) {},
                          [most](Subject& subject, SimulatedController& controller) {
                              controller.mostDescriptors = most;
                              subject.initialize();
                              controller.mostDescriptors = 1000;
                          },
                          storyNamed("initialize").after};
        EXPECT_EQ(runHere(story, {}, expect(story, {})), "") << most;
    }
}

TEST(HostileHost, WithAnInterfaceNamedLikeAFormatSeesItsNameInEveryLine) {
    EXPECT_EQ(tellAll({.firstName = "%n%s", .secondName = "a%d%%"}), "");
    EXPECT_EQ(
        tellAll({.firstName = "a-name-of-sixteen-and-more", .secondName = "\"quoted\\"}).find("buffer out of shape"),
        std::string::npos);
}

TEST(HostileHost, ThatStepsByTheLimitsOf64BitsIsAnsweredWithoutOverflow) {
    for (const std::int64_t offsetNs : {kLeast, kLeast + 1, kMost, kMost - 1, std::int64_t{0}}) {
        const Story story{"limits", storyNamed("snapTime").before,
                          [offsetNs](Subject& subject, SimulatedController&) {
                              subject.snapTime(offsetNs);
                              subject.tick();
                              subject.snapTime(-200);
                              subject.tick();
                          },
                          storyNamed("snapTime").after};
        EXPECT_EQ(runHere(story, {}, expect(story, {})), "") << offsetNs;
    }
}

TEST(HostileHost, ThatSteersByTheLimitsOf32BitsIsRefused) {
    for (const std::int32_t ppb :
         {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        const Story story{"limits", storyNamed("steering").before,
                          [ppb](Subject& subject, SimulatedController&) { subject.setCorrection(ppb); },
                          storyNamed("steering").after};
        EXPECT_EQ(runHere(story, {}, expect(story, {})), "") << ppb;
    }
}

TEST(HostileHost, WithACommaLocaleIsSteeredByPointsAndKeepsItsLocale) {
    const testsupport::NumericLocale comma(testsupport::NumericLocale::kComma);
    if (!comma.isSet()) GTEST_SKIP() << testsupport::NumericLocale::kWhyNotSet;
    SimulatedController controller;
    {
        Library library(controller);
        library.initialize();
        library.setCorrection(-1250);
        library.getCorrection();
        library.applyMetaData(true);
        library.finalize();
    }
    EXPECT_TRUE(has(controller, "write 14 -1250.000000")) << testing::PrintToString(controller.journal());
    EXPECT_TRUE(has(controller, "zuqxmtk_getCorrectionPerSecond code 0 null -1250"));
    EXPECT_EQ(*localeconv()->decimal_point, ',');
}

TEST(HostileHost, ThatGives16MiBOfMetadataGetsThemApplied) {
    const std::string document =
        std::string(R"({"filler":")") + std::string(16 << 20, 'x') + R"(",)" + (kPtpDocument + 1);
    const auto record = [](const SimulatedController& controller) {
        std::string last;
        for (const std::string& line : controller.journal()) {
            if (line.find(" 3223352578 ") != std::string::npos) last = line;
        }
        return last;
    };
    SimulatedController small, large;
    for (const bool isLarge : {false, true}) {
        SimulatedController& controller = isLarge ? large : small;
        Library library(controller);
        library.initialize();
        library.applyText(isLarge ? document.c_str() : kPtpDocument);
        const std::string applied = record(controller);
        EXPECT_NE(applied.find("13000000"
                               "01"
                               "02000000"
                               "fa000000"
                               "01"
                               "25000000"
                               "01"),
                  std::string::npos)
            << applied;
        library.finalize();
    }
    EXPECT_EQ(difference(small.journal(), large.journal()), "");
}

std::atomic<long> signalsSeen{0};
std::atomic<long> signalsElsewhere{0};
pthread_t hostThread;

void countSignal(int) {
    ++signalsSeen;
    if (pthread_equal(pthread_self(), hostThread) == 0) ++signalsElsewhere;
}

TEST(HostileHost, InASignalStormIsServedAndNoThreadOfTheLibraryTakesASignal) {
    hostThread = pthread_self();
    struct sigaction storm {
    }, former{};
    storm.sa_handler = countSignal;  // without SA_RESTART
    sigaction(SIGALRM, &storm, &former);
    const itimerval often{{0, 100}, {0, 100}}, never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    std::string text;
    for (int round = 0; round < 20; ++round) text += tellAll();
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &former, nullptr);
    EXPECT_EQ(text, "");
    EXPECT_GT(signalsSeen, 100);
    EXPECT_EQ(signalsElsewhere, 0);
}

/// Process-wide state of the host that a library must not change.
struct HostState {
    std::vector<struct sigaction> actions;
    sigset_t mask;
    mode_t umaskBits;
    std::string workingDirectory, locale;

    HostState() {
        for (int number = 1; number < 32; ++number) {
            struct sigaction action {};
            sigaction(number, nullptr, &action);
            actions.push_back(action);
        }
        sigemptyset(&mask);
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        umaskBits = umask(022);
        umask(umaskBits);
        char path[4096];
        workingDirectory = getcwd(path, sizeof path);
        locale = setlocale(LC_ALL, nullptr);
    }
    bool operator==(const HostState& other) const {
        const auto isSame = [](const struct sigaction& a, const struct sigaction& b) {
            return a.sa_handler == b.sa_handler;
        };
        bool isSameMask = true;
        for (int number = 1; number < 32; ++number) {
            isSameMask = isSameMask && sigismember(&mask, number) == sigismember(&other.mask, number);
        }
        return std::equal(actions.begin(), actions.end(), other.actions.begin(), isSame) && isSameMask &&
               umaskBits == other.umaskBits && workingDirectory == other.workingDirectory && locale == other.locale;
    }
};

TEST(HostileHost, WithBlockedAndIgnoredSignalsIsServedAndFindsEverythingAsItWas) {
    sigset_t blocked, former;
    sigfillset(&blocked);
    pthread_sigmask(SIG_SETMASK, &blocked, &former);
    const auto formerPipe = signal(SIGPIPE, SIG_IGN);
    const auto formerChild = signal(SIGCHLD, SIG_IGN);
    const HostState before;
    EXPECT_EQ(tellAll(), "");
    EXPECT_TRUE(before == HostState());
    signal(SIGPIPE, formerPipe);
    signal(SIGCHLD, formerChild);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

SimulatedController* controllerForGood = nullptr;

/// Constructed before the library is first initialised, so destroyed after the library has shut down.
struct JudgeOfTheExit {
    ~JudgeOfTheExit() {
        if (controllerForGood == nullptr) return;
        controllerForGood->noteWhatIsLeft();
        const bool isClean = controllerForGood->journal().back() == "left: zombie 4000";
        answerFrom(nullptr);
        _exit(isClean ? 0 : 1);
    }
} judgeOfTheExit;

TEST(HostileHost, ThatExitsWithoutFinalizeNeitherHangsNorLeavesPhc2sysRunning) {
    EXPECT_EQ(exitStatusOf([] {
                  controllerForGood = new SimulatedController;
                  auto* const library = new Library(*controllerForGood);
                  library->initialize();
                  std::exit(0);
              }),
              0);
}

TEST(HostileHost, ThatForksAfterInitializeKeepsTheHardwareToItself) {
    EXPECT_EQ(exitStatusOf([] {
                  SimulatedController controller;
                  Library library(controller);
                  library.initialize();
                  const std::size_t before = controller.journal().size();
                  const pid_t child = fork();
                  if (child == 0) {
                      zuqxmtk_finalize();
                      answerFrom(nullptr);
                      _exit(controller.journal().size() == before ? 0 : 1);  // no call on the parent's resources
                  }
                  int status = 0;
                  waitpid(child, &status, 0);
                  library.getTime();
                  library.finalize();
                  controller.noteWhatIsLeft();
                  _exit(status == 0 && controller.journal().back() == "left: zombie 4000" ? 0 : 2);
              }),
              0);
}

TEST(HostileHost, ThatUnloadsTheLibraryWithoutFinalizeNeitherHangsNorCrashes) {
    EXPECT_EQ(exitStatusOf([] {
                  void* const handle = dlopen(HALVEX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
                  if (handle == nullptr) _exit(3);
                  const auto initialize =
                      reinterpret_cast<void (*)(zuerr_Status*)>(dlsym(handle, "zuqxmtk_initialize"));
                  SimulatedController controller;
                  answerFrom(&controller);
                  testsupport::StatusHolder status;
                  initialize(status.get());
                  if (status->code != 0) _exit(4);
                  awaitMonitorIdle();
                  dlclose(handle);
                  controller.noteWhatIsLeft();
                  answerFrom(nullptr);
                  _exit(controller.journal().back() == "left: zombie 4000" ? 0 : 5);
              }),
              0);
}

}  // namespace
}  // namespace faults
