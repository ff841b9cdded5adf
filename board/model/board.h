/* The simulated controller: its clocks, its epoch signal, its faults and everything a driver can request.
 *
 * Purpose: keeps the true state of every clock of the board and answers like the real drivers, never more kindly.
 * Owns: its state only, in memory provided by the caller (board_size). No allocation, no system call, no floating
 * point, only memcpy and memset; the same files compile inside a Linux kernel. Time: the model has no clock of its own.
 * Calls pass `raw_ns`, the true instant in ns since the board was switched on. It never decreases: an instant earlier
 * than the latest one counts as the latest. Everything due up to that instant (edges, interrupts, scenario events,
 * phc2sys samples) happens first, in order of time. Threads: thread-bound; the caller serialises all calls on one
 * board, and its observer. Failure: functions returning int return 0 or a count, or a negative errno (-EBUSY ...), like
 * a driver. Units: ns; ppb = 1e-9; ppt = 1e-12 (1 ppb = 1000 ppt). Times are unsigned 64-bit ns and wrap. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/configuration.h"
#include "board/model/happening.h"
#include "board/wire/ptp.h"
#include "board/wire/timex.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------- life and time -- */

#define BOARD_STORAGE_SIZE (256u * 1024u) /* for static storage; enough for any board, asserted by the model */
size_t board_size(void);                  /* bytes one board needs, aligned as uint64_t */

/* Switches a board on in `memory` of board_size() bytes, at raw time 0. Copies the configuration; returns NULL if it
 * exceeds a maximum or a range. `observer` may be NULL. */
struct board *board_init(void *memory, const struct board_config *config, board_observer observer, void *context);
/* From now on `observer` receives what happens; for the next of several processes that share the board's memory. */
void board_observe(struct board *board, board_observer observer, void *context);

const struct board_config *board_configuration(const struct board *board);
uint64_t board_raw(const struct board *board);            /* latest instant seen */
uint64_t board_next_change(const struct board *board);    /* instant of the next pending change, or BOARD_NEVER */
void board_advance(struct board *board, uint64_t raw_ns); /* carries out everything due up to raw_ns */

int board_interface_find(const struct board *board,
			 const char *name);                       /* position, or -1; compares up to 15 characters */
int board_phc_find(const struct board *board, int32_t phc_index); /* interface position, or -1 */
/* "ferrox", "fpga", "system", "enp1s0" ...; lives as long as the board. */
const char *board_clock_name(const struct board *board, int clock);
const char *board_target_name(const struct board_config *config, int target);
int board_target_find(const struct board_config *config, const char *name); /* the inverse; -1: no such name */
int board_present(const struct board *board, int target);                   /* whether its driver is present */

/* ---------------------------------------------------------------------------------------------- ground truth -- */

uint64_t board_tick(struct board *board, uint64_t raw_ns);
uint64_t board_clock_time(struct board *board, uint64_t raw_ns, int clock); /* true time, not a driver's reading */
void board_get_truth(struct board *board, uint64_t raw_ns, struct board_truth *truth);

/* ------------------------------------------------------------------------------------------- faults and costs -- */

/* Call once before each call on the board; counts the call. 1: a fault is due and reported; the caller must apply
 * `outcome`. 0: go on. */
int board_fault_due(struct board *board, uint64_t raw_ns, const struct board_call *call,
		    struct board_fault_outcome *outcome);
/* Adds a fault to a running board; counts from now. -ENOSPC beyond BOARD_MAX_FAULTS, -EINVAL if nth or times is 0. */
int board_add_fault(struct board *board, const struct board_fault_config *fault);
/* Duration of the call: ns by which virtual time advances. Never 0. */
uint64_t board_call_cost(const struct board *board, const struct board_call *call);
/* Reports a finished call or a syslog line to the observer. `text` need not be NUL-terminated. */
void board_tell_call(struct board *board, uint64_t raw_ns, const struct board_call *call);
void board_tell_syslog(struct board *board, uint64_t raw_ns, int32_t priority, const char *text, uint32_t text_size);

/* Carries out an event now, as if configured. Returns -EINVAL for a target the event cannot have. */
int board_do_event(struct board *board, uint64_t raw_ns, const struct board_event_config *event);

/* ------------------------------------------------------------------------------------ network interfaces, PHCs -- */

/* `interface` is a position; it also addresses the interface's PHC. -ENODEV: the interface or its PHC is gone. */

int board_interface_is_up(struct board *board, uint64_t raw_ns, int interface);         /* 1, 0, -ENODEV */
int32_t board_interface_phc_index(struct board *board, uint64_t raw_ns, int interface); /* -1: none */

int board_phc_get_caps(struct board *board, uint64_t raw_ns, int interface, struct board_wire_ptp_caps *caps);

int board_phc_get_time(struct board *board, uint64_t raw_ns, int interface, uint64_t *time_ns);
int board_phc_set_time(struct board *board, uint64_t raw_ns, int interface, uint64_t time_ns);

/* clock_adjtime as the kernel does it. Returns the clock state (0), or EINVAL: nanoseconds out of range, ERANGE:
 * frequency out of range, EBUSY: virtual clocks, EOPNOTSUPP: other modes. The caller checks for unprivileged or
 * read-only descriptors (EACCES). */
int board_phc_adjtime(struct board *board, uint64_t raw_ns, int interface, struct board_wire_timex *timex);

/* Pin functions: 0 none, 1 external time stamps, 2 periodic output, 3 physical sync. Setting one ends the previous
 * function of the pin and of any other pin with that function and channel. EINVAL: no such pin, function or channel. */
