// Story 110: success paths allocate nothing.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/userSpace/controller.h"

#ifdef HALVEX_SANITIZER
// A sanitizer intercepts the allocations itself.
#else

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
}

namespace {
std::atomic<long> g_allocations{0};
}

extern "C" {

void* malloc(size_t size) {
    ++g_allocations;
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    ++g_allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
    ++g_allocations;
    return __libc_realloc(memory, size);
}

}  // extern "C"

namespace {

class WhatIsAllocated : public stories::UserSpaceController {
protected:
    template <typename Work>
    long allocationsOf(Work&& work) {
        work();  // once, for everything allocated on first use
        const long before = g_allocations;
        work();
        return g_allocations - before;
    }

    zuerr_Status status_{0, 0, testsupport::exactReallocJson, nullptr};
};

TEST_F(WhatIsAllocated, IsSeenByTheCounter) {
    const long before = g_allocations;
    void* volatile memory = malloc(10);
    free(memory);
    EXPECT_GE(g_allocations - before, 1);
}

TEST_F(WhatIsAllocated, IsNothingWhenTheTimeIsReadOrTheRateIsReadOrSet) {
    start();
    EXPECT_EQ(allocationsOf([&] {
                  QxmTimestamp time;
                  zuqxmtk_getTime(&time, &status_);
              }),
              0);
    EXPECT_EQ(allocationsOf([&] { zuqxmtk_setCorrectionPerSecond(-61999, &status_); }), 0);
    EXPECT_EQ(allocationsOf([&] {
                  std::int32_t correctionPpb;
                  zuqxmtk_getCorrectionPerSecond(&correctionPpb, &status_);
              }),
              0);
    EXPECT_EQ(allocationsOf([&] {
                  char name[32];
                  zuqxmtk_getName(name);
                  zuqxmtk_isSeeded();
                  zuqxmtk_getAPIVersion();
                  zuqxmtk_getMaxCorrectionPerSecond(&status_);
                  zuqxmtk_getMinCorrectionPerSecond(&status_);
              }),
              0);
    EXPECT_EQ(status_.code, 0);
}

TEST_F(WhatIsAllocated, IsNothingInAnAlignmentIterationAfterItHasBegun) {
    start();
    // A step allocates a thread and its future; the alignment's allocations must not depend on its iterations.
    const auto stepAndSettle = [&](std::int64_t offsetNs) {
        zuqxmtk_snapTime(offsetNs, &status_);
        waitS(0.3);
    };
    const long short_ = allocationsOf([&] { stepAndSettle(0); });
    const long longer = allocationsOf([&] { stepAndSettle(1'000'000'000); });
    EXPECT_EQ(status_.code, 0);
    EXPECT_EQ(longer, short_) << "more iterations, no more allocations";
}

TEST_F(WhatIsAllocated, IsLittleInAnIdlePass) {
    start();
    waitS(10);
    const long perPass = allocationsOf([&] { waitS(20); }) / 10;
    EXPECT_LE(perPass, 8) << "what parsing \"{}\" takes, and two more";
}

}  // namespace

#endif
