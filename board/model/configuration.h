/* The configuration of a board: parts and limits, calls and targets, events, faults and costs. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/eventRows.h"
#include "board/model/platform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------- fixed maxima -- */

#define BOARD_MAX_INTERFACES 16
#define BOARD_MAX_EVENTS 128
#define BOARD_MAX_FAULTS 64
#define BOARD_MAX_COSTS 64
#define BOARD_MAX_CHILDREN 64 /* alive and dead; a new one replaces the oldest dead one */
#define BOARD_MAX_PINS 4
#define BOARD_MAX_CHANNELS 2
#define BOARD_NAME_SIZE 16           /* interface name with NUL, as in the kernel */
#define BOARD_ID_SIZE 32             /* contents of a vendor or device file with newline and NUL */
#define BOARD_TEXT_SIZE 320          /* other configured texts with NUL */
#define BOARD_MAX_FREQUENCIES 4096   /* measured frequencies of a crystal */
#define BOARD_QUEUE_SIZE 128         /* slots of a time-stamp queue; it keeps the newest 127 */
#define BOARD_RECORD_SIZE 32         /* largest record passed by address to a driver */
#define BOARD_NEVER (~(uint64_t)0)   /* "no instant" */
#define BOARD_FOREVER (~(uint32_t)0) /* "from then on" */

/* ---------------------------------------------------------------------------------------------------- clocks -- */

/* Clocks by number. The PHC of the interface at position i of the configuration is BOARD_CLOCK_PHC(i). */
enum board_clock {
	BOARD_CLOCK_FERROX = 0, /* the epoch master: reference of all differences */
	BOARD_CLOCK_FPGA = 1,
	BOARD_CLOCK_SYSTEM = 2, /* with its own crystal */
	BOARD_CLOCK_FIRST_PHC = 3
};
#define BOARD_CLOCK_PHC(i) (BOARD_CLOCK_FIRST_PHC + (i))
#define BOARD_MAX_CLOCKS (BOARD_CLOCK_FIRST_PHC + BOARD_MAX_INTERFACES)

/* Target of a call, a fault or an event. An interface stands for its files, its flags and its PHC. */
enum board_target {
	BOARD_TARGET_ANY = 0, /* in a filter: anything; in a happening: the board as a whole */
	BOARD_TARGET_FERROX = 1,
	BOARD_TARGET_FPGA = 2,
	BOARD_TARGET_SYSTEM = 3, /* the system clock */
	BOARD_TARGET_SI514 = 4,
	BOARD_TARGET_PHC2SYS = 5,
	BOARD_TARGET_NETWORK = 6, /* the directory of network interfaces, and unbound sockets */
	BOARD_TARGET_FIRST_INTERFACE = 16
};
#define BOARD_TARGET_INTERFACE(i) (BOARD_TARGET_FIRST_INTERFACE + (i))

/* --------------------------------------------------------------------------------------------- calls and costs -- */

/* Every kind of call that the board takes part in: BOARD_CALL_constant, and its name in scenarios and traces. */
#define BOARD_CALL_ROWS(ROW)                                          \
	ROW(ANY, "any")                                               \
	ROW(OPEN, "open")                                             \
	ROW(CLOSE, "close")                                           \
	ROW(READ, "read")                                             \
	ROW(WRITE, "write")                                           \
	ROW(LSEEK, "lseek")                                           \
	ROW(IOCTL, "ioctl") /* detail: request number */              \
	ROW(SELECT, "select")                                         \
	ROW(POLL, "poll")                                             \
	ROW(MMAP, "mmap")                                             \
	ROW(SOCKET, "socket")                                         \
	ROW(CLOCK_GETTIME, "clock_gettime")                           \
	ROW(CLOCK_SETTIME, "clock_settime")                           \
	ROW(CLOCK_ADJTIME, "clock_adjtime") /* detail: timex.modes */ \
	ROW(OPENDIR, "opendir")                                       \
	ROW(READDIR, "readdir")                                       \
	ROW(FOPEN, "fopen")                                           \
	ROW(FREAD, "fread")                                           \
	ROW(GLOB, "glob")                                             \
	ROW(POSIX_SPAWN, "posix_spawn")                               \
	ROW(KILL, "kill")                                             \
	ROW(WAITPID, "waitpid")                                       \
	ROW(NANOSLEEP, "nanosleep")                                   \
	ROW(SYSLOG, "syslog")                                         \
	ROW(THREAD, "thread") /* waking, locking, creating: costs only */

