/* Happenings on a board, as reported to its observer. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/configuration.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ROW(CONSTANT, name): BOARD_HAPPENING_CONSTANT and its name in traces. */
#define BOARD_HAPPENING_ROWS(ROW)                                                                            \
	ROW(START, "start")                         /* board switched on */                                  \
	ROW(CALL, "call")                           /* call */                                               \
	ROW(STEP, "step")                           /* step */                                               \
	ROW(EPOCH, "epoch")                         /* truth */                                              \
	ROW(TRUTH, "truth")                         /* truth */                                              \
	ROW(STAMP, "stamp")                         /* stamp */                                              \
	ROW(FAULT, "fault")                         /* call (as requested) and outcome */                    \
	ROW(EVENT, "event")                         /* event: a configured event occurred */                 \
	ROW(STEERING, "steering")                   /* value: new steering in ppt */                         \
	ROW(STATUS_RECORD, "status_record")         /* record: passed to the FPGA by setStatusInfo */        \
	ROW(ALIGNMENT_REQUEST, "alignment_request") /* value: passed to the FPGA by requestEpochAlignment */ \
	ROW(PHC2SYS, "phc2sys")                     /* child */                                              \
	ROW(SYSLOG, "syslog")                       /* text, value = priority */

enum board_happening_kind {
#define KIND(constant, name) BOARD_HAPPENING_##constant,
	BOARD_HAPPENING_ROWS(KIND) BOARD_HAPPENING_KINDS
#undef KIND
};
const char *board_happening_kind_name(enum board_happening_kind kind);

/* Every clock at one instant. */
struct board_truth {
	uint64_t raw_ns;
	uint64_t tick_ns;     /* the board's common tick */
	uint32_t clock_count; /* clocks 0 .. clock_count - 1 */
	uint64_t time_ns[BOARD_MAX_CLOCKS];
	int64_t difference_ns[BOARD_MAX_CLOCKS]; /* clock minus master */
	/* Enabled: PHC present and interface up; FPGA present, running and not reading 0; system clock disciplined by a
	 * running phc2sys past its second sample; Ferrox present. */
	uint8_t enabled[BOARD_MAX_CLOCKS];
};

struct board_step {
	int clock; /* enum board_clock */
	int64_t asked_ns;
	int64_t real_ns; /* after granularity, loss and jitter */
	uint64_t before_ns;
	uint64_t after_ns;
	uint8_t by_phc2sys;
};

struct board_stamp {
	int clock; /* FPGA or a PHC */
	uint32_t channel;
	uint8_t falling;
	uint8_t lost;     /* the edge was not stamped although stamping was on */
	uint8_t stale;    /* injected by an event */
	uint64_t time_ns; /* reading of the stamping clock */
};

struct board_fault_outcome {
	uint32_t fault; /* position in the configuration */
	int32_t error;
	int32_t short_count;   /* -1: none */
	int32_t driver_status; /* 0: none */
	uint64_t delay_ns;
	uint8_t kills;
};

enum board_child_state { BOARD_CHILD_NONE = 0, BOARD_CHILD_RUNNING, BOARD_CHILD_EXITED, BOARD_CHILD_KILLED };

struct board_child {
	int32_t pid;
	enum board_child_state state;
	int32_t status; /* exit code, or signal number */
	int source;     /* position of the followed interface, -1: none */
};

struct board;

struct board_happening {
	enum board_happening_kind kind;
	const struct board *where; /* the board; readable even before board_init returns */
	uint64_t sequence;         /* 0, 1, 2 ... no gaps */
	uint64_t raw_ns;
	int target;
	int64_t value;
	const struct board_call *call;
	const struct board_truth *truth;
	const struct board_step *step;
	const struct board_stamp *stamp;
	const struct board_fault_outcome *outcome;
	const struct board_event_config *event;
	const struct board_child *child;
	const uint8_t *record;
	uint32_t record_size;
	const char *text;
	uint32_t text_size;
};

/* Receives every happening as it occurs; its pointers are valid during the call only. The observer may read from the
 * board (names, configuration) but must not change it. */
typedef void (*board_observer)(void *context, const struct board_happening *happening);

#ifdef __cplusplus
}
#endif
