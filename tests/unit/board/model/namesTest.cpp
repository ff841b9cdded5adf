// Names: of kinds, targets, clocks and requests, and back.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::namesTest {

using Names = ModelBoardTest;

TEST_F(Names, FindInterfacesByTheKernelsFifteenCharacters) {
    addInterface("enp1s0", 0);
    addInterface("abcdefghijklmno", 1);
    EXPECT_EQ(board_interface_find(on(), "enp1s0"), 0);
    EXPECT_EQ(board_interface_find(on(), "abcdefghijklmnopq"), 1);
    EXPECT_EQ(board_interface_find(on(), "lo"), -1);
}

TEST_F(Names, EveryKindHasAName) {
    for (int kind = 0; kind < BOARD_CALL_KINDS; ++kind)
        EXPECT_NE(board_call_kind_name(static_cast<board_call_kind>(kind)), nullptr) << kind;
    for (int kind = 0; kind < BOARD_EVENT_KINDS; ++kind)
        EXPECT_NE(board_event_kind_name(static_cast<board_event_kind>(kind)), nullptr) << kind;
    for (int kind = 0; kind < BOARD_HAPPENING_KINDS; ++kind)
        EXPECT_NE(board_happening_kind_name(static_cast<board_happening_kind>(kind)), nullptr) << kind;
    for (int file = 0; file < BOARD_FILE_KINDS; ++file)
        EXPECT_NE(board_file_name(static_cast<board_file>(file)), nullptr) << file;
    EXPECT_EQ(board_call_kind_name(BOARD_CALL_KINDS), nullptr);
}

TEST_F(Names, RequestsAreNamedByWhoAnswersThem) {
    EXPECT_STREQ(board_request_name(BOARD_TARGET_FERROX, 0xC0207501), "generateEpochSignal");
    EXPECT_STREQ(board_request_name(BOARD_TARGET_FPGA, 0xC0207501), "requestEpochAlignment");
    EXPECT_STREQ(board_request_name(BOARD_TARGET_INTERFACE(0), 0x40603D07), "PTP_PIN_SETFUNC");
    EXPECT_EQ(board_request_name(BOARD_TARGET_INTERFACE(0), 0xC0207501), nullptr);
    EXPECT_EQ(board_request_name(BOARD_TARGET_SI514, 0x40603D07), nullptr);
}

TEST_F(Names, RequestsAreFoundByTheNameThatTheirTargetGivesThem) {
    EXPECT_EQ(board_request_named(BOARD_TARGET_FERROX, "generateEpochSignal"), 0xC0207501);
    EXPECT_EQ(board_request_named(BOARD_TARGET_FPGA, "requestEpochAlignment"), 0xC0207501);
    EXPECT_EQ(board_request_named(BOARD_TARGET_INTERFACE(0), "PTP_PIN_SETFUNC"), 0x40603D07);
    EXPECT_EQ(board_request_named(BOARD_TARGET_ANY, "PTP_PIN_SETFUNC"), 0x40603D07);
    EXPECT_EQ(board_request_named(BOARD_TARGET_FPGA, "generateEpochSignal"), 0u);
    EXPECT_EQ(board_request_named(BOARD_TARGET_FPGA, "PTP_PIN_SETFUNC"), 0u);
    EXPECT_EQ(board_request_named(BOARD_TARGET_INTERFACE(0), "getTime"), 0u);
}

TEST_F(Names, TargetsAreFoundByTheirNames) {
    addInterface("enp1s0", 0);
    addInterface("unknown", 1);
    const board_config& config = *board_configuration(on());
    for (const int target : {0, 1, 2, 3, 4, 5, 6, 16, 17})
        EXPECT_EQ(board_target_find(&config, board_target_name(&config, target)), target);
    EXPECT_EQ(board_target_find(&config, "enp1"), -1);
}

TEST_F(Names, ClocksAndTargetsAreNamed) {
    addInterface("enp1s0", 0);
    EXPECT_STREQ(board_clock_name(on(), BOARD_CLOCK_FERROX), "ferrox");
    EXPECT_STREQ(board_clock_name(on(), BOARD_CLOCK_FPGA), "fpga");
    EXPECT_STREQ(board_clock_name(on(), BOARD_CLOCK_SYSTEM), "system");
    EXPECT_STREQ(board_clock_name(on(), BOARD_CLOCK_PHC(0)), "enp1s0");
    EXPECT_STREQ(board_target_name(board_configuration(on()), BOARD_TARGET_PHC2SYS), "phc2sys");
    EXPECT_STREQ(board_target_name(board_configuration(on()), 12), "unknown");
    EXPECT_STREQ(board_target_name(board_configuration(on()), BOARD_TARGET_INTERFACE(5)), "unknown");
}

}  // namespace halvexboard::namesTest