/* The target's file that a call is about; lets a fault select one of several: BOARD_FILE_constant and its name. */
#define BOARD_FILE_ROWS(ROW)                                                                \
	ROW(ANY, "any")                                                                     \
	ROW(VENDOR, "vendor") /* of an interface */                                         \
	ROW(DEVICE, "device")                                                               \
	ROW(PTP, "ptp")                      /* /dev/ptpN */                                \
	ROW(NODE, "node")                    /* device node of the Ferrox or FPGA driver */ \
	ROW(INTERFACE_PATH, "interfacePath") /* the driver's interfacePath file */          \
	ROW(NAME, "name")                    /* Si514 attribute */                          \
	ROW(PPB_OFFSET, "ppb_offset")                                                       \
	ROW(DIRECTORY, "directory")                                                         \
	ROW(SOCKET, "socket")

#define BOARD_CALL_CONSTANT(constant, name) BOARD_CALL_##constant,
#define BOARD_FILE_CONSTANT(constant, name) BOARD_FILE_##constant,
enum board_call_kind { BOARD_CALL_ROWS(BOARD_CALL_CONSTANT) BOARD_CALL_KINDS };
enum board_file { BOARD_FILE_ROWS(BOARD_FILE_CONSTANT) BOARD_FILE_KINDS };

/* Names as in scenario files and traces ("ioctl", "ppb_offset", "PTP_PIN_SETFUNC", "getTime"); constant storage.
 * board_request_name returns NULL for requests that `target` does not answer; board_request_named is its inverse and
 * returns 0 for unknown names. board_request_at returns the requests that `target` answers, then 0. */
const char *board_call_kind_name(enum board_call_kind kind);
const char *board_file_name(enum board_file file);
const char *board_request_name(int target, uint32_t request);
uint32_t board_request_named(int target, const char *name);
uint32_t board_request_at(int target, uint32_t at);

/* One call: matched against faults, charged its cost and reported to the observer. */
struct board_call {
	enum board_call_kind kind;
	int target; /* enum board_target */
	enum board_file file;
	uint32_t detail;      /* see enum board_call_kind; 0 if none */
	int64_t arguments[4]; /* no addresses: they are part of the trace */
	uint32_t argument_count;
	int64_t result;
	int32_t error; /* errno of a failed call, else 0 */
};

/* ----------------------------------------------------------------------------------------------- configuration -- */

/* Initial state and stepping behaviour of one clock. */
struct board_clock_config {
	int64_t offset_ns;           /* to the system clock's time at raw 0 */
	int64_t step_loss_ns;        /* L: each step falls short by this */
	int64_t step_jitter_ns;      /* sigma of the Gaussian jitter on L */
	int64_t step_granularity_ns; /* steps are truncated to a multiple of this; 0 and 1: exact */
	int64_t step_tail_ns;        /* scale of a one-sided heavy tail added to L: see board_random_tail */
	int64_t step_other_loss_ns;  /* L of some of the steps */
	uint32_t step_other_per_million;
};

struct board_interface_config {
	char name[BOARD_NAME_SIZE];
	char vendor[BOARD_ID_SIZE]; /* entire contents of the files, with newline */
	char device[BOARD_ID_SIZE];
	uint8_t is_up;
	uint8_t reset_on_up; /* coming up resets the PHC, as with the real driver */
	uint8_t present;
	int32_t phc_index; /* -1: none */
	int32_t max_adj_ppb;
	int32_t n_alarm, n_ext_ts, n_per_out, pps, n_pins, cross_timestamping;
	struct board_clock_config clock;
	uint64_t interrupt_latency_ns; /* from an edge to its event in the queue */
	uint64_t interrupt_jitter_ns;  /* uniform, added */
	uint32_t lost_edges_per_million;
	uint8_t virtual_clocks; /* virtual clocks are in use: adjusting returns EBUSY */
	uint64_t slow_read_ns;  /* duration of a slow reading of the PHC's register */
	uint32_t slow_reads_per_million;
};

struct board_driver_config {
	uint8_t present;
	char interface_path[BOARD_TEXT_SIZE]; /* exact contents of the interfacePath file */
	struct board_clock_config clock;
};

#define BOARD_EVENT_CONSTANT(constant, name, aims, action, ...) BOARD_EVENT_##constant,
enum board_event_kind { BOARD_EVENT_NONE = 0, BOARD_EVENT_ROWS(BOARD_EVENT_CONSTANT, , , ) BOARD_EVENT_KINDS };
const char *board_event_kind_name(enum board_event_kind kind);

enum board_unit { BOARD_UNIT_NONE = 0, BOARD_UNIT_COUNT, BOARD_UNIT_DURATION /* ns */, BOARD_UNIT_PPB /* ppt */ };
#define BOARD_MAX_EVENT_KEYS 3
#define BOARD_REQUIRED (-INT64_MAX - 1)

/* A key of a scenario's event and the part of the value that it sets: see eventRows.h. */
struct board_event_key {
	const char *name;
	enum board_unit unit;
	int64_t least, most, otherwise; /* otherwise: the default, or BOARD_REQUIRED */
};
/* Terminated by a key without a unit. */
const struct board_event_key *board_event_keys(enum board_event_kind kind);

