/* The simulated controller: its clocks, its epoch signal, its faults and everything a driver can ask of it.
 *
 * Purpose: hold the one truth about every clock of the board and answer as the real drivers would, never kinder.
 * Owns: its state only, in memory the caller provides (board_size). No allocation, no operating-system call, no
 * floating point, nothing but memcpy and memset; the same file compiles inside a Linux kernel. Time: the model never
 * asks what time it is. Calls take `raw_ns`, the one true instant, in ns since the board was switched on. It only ever
 * rises: an instant earlier than the latest one seen is taken as the latest. Whatever was due up to that instant
 * (edges, interrupts, scenario events, phc2sys samples) happens first, in order of time. Threads: thread-bound; the
 * caller serialises every call on one board, the observer included. Failure: functions returning int give 0 or a count,
 * or a negative errno (-EBUSY ...), as a driver does. Units: ns; ppb = 1e-9; ppt = 1e-12 (1 ppb = 1000 ppt). Time
 * values are unsigned 64-bit ns and wrap. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#ifndef HALVEX_BOARD_MODEL_BOARD_H
#define HALVEX_BOARD_MODEL_BOARD_H

#include "board/model/platform.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------- fixed maxima -- */

#define BOARD_MAX_INTERFACES 16
#define BOARD_MAX_EVENTS 128
#define BOARD_MAX_FAULTS 64
#define BOARD_MAX_COSTS 64
#define BOARD_MAX_CHILDREN 64 /* living and dead; the oldest dead one is forgotten for a new one */
#define BOARD_MAX_PINS 4
#define BOARD_MAX_CHANNELS 2
#define BOARD_NAME_SIZE 16           /* interface name with its zero, as in the kernel */
#define BOARD_ID_SIZE 32             /* contents of a vendor or device file with its zero, newline included */
#define BOARD_TEXT_SIZE 320          /* other configured texts with their zero */
#define BOARD_QUEUE_SIZE 128         /* slots of a time-stamp queue; it keeps the newest 127 */
#define BOARD_RECORD_SIZE 32         /* largest record passed by address to a driver */
#define BOARD_NEVER (~(uint64_t)0)   /* "no instant" */
#define BOARD_FOREVER (~(uint32_t)0) /* "every time from then on" */

/* ---------------------------------------------------------------------------------------------------- clocks -- */

/* Clocks by number. The PHC of the interface at position i of the configuration is BOARD_CLOCK_PHC(i). */
enum board_clock {
	BOARD_CLOCK_FERROX = 0, /* the epoch master: every difference is measured to it */
	BOARD_CLOCK_FPGA = 1,
	BOARD_CLOCK_SYSTEM = 2, /* on a crystal of its own */
	BOARD_CLOCK_FIRST_PHC = 3
};
#define BOARD_CLOCK_PHC(i) (BOARD_CLOCK_FIRST_PHC + (i))
#define BOARD_MAX_CLOCKS (BOARD_CLOCK_FIRST_PHC + BOARD_MAX_INTERFACES)

/* What a call, a fault or an event is aimed at. An interface stands for its files, its flags and its PHC alike. */
enum board_target {
	BOARD_TARGET_ANY = 0, /* in a filter: anything; in a happening: the board as a whole */
	BOARD_TARGET_FERROX = 1,
	BOARD_TARGET_FPGA = 2,
	BOARD_TARGET_SYSTEM = 3, /* the system clock */
	BOARD_TARGET_SI514 = 4,
	BOARD_TARGET_PHC2SYS = 5,
	BOARD_TARGET_NETWORK = 6, /* the directory of network interfaces, and sockets not yet tied to one */
	BOARD_TARGET_FIRST_INTERFACE = 16
};
#define BOARD_TARGET_INTERFACE(i) (BOARD_TARGET_FIRST_INTERFACE + (i))

/* --------------------------------------------------------------------------------------------- calls and costs -- */

