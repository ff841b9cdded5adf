/* The state of a board; for the files of the model only. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/board.h"
#include "board/model/line.h"
#include "board/model/random.h"

#define BOARD_MAX_PENDING 512
#define BOARD_NS_PER_S 1000000000LL
#define BOARD_FIRST_PID 5000001

/* A pending change: its action is called at its instant with a copy of the entry and defines the last three members.
 * The action is kept as its distance in the code: processes that share a board have the code at different addresses. */
struct board_pending;
typedef void (*board_action)(struct board *board, const struct board_pending *pending);
#define BOARD_DISTANCE_TO(action) ((int64_t)((unsigned long)(action) - (unsigned long)board_schedule))

struct board_pending {
	uint64_t at_ns;
	int64_t happen; /* BOARD_DISTANCE_TO(a board_action) */
	uint32_t index;
	uint32_t mask;
	struct board_phc_event stamp;
};

struct board_phc {
	struct board_line line; /* against the common tick */
	int64_t frequency;      /* as set: ppm with 16 fractional bits */
	uint32_t pin_function[BOARD_MAX_PINS];
	uint32_t pin_channel[BOARD_MAX_PINS];
	uint8_t stamping[BOARD_MAX_CHANNELS];
	struct board_phc_event queue[BOARD_QUEUE_SIZE];
	uint32_t head, tail;
	uint64_t last_delivery_ns;
	int64_t pulses_to_lose;
	struct board_random latency_random;
	struct board_random loss_random;
	struct board_random slow_random;
};

#define BOARD_FLICKER_OCTAVES 24

/* The wandering frequency: noise in fractions of a ppt (crystal.c). */
struct board_crystal {
	int64_t white_sigma, octave_sigma, walk_sigma;
	int64_t octaves[BOARD_FLICKER_OCTAVES]; /* flicker is their sum */
	int64_t flicker, walk;
	uint64_t changes;
	struct board_random random;
};

struct board_fpga {
	uint8_t running, reads_zero;
	uint64_t last_epoch_ns;
	int64_t pulses_to_lose;
};

struct board_system {
	struct board_line line; /* against raw */
	int64_t frequency;      /* ppm with 16 fractional bits */
	int64_t tick;           /* us per 10 ms */
	int64_t maxerror_us;    /* at maxerror_raw_ns */
	uint64_t maxerror_raw_ns;
	int64_t esterror_us;
	int32_t status;
	uint8_t is_disciplined; /* by a running phc2sys past its second sample */
};

/* One phc2sys and its servo. */
struct board_process {
	struct board_child child;
	struct board_phc2sys_options options;
	int sample_count;  /* 0, 1, then 2: locked */
	int64_t offset_ns; /* of the first sample */
	uint64_t local_ns;
	int64_t drift_ppt;
	struct board_random random;
};

struct board {
	struct board_config config;
	board_observer observer;
	void *context;
	uint64_t raw_ns;
	uint64_t sequence;
	struct board_line oscillator; /* the common tick against raw */
	int64_t crystal_ppt, wander_ppt, steering_ppt;
	struct board_crystal crystal;
	uint8_t gone[BOARD_TARGET_FIRST_INTERFACE + BOARD_MAX_INTERFACES];
	uint64_t ferrox_offset_ns; /* of each clock to the common tick; wraps */
	uint64_t fpga_offset_ns;
	int64_t ferrox_stepped_ns; /* sum of all steps */
	uint64_t ferrox_epoch_ns;
	uint8_t pulses_every_second;
	struct board_fpga fpga;
	struct board_system system;
	struct board_phc phcs[BOARD_MAX_INTERFACES];
	struct board_random step_random[BOARD_MAX_CLOCKS];
	int slow_interface;   /* whose PHC the present call reads slowly, or -1 */
	uint64_t slow_for_ns; /* beyond the usual duration */
	char si514_text[BOARD_TEXT_SIZE];
	uint32_t si514_size;
	uint32_t counted[BOARD_MAX_FAULTS];
	struct board_process processes[BOARD_MAX_CHILDREN];
	int32_t next_pid;
	struct board_pending pending[BOARD_MAX_PENDING]; /* latest first */
	uint32_t pending_count;
};

/* Random streams; clocks and interfaces add their number. */
enum board_stream {
	BOARD_STREAM_STEP = 0x100,
	BOARD_STREAM_LATENCY = 0x200,
	BOARD_STREAM_LOSS = 0x300,
	BOARD_STREAM_PHC2SYS = 0x400,
	BOARD_STREAM_CRYSTAL = 0x500,
	BOARD_STREAM_SLOW_READ = 0x600
};

/* configuration.c */
int board_config_is_sane(const struct board_config *config);

/* agenda.c */
uint64_t board_enter(struct board *board, uint64_t raw_ns); /* advances; returns the effective instant */
int board_schedule(struct board *board, const struct board_pending *pending); /* 0 if full */

/* telling.c */
void board_tell(struct board *board, struct board_happening *happening); /* fills in sequence and raw */

/* clocks.c: all at the present instant */
uint64_t board_tick_now(const struct board *board);
uint64_t board_time_now(const struct board *board, int clock);
void board_shift(struct board *board, int clock, int64_t by_ns);
void board_step_clock(struct board *board, int clock, int64_t asked_ns, int by_phc2sys);
void board_tell_truth_now(struct board *board, enum board_happening_kind kind);
int board_target_of_clock(int clock);
void board_set_rate(struct board *board); /* after crystal_ppt, wander_ppt or steering_ppt changed */

/* crystal.c */
void board_crystal_start(struct board *board);

/* costs.c */
void board_read_slowly(struct board *board, const struct board_call *call); /* by chance */

/* epoch.c */
void board_tell_stamp(struct board *board, const struct board_stamp *stamp);
void board_pulse(struct board *board);
void board_pulse_every_second(struct board *board, int is_wanted);

/* phc.c */
void board_phc_enqueue(struct board *board, uint32_t interface, const struct board_phc_event *event);
void board_phc_reset(struct board *board, uint32_t interface);

/* events.c */
void board_event_now(struct board *board, const struct board_event_config *event);
int board_event_fits(const struct board *board, const struct board_event_config *event);

/* systemClock.c */
void board_system_set_rate(struct board *board,
			   int64_t correction_ppt); /* set by phc2sys; the caller zeroes maxerror */
void board_system_synchronised(struct board *board);
void board_system_unsynchronised(struct board *board);
int64_t board_system_correction(const struct board *board); /* ppt */

/* phc2sys.c */
void board_phc2sys_signal_all(struct board *board, int32_t signal);