int board_phc_set_pin(struct board *board, uint64_t raw_ns, int interface, uint32_t pin, uint32_t function,
		      uint32_t channel);
int board_phc_get_pin(struct board *board, uint64_t raw_ns, int interface, uint32_t pin, uint32_t *function,
		      uint32_t *channel);
/* flags as in PTP_EXTTS_REQUEST; strict: PTP_EXTTS_REQUEST2. EBUSY: no pin has the function. EINVAL: no such channel,
 * or strict and unknown flags. EOPNOTSUPP: strict without both edges. */
int board_phc_extts(struct board *board, uint64_t raw_ns, int interface, uint32_t channel, uint32_t flags, int strict);

struct board_phc_event {
	uint64_t time_ns;
	uint32_t channel;
	uint32_t flags;
};
/* Queued events: their number; taking up to `max` of them (0: none; a reader then blocks until board_next_change). All
 * openers of a clock share one queue, so a second reader steals events. */
int board_phc_waiting(struct board *board, uint64_t raw_ns, int interface);
int board_phc_take(struct board *board, uint64_t raw_ns, int interface, struct board_phc_event *events, uint32_t max);

/* ----------------------------------------------------------------------------------------- Ferrox, FPGA: drivers -- */

enum board_record_direction { BOARD_RECORD_NONE = 0, BOARD_RECORD_IN, BOARD_RECORD_IN_OUT };

/* Layout of one driver method's buffers, so that callers can copy without knowing the method. */
struct board_driver_method {
	const char *name;
	uint32_t request;
	uint32_t in_size, out_size; /* of the two buffers */
	uint8_t has_argument; /* 64-bit argument at 0 of the input buffer, then the caller's status; else status at 0 */
	uint8_t has_result;   /* 64-bit result at 0 of the output buffer, then the driver's status; else status at 0 */
	enum board_record_direction record; /* the argument points to a record of record_size bytes */
	uint32_t record_size;
};
/* Returns the methods of a driver (BOARD_TARGET_FERROX or _FPGA), ended by one without a name; else NULL. */
const struct board_driver_method *board_driver_methods(int driver);
/* Returns NULL if the driver has no such request: answer ENOTTY. */
const struct board_driver_method *board_driver_find(int driver, uint32_t request);

struct board_driver_call {
	uint32_t request;
	int32_t caller_status;
	int32_t forced_status; /* outcome.driver_status of a fault, else 0; below 0 the method does nothing */
	uint64_t argument;
	uint8_t record[BOARD_RECORD_SIZE]; /* input; also output with BOARD_RECORD_IN_OUT */
	/* results */
	uint64_t result;
	int32_t driver_status;
	uint32_t bytes_returned; /* goes into the ioctl block */
};
/* Returns 0, -ENOTTY or -ENODEV. A record of the wrong size sets driver status -52005 instead. */
int board_driver_do(struct board *board, uint64_t raw_ns, int driver, struct board_driver_call *call);

/* --------------------------------------------------------------------------------------------------- Si514 -- */

/* The ppb_offset attribute: decimal ppb, shown with a trailing newline. Show returns the length written to `buffer`;
 * store returns `size`, or -EINVAL for no number or out of range. Both return -ENODEV if the driver is gone. */
int board_si514_show(struct board *board, uint64_t raw_ns, char *buffer, uint32_t size);
int board_si514_store(struct board *board, uint64_t raw_ns, const char *text, uint32_t size);

/* ----------------------------------------------------------------------------------------- system clock, phc2sys -- */

uint64_t board_system_get_time(struct board *board, uint64_t raw_ns);
/* EINVAL: nanoseconds out of range, negative seconds, or a time before the machine's boot. */
int board_system_set_time(struct board *board, uint64_t raw_ns, int64_t seconds, int64_t nanoseconds);
/* adjtimex: reading (modes 0), ADJ_SETOFFSET, ADJ_FREQUENCY, ADJ_TICK, ADJ_STATUS, ADJ_MAXERROR, ADJ_ESTERROR. Returns
 * the clock state: 0, or 5 while unsynchronised. maxerror grows by 500 us/s. */
int board_system_adjtime(struct board *board, uint64_t raw_ns, struct board_wire_timex *timex);

struct board_phc2sys_options {
	char source[BOARD_NAME_SIZE];    /* interface name or "ptpN"; "" without -s */
	int64_t utc_offset_ns;           /* -O, times 1 s */
	int64_t first_step_threshold_ns; /* -F; 0: never steps */
	uint8_t valid;                   /* phc2sys accepts the command line */
};
/* Parses a phc2sys command line (argv[0] is the program). */
void board_phc2sys_parse(uint32_t argc, const char *const *argv, struct board_phc2sys_options *options);
/* Starts the child; returns its pid (5000001, 5000002 ...: beyond any real pid), or -EAGAIN if BOARD_MAX_CHILDREN are
 * alive. Without a source PHC, or with an invalid command line, the child exits with 255 at once. */
int32_t board_phc2sys_start(struct board *board, uint64_t raw_ns, const struct board_phc2sys_options *options);
/* Like kill(2): 0, or -ESRCH for a foreign or reaped pid. Signals to a zombie have no effect. Signal 0 only checks. */
int board_child_signal(struct board *board, uint64_t raw_ns, int32_t pid, int32_t signal);
/* Like waitpid(2) with WNOHANG: the reaped pid with `child` filled, 0 if still running, -ECHILD for a foreign pid. */
int32_t board_child_reap(struct board *board, uint64_t raw_ns, int32_t pid, struct board_child *child);
int board_child_get(const struct board *board, int32_t pid, struct board_child *child); /* 1: known, 0: unknown */

#ifdef __cplusplus
}
#endif