/* Every kind of call the board takes part in. */
enum board_call_kind {
	BOARD_CALL_ANY = 0,
	BOARD_CALL_OPEN,
	BOARD_CALL_CLOSE,
	BOARD_CALL_READ,
	BOARD_CALL_WRITE,
	BOARD_CALL_LSEEK,
	BOARD_CALL_IOCTL, /* detail: the request number */
	BOARD_CALL_SELECT,
	BOARD_CALL_POLL,
	BOARD_CALL_MMAP,
	BOARD_CALL_SOCKET,
	BOARD_CALL_CLOCK_GETTIME,
	BOARD_CALL_CLOCK_SETTIME,
	BOARD_CALL_CLOCK_ADJTIME, /* detail: timex.modes */
	BOARD_CALL_OPENDIR,
	BOARD_CALL_READDIR,
	BOARD_CALL_FOPEN,
	BOARD_CALL_FREAD,
	BOARD_CALL_GLOB,
	BOARD_CALL_POSIX_SPAWN,
	BOARD_CALL_KILL,
	BOARD_CALL_WAITPID,
	BOARD_CALL_NANOSLEEP,
	BOARD_CALL_SYSLOG,
	BOARD_CALL_THREAD, /* waking, locking, creating: costs only */
	BOARD_CALL_KINDS
};

/* Which of a target's files a call is about. Lets a fault name one of several. */
enum board_file {
	BOARD_FILE_ANY = 0,
	BOARD_FILE_VENDOR, /* of an interface */
	BOARD_FILE_DEVICE,
	BOARD_FILE_PTP,            /* /dev/ptpN */
	BOARD_FILE_NODE,           /* device node of the Ferrox or FPGA driver */
	BOARD_FILE_INTERFACE_PATH, /* the driver's interfacePath file */
	BOARD_FILE_NAME,           /* Si514 attribute */
	BOARD_FILE_PPB_OFFSET,
	BOARD_FILE_DIRECTORY,
	BOARD_FILE_SOCKET,
	BOARD_FILE_KINDS
};

/* Names as scenario files and traces spell them ("ioctl", "ppb_offset", "PTP_PIN_SETFUNC", "getTime"); constant
 * storage. board_request_name knows the request numbers that `target` answers and gives NULL for others. */
const char *board_call_kind_name(enum board_call_kind kind);
const char *board_file_name(enum board_file file);
const char *board_request_name(int target, uint32_t request);

/* One call, as it is matched against faults, priced and reported to the observer. */
struct board_call {
	enum board_call_kind kind;
	int target; /* enum board_target */
	enum board_file file;
	uint32_t detail;      /* see enum board_call_kind; 0 when there is none */
	int64_t arguments[4]; /* numbers only, no addresses: they are part of the trace */
	uint32_t argument_count;
	int64_t result;
	int32_t error; /* errno of a failed call, else 0 */
};

/* ----------------------------------------------------------------------------------------------- configuration -- */

/* How one clock starts and how it takes a step. */
struct board_clock_config {
	int64_t offset_ns;           /* to the system clock's time at raw 0 */
	int64_t step_loss_ns;        /* L: each step ends up this much behind */
	int64_t step_jitter_ns;      /* sigma of the Gaussian jitter on L */
	int64_t step_granularity_ns; /* a step is cut toward zero to a multiple of this; 0 and 1 mean none */
};

struct board_interface_config {
	char name[BOARD_NAME_SIZE];
	char vendor[BOARD_ID_SIZE]; /* whole contents of the files, newline included */
	char device[BOARD_ID_SIZE];
	uint8_t is_up;
	uint8_t reset_on_up; /* coming up resets the PHC, as the driver does */
	uint8_t present;
	int32_t phc_index; /* -1: none */
	int32_t max_adj_ppb;
	int32_t n_alarm, n_ext_ts, n_per_out, pps, n_pins, cross_timestamping;
	struct board_clock_config clock;
	uint64_t interrupt_latency_ns; /* from an edge to its event in the queue */
	uint64_t interrupt_jitter_ns;  /* uniform, added */
	uint32_t lost_edges_per_million;
	uint8_t virtual_clocks; /* virtual clocks in use: adjusting is EBUSY */
};

struct board_driver_config {
	uint8_t present;
	char interface_path[BOARD_TEXT_SIZE]; /* contents of the interfacePath file, exactly */
	struct board_clock_config clock;
};

