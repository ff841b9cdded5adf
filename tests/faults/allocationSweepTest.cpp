// Refuses every allocation of the library, one at a time and from one on, through every export: the host gets an error
// for lack of memory or the original one, loses at most members of a text, and nothing leaks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <nlohmann/json.hpp>

#include "tests/faults/allocationFaults.h"
#include "tests/faults/figures.h"
#include "tests/faults/library.h"
#include "tests/faults/story.h"
#include "tests/support/errorCodes.h"
#include "tests/support/test.h"

namespace faults {
namespace {

using testsupport::kMemoryFull;
using testsupport::kNotInitialized;
constexpr std::int32_t kUnparsable = -52005;  // cJSON's error for any failure, lack of memory included
constexpr const char* kMemoryFullText =
    R"({"error_constant":"zuplaterr_memoryFull","file":"zuerr/tools/exception_errStatus","line":62,)"
    R"("component":"halvexTimekeeper","std_exception_what":"std::bad_alloc"})";

/// What one export reported to the host.
struct Result {
    std::string name;
    std::int32_t code;
    std::string json;
};

std::optional<Result> parseResult(const std::string& line) {
    if (!line.starts_with("zuqxmtk_") || line.find(" code ") == std::string::npos) return std::nullopt;
    std::istringstream words(line);
    Result result;
    std::string ignored;
    words >> result.name >> ignored >> result.code >> std::ws;
    std::getline(words, result.json);
    const auto end = result.json.rfind('}');
    result.json = end == std::string::npos ? "" : result.json.substr(0, end + 1);
    return result;
}

/// Whether the members of `text` are a subsequence of those of `whole`: only whole members may be lost.
bool isPartOf(const std::string& text, const std::string& whole) {
    const auto part = nlohmann::ordered_json::parse(text);
    const auto all = nlohmann::ordered_json::parse(whole);
    auto place = all.begin();
    for (const auto& [key, value] : part.items()) {
        while (place != all.end() && place.key() != key) ++place;
        if (place == all.end()) return false;
        const bool isSame = *place == value || (value.is_object() && value.empty());
        if (!isSame) return false;
        ++place;
    }
    return true;
}

struct Shortage {
    long position;
    bool forEver;
};

class AllocationSweep : public testing::Test {
protected:
    /// `errors` are the codes that the story itself can cause, besides lack of memory. With `fault` the controller
    /// fails too.
    void sweep(const Story& story, std::set<std::int32_t> errors, const FaultPlan& fault = {}) {
        story_ = &story;
        errors_ = std::move(errors);
        fault_ = fault;
        run({0, false});
        for (Shortage shortage{1, false};; ++shortage.position) {
            for (const bool forEver : {false, true}) {
                shortage.forEver = forEver;
                run(shortage);
                if (HasFailure()) return;
            }
            if (counted_ < shortage.position) break;
        }
        std::cout << story.name << ": " << runs_ << " runs without memory, " << mostCounted_ << " allocations\n";
    }

private:
    void run(const Shortage& shortage) {
        ++runs_;
        ++figures().allocationRuns;
        SimulatedController controller;
        {
            Library library(controller);
            refuseAllocation(0, false);
            story_->before(library, controller);
            controller.note("--- swept");
            controller.arm(fault_);
            refuseAllocation(shortage.position, shortage.forEver);
            story_->swept(library, controller);
            allowAllocations();
            counted_ = countLibraryAllocations();
            mostCounted_ = std::max(mostCounted_, counted_);
            controller.disarm();
            controller.note("--- after");
            story_->after(library, controller);
        }
        const long live = countLiveAllocations();
        forgetAllocations();
        SCOPED_TRACE(story_->name + ", allocation " + std::to_string(shortage.position) +
                     (shortage.forEver ? ", forever" : ", once"));
        EXPECT_EQ(live, 0) << "allocations are left";
        judge(controller.journal(), shortage);
        if (HasFailure()) ++figures().wrong;
    }