struct board_event_config {
	uint64_t at_ns; /* raw */
	enum board_event_kind kind;
	int target;
	int64_t value;
};

/* "Fail the Nth call of this kind." A zero filter member matches everything. Every matching fault counts the call; the
 * first due one in the list decides the outcome. */
struct board_fault_config {
	enum board_call_kind kind;
	int target;
	enum board_file file;
	uint32_t detail; /* request number, with has_detail */
	uint8_t has_detail;
	uint8_t has_short_count;
	uint8_t kills;         /* the calling process, in the middle of the call */
	uint64_t from_ns;      /* calls before this instant are not counted */
	uint32_t nth;          /* 1: the first counted call */
	uint32_t times;        /* number of consecutive calls, or BOARD_FOREVER */
	int32_t error;         /* errno, or 0 */
	int32_t short_count;   /* with has_short_count: the count transferred and returned */
	int32_t driver_status; /* status that the driver reports; below 0 it does nothing else */
	uint64_t delay_ns;     /* added to the call's duration; alone it does not fail the call */
};

struct board_cost_config { /* later entries override earlier ones and the built-in table */
	enum board_call_kind kind;
	int target;
	uint32_t detail;
	uint8_t has_detail;
	uint64_t cost_ns;
};

struct board_phc2sys_config {
	uint64_t interval_ns; /* 1 s */
	int64_t noise_ns;     /* sigma per reading */
	int64_t max_slew_ppb; /* fastest slew */
	uint8_t is_real;      /* the machine's program runs instead of the modelled one */
};

/* How the frequency of the board's oscillator wanders around its error; all 0: constant. */
struct board_crystal_config {
	uint64_t interval_ns; /* the frequency changes this often */
	/* Allan deviations: white noise (falls with the root of the time), flicker, random walk (rises with it). */
	int64_t white_ppt; /* at 1 s */
	int64_t flicker_ppt;
	int64_t walk_ppt; /* at 1 s */
	int64_t ageing_ppt_per_day;
	int64_t ramp_ppt; /* reached ramp_takes_ns after ramp_at_ns, and kept */
	uint64_t ramp_at_ns, ramp_takes_ns;
	uint64_t frequencies_every_ns; /* between two measured frequencies; straight lines join them, the last one stays
					*/
	uint32_t frequency_count;
	int32_t frequencies_ppt[BOARD_MAX_FREQUENCIES];
};

struct board_config {
	uint64_t seed;
	uint64_t start_time_ns;    /* CLOCK_REALTIME at raw 0 */
	int64_t crystal_error_ppt; /* of the board's oscillator, within +-1e9 */
	struct board_crystal_config crystal;
	int64_t system_crystal_error_ppt;
	struct board_clock_config system;
	struct board_driver_config ferrox;
	struct board_driver_config fpga;
	uint8_t fpga_running;
	uint8_t fpga_reads_zero;
	uint8_t fpga_starts_on_request; /* an alignment request starts a stopped time base */
	uint64_t pulse_width_ns;
	uint8_t si514_present;
	int64_t si514_max_ppt;        /* beyond this the driver returns EINVAL */
	int64_t si514_resolution_ppt; /* 0 and 1: exact */
	int64_t si514_initial_ppt;
	char si514_name[BOARD_TEXT_SIZE];   /* contents of the name attribute */
	char si514_client[BOARD_NAME_SIZE]; /* "0-0055" */
	char si514_text[BOARD_TEXT_SIZE];   /* contents of ppb_offset until the first write, with si514_has_text */
	uint8_t si514_has_text;
	uint32_t interface_count; /* in the kernel's listing order */
	struct board_interface_config interfaces[BOARD_MAX_INTERFACES];
	struct board_phc2sys_config phc2sys;
	uint64_t truth_interval_ns; /* period of TRUTH happenings; 0: none */
	uint32_t event_count;
	struct board_event_config events[BOARD_MAX_EVENTS]; /* in any order; equal instants happen in the given order */
	uint32_t fault_count;
	struct board_fault_config faults[BOARD_MAX_FAULTS];
	uint32_t cost_count;
	struct board_cost_config costs[BOARD_MAX_COSTS];
};

/* A healthy board without interfaces: Ferrox and FPGA present, Ferrox steps by 200 ns, pulses of 1 us. */
void board_config_defaults(struct board_config *config);
/* An I210 as its driver presents it: 0x8086/0x1533, up, ext_ts 2, per_out 2, 4 pins, no step loss. */
void board_interface_defaults(struct board_interface_config *interface, const char *name, int32_t phc_index);

#ifdef __cplusplus
}
#endif