enum board_event_kind {
	BOARD_EVENT_NONE = 0,
	BOARD_EVENT_INTERFACE_UP,
	BOARD_EVENT_INTERFACE_DOWN,
	BOARD_EVENT_PHC_RESET,    /* PHC := system time, stamping off, interface stays up */
	BOARD_EVENT_FPGA_STOP,    /* running bit off */
	BOARD_EVENT_FPGA_RUN,     /* running bit on and time readable again */
	BOARD_EVENT_FPGA_ZERO,    /* time reads 0 */
	BOARD_EVENT_LOSE_EDGES,   /* value: how many pulses the target (interface or FPGA) will not stamp */
	BOARD_EVENT_STALE_EVENTS, /* value: how many events appear in the target's queue */
	BOARD_EVENT_DRIVER_GONE,  /* of Ferrox, FPGA, Si514 or an interface */
	BOARD_EVENT_DRIVER_BACK,
	BOARD_EVENT_KILL_CHILD,         /* value: signal, to every living phc2sys */
	BOARD_EVENT_CAPABILITIES,       /* value: n_ext_ts | n_per_out << 8 | n_pins << 16 */
	BOARD_EVENT_JUMP,               /* value: ns by which the target's clock jumps */
	BOARD_EVENT_CRYSTAL,            /* value: new crystal error in ppt; target ANY or SYSTEM */
	BOARD_EVENT_PULSE,              /* an epoch pulse nobody asked for */
	BOARD_EVENT_PULSE_EVERY_SECOND, /* value: 1 from now on at every whole second of Ferrox, 0 no longer */
	BOARD_EVENT_KINDS
};
const char *board_event_kind_name(enum board_event_kind kind);

struct board_event_config {
	uint64_t at_ns; /* raw */
	enum board_event_kind kind;
	int target;
	int64_t value;
};

/* "Fail the Nth call of this kind." A filter member that is 0 matches everything. All matching faults count a call; the
 * first of the list that is due decides the outcome. */
struct board_fault_config {
	enum board_call_kind kind;
	int target;
	enum board_file file;
	uint32_t detail; /* request number, with has_detail */
	uint8_t has_detail;
	uint8_t has_short_count;
	uint64_t from_ns;      /* calls before this instant are not counted */
	uint32_t nth;          /* 1: the first counted call */
	uint32_t times;        /* how many calls in a row; BOARD_FOREVER */
	int32_t error;         /* errno, or 0 */
	int32_t short_count;   /* with has_short_count: the call transfers this much and says so */
	int32_t driver_status; /* status code that the driver reports; below 0 it does nothing else */
	uint64_t delay_ns;     /* the call takes this much longer; alone it still succeeds */
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
	int64_t noise_ns;     /* sigma of one reading */
	int64_t max_slew_ppb; /* fastest slew */
};

struct board_config {
	uint64_t seed;
	uint64_t start_time_ns;    /* CLOCK_REALTIME at raw 0 */
	int64_t crystal_error_ppt; /* of the board's oscillator, within +-1e9 */
	int64_t system_crystal_error_ppt;
	struct board_clock_config system;
	struct board_driver_config ferrox;
	struct board_driver_config fpga;
	uint8_t fpga_running;
	uint8_t fpga_reads_zero;
	uint8_t fpga_starts_on_request; /* a request for alignment starts a stopped time base */
	uint64_t pulse_width_ns;
	uint8_t si514_present;
	int64_t si514_max_ppt;        /* beyond it the driver answers EINVAL */
	int64_t si514_resolution_ppt; /* 0 and 1: exact */
	int64_t si514_initial_ppt;
	char si514_name[BOARD_TEXT_SIZE];   /* contents of the name attribute */
	char si514_client[BOARD_NAME_SIZE]; /* "0-0055" */
	char si514_text[BOARD_TEXT_SIZE];   /* what ppb_offset holds until the first write, with si514_has_text */
	uint8_t si514_has_text;
	uint32_t interface_count; /* in the order the kernel lists them */
	struct board_interface_config interfaces[BOARD_MAX_INTERFACES];
	struct board_phc2sys_config phc2sys;
	uint64_t truth_interval_ns; /* a TRUTH happening this often; 0: never by itself */
	uint32_t event_count;
	struct board_event_config events[BOARD_MAX_EVENTS]; /* any order; equal instants in the order given */
	uint32_t fault_count;
	struct board_fault_config faults[BOARD_MAX_FAULTS];
	uint32_t cost_count;
	struct board_cost_config costs[BOARD_MAX_COSTS];
};