    void judge(const std::vector<std::string>& journal, const Shortage& shortage) const {
        const auto swept = std::find(journal.begin(), journal.end(), "--- swept");
        const auto after = std::find(journal.begin(), journal.end(), "--- after");
        for (auto line = swept; line != after; ++line) {
            if (const auto result = parseResult(*line)) judgeSwept(*result, *line, shortage);
        }
        bool mayTellOfTheThread = true;  // the first call afterwards reports the monitoring thread's error
        bool isInitialized = false;
        for (auto line = after; line != journal.end(); ++line) {
            isInitialized = isInitialized || line->starts_with("zuqxmtk_initialize code 0");
            const auto result = parseResult(*line);
            if (!result) continue;
            if (std::exchange(mayTellOfTheThread, false)) {
                judgeSwept(*result, *line, shortage);
            } else {
                EXPECT_TRUE(result->code == 0 || isLastCallAfterFinalize(journal, line)) << *line;
            }
        }
    }

    static bool isLastCallAfterFinalize(const std::vector<std::string>& journal,
                                        std::vector<std::string>::const_iterator line) {
        const auto result = parseResult(*line);
        return result->code == kNotInitialized && std::find(journal.begin(), line, "zuqxmtk_finalize") != line;
    }

    void judgeSwept(const Result& result, const std::string& line, const Shortage& shortage) const {
        if (result.code == 0) return;
        const bool isShortage = result.code == kMemoryFull;
        EXPECT_TRUE(isShortage || errors_.contains(result.code)) << line;
        if (isShortage && !shortage.forEver) {
            EXPECT_EQ(result.json, kMemoryFullText);
        } else if (isShortage && !result.json.empty()) {
            EXPECT_TRUE(isPartOf(result.json, kMemoryFullText)) << line;
        } else if (!result.json.empty()) {
            EXPECT_TRUE(nlohmann::json::accept(result.json)) << line;
        }
    }

    const Story* story_ = nullptr;
    std::set<std::int32_t> errors_;
    FaultPlan fault_;
    long counted_ = 0;
    long mostCounted_ = 0;
    long runs_ = 0;
};

TEST_F(AllocationSweep, InitializeReportsMemoryFullAndSucceedsTheSecondTime) {
    sweep(storyNamed("initialize"), {kNotInitialized});
}
TEST_F(AllocationSweep, SnapTimeAndItsAlignmentLoseNothingButMemory) { sweep(storyNamed("snapTime"), {kUnparsable}); }
TEST_F(AllocationSweep, AServicePassThatAlignsAgainLosesNothingButMemory) {
    sweep(storyNamed("service of a returning I210"), {kUnparsable});
    sweep(storyNamed("service of a stopped FPGA"), {kUnparsable});
}
TEST_F(AllocationSweep, MetadataThatCannotBeParsedForLackOfMemoryIsRefused) {
    sweep(storyNamed("metadata"), {kUnparsable});
}
TEST_F(AllocationSweep, TheCorrectionCallsKeepTheCodeOfTheirError) { sweep(storyNamed("steering"), {-52005}); }
TEST_F(AllocationSweep, GetTimeAllocatesNothing) { sweep(storyNamed("getTime"), {}); }
TEST_F(AllocationSweep, FinalizeSucceedsWithoutMemory) {
    sweep(storyNamed("finalize"), {kNotInitialized, kMemoryFull, kUnparsable});
}

TEST_F(AllocationSweep, AnErrorOfADeviceKeepsItsCodeWhenItsTextDoesNotFit) {
    sweep(storyNamed("getTime"), {-52024}, {1, {EIO, std::nullopt, 0}, true});
    sweep(storyNamed("idle service"), {-52024, kUnparsable}, {3, {EIO, std::nullopt, 0}, false});
    sweep(storyNamed("snapTime"), {-52024, kUnparsable}, {8, {EIO, std::nullopt, 0}, false});
}

TEST_F(AllocationSweep, ACallBeforeInitializationKeepsItsCode) {
    const Story story{"not initialized", [](Subject&, SimulatedController&) {},
                      [](Subject& subject, SimulatedController&) {
                          subject.getTime();
                          subject.snapTime(200);
                          subject.setCorrection(1);
                          subject.getCorrection();
                          subject.applyMetaData(true);
                      },
                      [](Subject& subject, SimulatedController&) { subject.finalize(); }};
    sweep(story, {kNotInitialized});
}

}  // namespace
}  // namespace faults
