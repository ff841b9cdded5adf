/* A wandering, stepped and pulsed board: prints what happens, for comparing builds. */
/* SPDX-License-Identifier: LicenseRef-HalvexTimekeeper */
#include <stdio.h>

#include "board/model/board.h"

static uint64_t memory[BOARD_STORAGE_SIZE / sizeof(uint64_t)];
static struct board_config config;

static void print(void* context, const struct board_happening* happening) {
    (void)context;
    printf("%llu %d", (unsigned long long)happening->raw_ns, (int)happening->kind);
    if (happening->truth != NULL)
        printf(" %llu %lld", (unsigned long long)happening->truth->tick_ns,
               (long long)happening->truth->difference_ns[BOARD_CLOCK_PHC(0)]);
    if (happening->step != NULL) printf(" %lld", (long long)happening->step->real_ns);
    if (happening->stamp != NULL) printf(" %llu", (unsigned long long)happening->stamp->time_ns);
    printf("\n");
}

int main(void) {
    const struct board_call adjust = {.kind = BOARD_CALL_CLOCK_ADJTIME, .target = BOARD_TARGET_INTERFACE(0)};
    const struct board_event_config pulse = {.kind = BOARD_EVENT_PULSE};
    struct board_fault_outcome outcome;
    struct board* board;
    uint64_t second;

    board_config_defaults(&config);
    config.crystal.white_ppt = config.crystal.flicker_ppt = config.crystal.walk_ppt = 1000;
    config.crystal.ageing_ppt_per_day = config.crystal.ramp_ppt = -12345;
    config.crystal.frequency_count = 2;
    config.crystal.frequencies_ppt[1] = 777;
    config.interface_count = 1;
    board_interface_defaults(&config.interfaces[0], "enp1s0", 0);
    config.interfaces[0].slow_reads_per_million = 100000;
    config.interfaces[0].clock = (struct board_clock_config){0, 1500, 50, 8, 20, 5000, 250000};
    board = board_init(memory, &config, print, NULL);
    (void)board_phc_set_pin(board, 0, 0, 0, BOARD_WIRE_PIN_EXTTS, 0);
    (void)board_phc_extts(board, 0, 0, 0, BOARD_WIRE_EXTTS_ENABLE, 0);
    for (second = 1; second <= 1000; ++second) {
        (void)board_fault_due(board, second * 1000000000u, &adjust, &outcome);
        (void)board_phc_set_time(board, second * 1000000000u, 0, second);
        (void)board_do_event(board, second * 1000000000u, &pulse);
    }
    return 0;
}