/* A healthy board without interfaces: Ferrox and FPGA present, step granularity of Ferrox 200 ns, pulses of 1 us. */
void board_config_defaults(struct board_config *config);
/* An I210 as the driver presents it: 0x8086/0x1533, up, ext_ts 2, per_out 2, 4 pins, no step loss. */
void board_interface_defaults(struct board_interface_config *interface, const char *name, int32_t phc_index);

/* -------------------------------------------------------------------------------------------------- happenings -- */

enum board_happening_kind {
	BOARD_HAPPENING_START = 0,         /* board switched on */
	BOARD_HAPPENING_CALL,              /* call */
	BOARD_HAPPENING_STEP,              /* step */
	BOARD_HAPPENING_EPOCH,             /* truth */
	BOARD_HAPPENING_TRUTH,             /* truth */
	BOARD_HAPPENING_STAMP,             /* stamp */
	BOARD_HAPPENING_FAULT,             /* call (as asked) and outcome */
	BOARD_HAPPENING_EVENT,             /* event: a configured event took place */
	BOARD_HAPPENING_STEERING,          /* value: new steering in ppt */
	BOARD_HAPPENING_STATUS_RECORD,     /* record: what setStatusInfo gave the FPGA */
	BOARD_HAPPENING_ALIGNMENT_REQUEST, /* value: what requestEpochAlignment gave the FPGA */
	BOARD_HAPPENING_PHC2SYS,           /* child */
	BOARD_HAPPENING_SYSLOG,            /* text, value = priority */
	BOARD_HAPPENING_KINDS
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
	 * living phc2sys that has its second sample; Ferrox present. */
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
	uint8_t lost;     /* the edge came and was not stamped although stamping was on */
	uint8_t stale;    /* injected by an event */
	uint64_t time_ns; /* by the clock that stamped */
};

struct board_fault_outcome {
	uint32_t fault; /* position in the configuration */
	int32_t error;
	int32_t short_count;   /* -1: none */
	int32_t driver_status; /* 0: none */
	uint64_t delay_ns;
};

enum board_child_state { BOARD_CHILD_NONE = 0, BOARD_CHILD_RUNNING, BOARD_CHILD_EXITED, BOARD_CHILD_KILLED };

struct board_child {
	int32_t pid;
	enum board_child_state state;
	int32_t status; /* exit code, or signal number */
	int source;     /* interface position followed, -1: none */
};

struct board;

