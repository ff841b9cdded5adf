// The epoch signal: which clocks stamp it, when, and which miss it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::epochTest {

class Epoch : public ModelBoardTest {
protected:
    Epoch() {
        addInterface("enp2s0", 1);
        addInterface("enp1s0", 0);
        config.interfaces[0].clock.offset_ns = 3'200'000'000;
        config.interfaces[1].clock.offset_ns = -412;
        config.fpga.clock.offset_ns = 730'000'001;
        config.ferrox.clock.offset_ns = -1'250'000'000;
        config.crystal_error_ppt = 12'000'123;
    }

    std::uint64_t fpgaEpoch(std::uint64_t rawNs) {
        return driverCall(rawNs, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP).result;
    }
};

TEST_F(Epoch, OneInstantStampsEveryClockExactly) {
    for (std::uint64_t round = 1; round <= 50; ++round) {
        const std::uint64_t rawNs = round * 123'456'789;
        ASSERT_EQ(arm(rawNs, 0), 0);
        ASSERT_EQ(arm(rawNs, 1), 0);
        const std::uint64_t master = generateEpoch(rawNs + 10);
        const board_truth truth = of(BOARD_HAPPENING_EPOCH).back().truth;
        ASSERT_EQ(truth.raw_ns, rawNs + 10);
        const std::vector<board_phc_event> events[2] = {take(rawNs + kMs, 0), take(rawNs + kMs, 1)};
        ASSERT_EQ(events[0].size(), 2U);
        ASSERT_EQ(events[1].size(), 2U);
        EXPECT_EQ(static_cast<std::int64_t>(events[0][0].time_ns - master), truth.difference_ns[BOARD_CLOCK_PHC(0)]);
        EXPECT_EQ(static_cast<std::int64_t>(events[1][0].time_ns - master), truth.difference_ns[BOARD_CLOCK_PHC(1)]);
        EXPECT_EQ(static_cast<std::int64_t>(fpgaEpoch(rawNs + kMs) - master), truth.difference_ns[BOARD_CLOCK_FPGA]);
        EXPECT_EQ(truth.difference_ns[BOARD_CLOCK_PHC(0)], 4'450'000'000);
        EXPECT_EQ(truth.difference_ns[BOARD_CLOCK_PHC(1)], 1'249'999'588);
        EXPECT_EQ(truth.difference_ns[BOARD_CLOCK_FPGA], 1'980'000'001);
    }
}

TEST_F(Epoch, BothEdgesAreStampedThoughOnlyTheRisingWasAskedFor) {
    config.crystal_error_ppt = 0;
    config.pulse_width_ns = 700;
    ASSERT_EQ(arm(kS, 1), 0);
    generateEpoch(kS);
    const auto events = take(kS + kMs, 1);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[1].time_ns - events[0].time_ns, 700U);
    const auto stamps = of(BOARD_HAPPENING_STAMP);
    ASSERT_EQ(stamps.size(), 3U);  // the FPGA's and two of the PHC
    EXPECT_FALSE(stamps[1].stamp.falling);
    EXPECT_TRUE(stamps[2].stamp.falling);
}

TEST_F(Epoch, EventsArriveAfterTheInterruptsLatency) {
    config.interfaces[1].interrupt_latency_ns = 5000;
    config.interfaces[1].interrupt_jitter_ns = 0;
    config.pulse_width_ns = 6000;
    ASSERT_EQ(arm(kS, 1), 0);
    generateEpoch(kS);
    EXPECT_EQ(board_phc_waiting(on(), kS + 4999, 1), 0);
    EXPECT_EQ(board_next_change(on()), kS + 5000);
    EXPECT_EQ(board_phc_waiting(on(), kS + 5000, 1), 1);
    EXPECT_EQ(board_phc_waiting(on(), kS + 10'999, 1), 1);
    EXPECT_EQ(board_phc_waiting(on(), kS + 11'000, 1), 2);
}

TEST_F(Epoch, AnEdgeDuringAPendingInterruptIsHandledByIt) {
    config.interfaces[1].interrupt_latency_ns = 200'000;
    config.interfaces[1].interrupt_jitter_ns = 300'000;
    for (std::uint64_t second = 1; second <= 20; ++second) {
        ASSERT_EQ(arm(second * kS, 1), 0);
        generateEpoch(second * kS);
        board_advance(on(), second * kS + config.pulse_width_ns);
        const std::uint64_t arrival = board_next_change(on());
        EXPECT_EQ(board_phc_waiting(on(), arrival - 1, 1), 0);
        EXPECT_EQ(board_phc_waiting(on(), arrival, 1), 2);
        ASSERT_EQ(take(arrival, 1).size(), 2U);
    }
}

TEST_F(Epoch, LateEventsNeverOvertakeEarlierOnes) {
    config.interfaces[1].interrupt_latency_ns = 1;
    config.interfaces[1].interrupt_jitter_ns = 100'000;
    ASSERT_EQ(arm(0, 1), 0);
    for (std::uint64_t pulse = 1; pulse <= 50; ++pulse) generateEpoch(pulse * 3000);
    const auto events = take(kS, 1);
    ASSERT_EQ(events.size(), 100U);
    for (std::size_t at = 1; at < 100; ++at) EXPECT_LT(events[at - 1].time_ns, events[at].time_ns);
}

TEST_F(Epoch, NobodyStampsWhoIsNotArmed) {
    generateEpoch(kS);
    EXPECT_EQ(board_phc_waiting(on(), 2 * kS, 0), 0);
    EXPECT_EQ(board_phc_waiting(on(), 2 * kS, 1), 0);
}

TEST_F(Epoch, PinZeroAloneIsWiredToTheSignal) {
    ASSERT_EQ(board_phc_set_pin(on(), 0, 0, 1, 1, 0), 0);
    ASSERT_EQ(board_phc_extts(on(), 0, 0, 0, 3, 0), 0);
    generateEpoch(kS);
    EXPECT_EQ(board_phc_waiting(on(), 2 * kS, 0), 0);
}

TEST_F(Epoch, AFallingEdgeAfterThePinIsOffIsNotStamped) {
    config.pulse_width_ns = 10 * kUs;
    ASSERT_EQ(arm(kS, 1), 0);
    generateEpoch(kS);
    ASSERT_EQ(board_phc_set_pin(on(), kS + 5 * kUs, 1, 0, 0, 0), 0);
    EXPECT_EQ(board_phc_waiting(on(), 2 * kS, 1), 1);
}

TEST_F(Epoch, TheQueueKeepsTheNewest127) {
    ASSERT_EQ(arm(0, 1), 0);
    std::vector<std::uint64_t> rising;
    for (std::uint64_t pulse = 1; pulse <= 100; ++pulse) {
        generateEpoch(pulse * kMs);
        rising.push_back(of(BOARD_HAPPENING_EPOCH).back().truth.time_ns[BOARD_CLOCK_PHC(1)]);
    }
    EXPECT_EQ(board_phc_waiting(on(), kS, 1), 127);
    const auto events = take(kS, 1);
    ASSERT_EQ(events.size(), 127U);
    // The last 127 of 200 edges: a falling edge, then 63 whole pulses.
    EXPECT_GT(events[0].time_ns, rising[36]);
    EXPECT_LT(events[0].time_ns, rising[37]);
    EXPECT_EQ(events[1].time_ns, rising[37]);
    EXPECT_EQ(events[125].time_ns, rising[99]);
    EXPECT_EQ(board_phc_waiting(on(), kS, 1), 0);
}

TEST_F(Epoch, ALostPulseReachesNeitherQueueNorFpga) {
    ASSERT_EQ(event(0, BOARD_EVENT_LOSE_EDGES, BOARD_TARGET_INTERFACE(1), 2), 0);
    ASSERT_EQ(event(0, BOARD_EVENT_LOSE_EDGES, BOARD_TARGET_FPGA, 1), 0);
    ASSERT_EQ(arm(0, 0), 0);
    ASSERT_EQ(arm(0, 1), 0);
    generateEpoch(kS);
    EXPECT_EQ(fpgaEpoch(kS), 0U);
    generateEpoch(2 * kS);
    EXPECT_NE(fpgaEpoch(2 * kS), 0U);
    EXPECT_EQ(board_phc_waiting(on(), 3 * kS, 1), 0);
    EXPECT_EQ(board_phc_waiting(on(), 3 * kS, 0), 4);
    generateEpoch(3 * kS);
    EXPECT_EQ(board_phc_waiting(on(), 4 * kS, 1), 2);
}

TEST_F(Epoch, PulsesAreLostByChanceAtTheRateGiven) {
    config.interfaces[1].lost_edges_per_million = 250'000;
    ASSERT_EQ(arm(0, 1), 0);
    std::size_t seen = 0;
    for (std::uint64_t pulse = 1; pulse <= 2000; ++pulse) {
        generateEpoch(pulse * kMs);
        seen += take(pulse * kMs + 500 * kUs, 1).size() / 2;
    }
    EXPECT_NEAR(static_cast<double>(seen), 1500, 80);
}

TEST_F(Epoch, AStoppedFpgaSeesNothing) {
    event(0, BOARD_EVENT_FPGA_STOP, BOARD_TARGET_ANY);
    generateEpoch(kS);
    EXPECT_EQ(fpgaEpoch(kS), 0U);
}

TEST_F(Epoch, FerroxReportsTheInstantOfItsLastSignal) {
    const std::uint64_t first = generateEpoch(kS);
    EXPECT_EQ(driverCall(5 * kS, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP).result, first);
    EXPECT_EQ(first, of(BOARD_HAPPENING_EPOCH).at(0).truth.time_ns[BOARD_CLOCK_FERROX]);
    EXPECT_EQ(of(BOARD_HAPPENING_EPOCH).at(0).truth.difference_ns[BOARD_CLOCK_FERROX], 0);
}

}  // namespace halvexboard::epochTest