struct board_happening {
	enum board_happening_kind kind;
	const struct board *where; /* the board, readable even while board_init has not returned yet */
	uint64_t sequence;         /* 0, 1, 2 ... without gaps */
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

/* Receives every happening as it happens; everything pointed at lives for the length of the call only. The observer may
 * read from the board (names, configuration), never change it. */
typedef void (*board_observer)(void *context, const struct board_happening *happening);

/* ---------------------------------------------------------------------------------------------- life and time -- */

#define BOARD_STORAGE_SIZE (256u * 1024u) /* enough for any board, for static storage; the model asserts it */
size_t board_size(void);                  /* bytes one board needs, aligned as uint64_t */

/* Switches a board on in `memory` of board_size() bytes; raw time is 0. The configuration is copied. NULL if it breaks
 * a maximum or a range. `observer` may be NULL. */
struct board *board_init(void *memory, const struct board_config *config, board_observer observer, void *context);

const struct board_config *board_configuration(const struct board *board);
uint64_t board_raw(const struct board *board);         /* latest instant seen */
uint64_t board_next_change(const struct board *board); /* instant of the next thing due by itself, BOARD_NEVER: none */
void board_advance(struct board *board, uint64_t raw_ns); /* lets everything due up to raw_ns happen */

int board_interface_find(const struct board *board,
			 const char *name);                       /* position, or -1; compares up to 15 characters */
int board_phc_find(const struct board *board, int32_t phc_index); /* position of the interface, or -1 */
/* "ferrox", "fpga", "system", "enp1s0" ...; lives as long as the board. */
const char *board_clock_name(const struct board *board, int clock);
const char *board_target_name(const struct board *board, int target);
int board_present(const struct board *board, int target); /* whether its driver is there now */

/* ---------------------------------------------------------------------------------------------- ground truth -- */

uint64_t board_tick(struct board *board, uint64_t raw_ns);
uint64_t board_clock_time(struct board *board, uint64_t raw_ns, int clock); /* truth, whatever drivers report */
void board_get_truth(struct board *board, uint64_t raw_ns, struct board_truth *truth);

/* ------------------------------------------------------------------------------------------- faults and costs -- */

/* To be asked once before each call the board takes part in; counts the call. 1: a fault is due, `outcome` says which
 * and the caller obeys it (a FAULT happening was reported); 0: go on. */
int board_fault_due(struct board *board, uint64_t raw_ns, const struct board_call *call,
		    struct board_fault_outcome *outcome);
/* One more fault for a board that is running; it counts from now. -ENOSPC beyond BOARD_MAX_FAULTS, -EINVAL for nth or
 * times 0. */
int board_add_fault(struct board *board, const struct board_fault_config *fault);
/* How long the call takes: ns by which virtual time moves. Never 0. */
uint64_t board_call_cost(const struct board *board, const struct board_call *call);
/* Reports a finished call or a syslog line to the observer. `text` need not end in a zero. */
void board_tell_call(struct board *board, uint64_t raw_ns, const struct board_call *call);
void board_tell_syslog(struct board *board, uint64_t raw_ns, int32_t priority, const char *text, uint32_t text_size);

/* Does now what a configured event would do. Returns -EINVAL for a target the event cannot have. */
int board_do_event(struct board *board, uint64_t raw_ns, const struct board_event_config *event);

/* ------------------------------------------------------------------------------------ network interfaces, PHCs -- */

/* `interface` is a position; a PHC is addressed through its interface. -ENODEV: the interface or its PHC is gone. */

int board_interface_is_up(struct board *board, uint64_t raw_ns, int interface);         /* 1, 0, -ENODEV */
int32_t board_interface_phc_index(struct board *board, uint64_t raw_ns, int interface); /* -1: none */

struct board_phc_caps {
	int32_t max_adj, n_alarm, n_ext_ts, n_per_out, pps, n_pins, cross_timestamping;
};
int board_phc_get_caps(struct board *board, uint64_t raw_ns, int interface, struct board_phc_caps *caps);

int board_phc_get_time(struct board *board, uint64_t raw_ns, int interface, uint64_t *time_ns);
int board_phc_set_time(struct board *board, uint64_t raw_ns, int interface, uint64_t time_ns);

/* clock_adjtime as the kernel does it. Modes and fields by their kernel values (board/wire/timex.h). */
struct board_timex {
	uint32_t modes;
	int32_t status, tai;
	int64_t offset, freq, maxerror, esterror, constant, precision, tolerance;
	int64_t time_sec, time_usec, tick;
};
/* Clock state (0) or: EINVAL nanoseconds out of range, ERANGE frequency out of range, EBUSY virtual clocks, EOPNOTSUPP
 * other modes. An unprivileged or read-only descriptor is the caller's check (EACCES). */
int board_phc_adjtime(struct board *board, uint64_t raw_ns, int interface, struct board_timex *timex);

/* Pin functions: 0 none, 1 external time stamps, 2 periodic output, 3 physical sync. Setting one always ends what the
 * pin (and any other pin with that function and channel) did before. EINVAL: no such pin, function or channel. */
int board_phc_set_pin(struct board *board, uint64_t raw_ns, int interface, uint32_t pin, uint32_t function,
		      uint32_t channel);
int board_phc_get_pin(struct board *board, uint64_t raw_ns, int interface, uint32_t pin, uint32_t *function,
		      uint32_t *channel);
/* flags as in PTP_EXTTS_REQUEST; strict: PTP_EXTTS_REQUEST2. EBUSY: no pin has the function. EINVAL: no such channel,
 * or strict flags unknown. EOPNOTSUPP: strict and not both edges. */
int board_phc_extts(struct board *board, uint64_t raw_ns, int interface, uint32_t channel, uint32_t flags, int strict);

struct board_phc_event {
	uint64_t time_ns;
	uint32_t channel;
	uint32_t flags;
};
/* Events that have arrived: how many wait; take up to `max` of them (0: none; a reader then blocks until
 * board_next_change). One queue per clock whoever opened it, so a second reader steals. */
int board_phc_waiting(struct board *board, uint64_t raw_ns, int interface);
int board_phc_take(struct board *board, uint64_t raw_ns, int interface, struct board_phc_event *events, uint32_t max);

/* ----------------------------------------------------------------------------------------- Ferrox, FPGA: drivers -- */

enum board_record_direction { BOARD_RECORD_NONE = 0, BOARD_RECORD_IN, BOARD_RECORD_IN_OUT };

/* How one driver method's buffers look, so that a shim or a kernel module can copy without knowing the method. */
struct board_driver_method {
	const char *name;
	uint32_t request;
	uint32_t in_size, out_size; /* of the two buffers */
	uint8_t has_argument; /* 64-bit argument at 0 of the input buffer, caller status after it; else status at 0 */
	uint8_t has_result;   /* 64-bit result at 0 of the output buffer, driver status after it; else status at 0 */
	enum board_record_direction record; /* the argument is the address of a record of record_size bytes */
	uint32_t record_size;
};
/* NULL: the driver (BOARD_TARGET_FERROX or _FPGA) has no such request; the caller answers ENOTTY. */
const struct board_driver_method *board_driver_find(int driver, uint32_t request);

struct board_driver_call {
	uint32_t request;
	int32_t caller_status;
	int32_t forced_status; /* outcome.driver_status of a fault, else 0; below 0 nothing is done */
	uint64_t argument;
	uint8_t record[BOARD_RECORD_SIZE]; /* in, and out with BOARD_RECORD_IN_OUT */
	/* results */
	uint64_t result;
	int32_t driver_status;
	uint32_t bytes_returned; /* goes into the ioctl block */
};
/* 0, -ENOTTY or -ENODEV. A record of the wrong size is no errno but driver status -52005. */
int board_driver_do(struct board *board, uint64_t raw_ns, int driver, struct board_driver_call *call);

/* --------------------------------------------------------------------------------------------------- Si514 -- */

/* ppb_offset as the driver shows and stores it: decimal ppb, newline at the end when shown. Store returns `size` or
 * -EINVAL (no number, beyond the range); show returns the length written to `buffer`; both -ENODEV when the driver is
 * gone. */
int board_si514_show(struct board *board, uint64_t raw_ns, char *buffer, uint32_t size);
int board_si514_store(struct board *board, uint64_t raw_ns, const char *text, uint32_t size);

/* ----------------------------------------------------------------------------------------- system clock, phc2sys -- */

uint64_t board_system_get_time(struct board *board, uint64_t raw_ns);
/* EINVAL: nanoseconds out of range, negative seconds, or a time before the machine's start. */
int board_system_set_time(struct board *board, uint64_t raw_ns, int64_t seconds, int64_t nanoseconds);
/* adjtimex: reading (modes 0), ADJ_SETOFFSET, ADJ_FREQUENCY, ADJ_TICK, ADJ_STATUS, ADJ_MAXERROR, ADJ_ESTERROR. Returns
 * the clock state: 0, or 5 while unsynchronised. maxerror grows by 500 us a second. */
int board_system_adjtime(struct board *board, uint64_t raw_ns, struct board_timex *timex);

struct board_phc2sys_options {
	char source[BOARD_NAME_SIZE];    /* interface name or "ptpN"; "" when there was no -s */
	int64_t utc_offset_ns;           /* -O, times 1 s */
	int64_t first_step_threshold_ns; /* -F; 0: never steps */
	uint8_t valid;                   /* the command line makes sense to phc2sys */
};
/* Reads a phc2sys command line (argv[0] is the program). */
void board_phc2sys_parse(uint32_t argc, const char *const *argv, struct board_phc2sys_options *options);
/* Starts the child; its pid (5000001, 5000002 ...: no real process can have it), or -EAGAIN when BOARD_MAX_CHILDREN are
 * alive. A source without a PHC, or an invalid command line, makes a child that exits with 255 at once. */
int32_t board_phc2sys_start(struct board *board, uint64_t raw_ns, const struct board_phc2sys_options *options);
/* As kill(2): 0, or -ESRCH when the pid is none of ours or already reaped. A zombie takes signals without effect.
 * Signal 0 asks. */
int board_child_signal(struct board *board, uint64_t raw_ns, int32_t pid, int32_t signal);
/* As waitpid(2) with WNOHANG: pid reaped and `child` filled, 0 still running, -ECHILD none of ours. */
int32_t board_child_reap(struct board *board, uint64_t raw_ns, int32_t pid, struct board_child *child);
int board_child_get(const struct board *board, int32_t pid, struct board_child *child); /* 1 known, 0 not */

#ifdef __cplusplus
}
#endif

#endif
