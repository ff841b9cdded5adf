/* The phc2sys child: command line, life cycle, and its servo as far as the board can observe it. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/model/decimal.h"

#define EXIT_UNUSABLE 255
#define DEFAULT_FIRST_STEP_NS 20000
#define LOCKED 2
#define PROPORTIONAL_TENTHS 7
#define INTEGRAL_TENTHS 3
#define PPT_PER_NS_PER_S 1000LL /* 1 ns in 1 s */
#define LARGEST_SERVO_OFFSET_NS 100000000000LL

/* ------------------------------------------------------------------------------------------------ command line -- */

static int read_number(const char *text, uint32_t digits, int64_t *value)
{
	const uint32_t length = board_text_length(text, 64);

	return length > 0 && board_decimal_read(text, length, digits, value) == length;
}

static int take_option(char letter, const char *value, struct board_phc2sys_options *options, int *has_utc_offset)
{
	int64_t number;

	switch (letter) {
	case 's':
		board_text_copy(options->source, value, sizeof(options->source));
		return 1;
	case 'c':
		return board_text_equal(value, "CLOCK_REALTIME", 64);
	case 'O':
		*has_utc_offset = read_number(value, 0, &number) && number < 1000000 && number > -1000000;
		options->utc_offset_ns = *has_utc_offset ? number * BOARD_NS_PER_S : 0;
		return *has_utc_offset;
	case 'F':
		return read_number(value, 9, &options->first_step_threshold_ns);
	case 'l':
		return read_number(value, 0, &number);
	default:
		return 0;
	}
}

void board_phc2sys_parse(uint32_t argc, const char *const *argv, struct board_phc2sys_options *options)
{
	int has_utc_offset = 0;
	uint32_t at;

	memset(options, 0, sizeof(*options));
	options->first_step_threshold_ns = DEFAULT_FIRST_STEP_NS;
	options->valid = 1;
	for (at = 1; at < argc; at += 2) {
		const char *option = argv[at];

		if (option[0] != '-' || option[1] == '\0' || option[2] != '\0' || at + 1 >= argc ||
		    !take_option(option[1], argv[at + 1], options, &has_utc_offset))
			options->valid = 0;
	}
	if (!has_utc_offset || options->source[0] == '\0')
		options->valid = 0;
}

/* -------------------------------------------------------------------------------------------------------- life -- */

static void tell_child(struct board *board, const struct board_child *child)
{
	struct board_happening happening = {
		.kind = BOARD_HAPPENING_PHC2SYS, .target = BOARD_TARGET_PHC2SYS, .value = child->status, .child = child
	};

	board_tell(board, &happening);
}

static int is_disciplined(const struct board *board)
{
	uint32_t index;

	for (index = 0; index < BOARD_MAX_CHILDREN; ++index)
		if (board->processes[index].child.state == BOARD_CHILD_RUNNING &&
		    board->processes[index].sample_count == LOCKED)
			return 1;
	return 0;
}

static void end_child(struct board *board, struct board_process *process, enum board_child_state state, int32_t status)
{
	if (process->child.state != BOARD_CHILD_RUNNING)
		return;
	if (state == BOARD_CHILD_KILLED) /* the last instant with a disciplined system clock */
		board_tell_truth_now(board, BOARD_HAPPENING_TRUTH);
	process->child.state = state;
	process->child.status = status;
	board->system.is_disciplined = (uint8_t)is_disciplined(board);
	tell_child(board, &process->child);
}

/* An interface name, or a PTP device by path or bare name. */
static int find_source(const struct board *board, const char *source)
{
	const char *device = board_text_equal(source, "/dev/", 5) ? source + 5 : source;
	const int interface = board_interface_find(board, source);
	int64_t index = 0;

	if (interface >= 0)
		return interface;
	if (!board_text_equal(device, "ptp", 3) || !read_number(device + 3, 0, &index))
		return -1;
	return board_phc_find(board, (int32_t)index);
}

static int has_phc(const struct board *board, int interface)
{
	return interface >= 0 && board->config.interfaces[interface].phc_index >= 0 &&
		board_present(board, BOARD_TARGET_INTERFACE(interface));
}

static void sample(struct board *board, const struct board_pending *pending);

static void schedule_sample(struct board *board, uint32_t index)
{
	struct board_pending pending = { .happen = BOARD_DISTANCE_TO(sample), .index = index };

	pending.at_ns = board->raw_ns + board->config.phc2sys.interval_ns;
	pending.mask = (uint32_t)board->processes[index].child.pid;
	(void)board_schedule(board, &pending);
}

static int is_free(const struct board_process *process)
{
	return process->child.state == BOARD_CHILD_NONE;
}

/* A free entry, or that of the oldest unreaped dead child; BOARD_MAX_CHILDREN if all are alive. */
static uint32_t find_place(const struct board *board)
{
	uint32_t index, oldest = BOARD_MAX_CHILDREN;

	for (index = 0; index < BOARD_MAX_CHILDREN; ++index) {
		const struct board_child *child = &board->processes[index].child;

		if (child->state == BOARD_CHILD_NONE)
			return index;
		if (child->state != BOARD_CHILD_RUNNING &&
		    (oldest == BOARD_MAX_CHILDREN || child->pid < board->processes[oldest].child.pid))
			oldest = index;
	}
	return oldest;
}

int32_t board_phc2sys_start(struct board *board, uint64_t raw_ns, const struct board_phc2sys_options *options)
{
	struct board_process *process;
	uint32_t index;

	board_enter(board, raw_ns);
	index = find_place(board);
	if (index == BOARD_MAX_CHILDREN)
		return -EAGAIN;
	process = &board->processes[index];
	memset(process, 0, sizeof(*process));
	process->options = *options;
	process->child.pid = board->next_pid++;
	process->child.state = BOARD_CHILD_RUNNING;
	process->child.source = find_source(board, options->source);
	process->drift_ppt = -board_system_correction(board);
	board_random_seed(&process->random, board->config.seed, BOARD_STREAM_PHC2SYS + (uint64_t)process->child.pid);
	tell_child(board, &process->child);
	if (!options->valid || !has_phc(board, process->child.source))
		end_child(board, process, BOARD_CHILD_EXITED, EXIT_UNUSABLE);
	else
		schedule_sample(board, index);
	return process->child.pid;
}

static struct board_process *find_process(const struct board *board, int32_t pid)
{
	uint32_t index;

	for (index = 0; index < BOARD_MAX_CHILDREN; ++index)
		if (!is_free(&board->processes[index]) && board->processes[index].child.pid == pid)
			return (struct board_process *)&board->processes[index];
	return NULL;
}

/* Handled signals (HUP INT TERM): phc2sys leaves its loop and exits with 0. Deadly: QUIT ABRT KILL SEGV PIPE ALRM. */
static void signal_process(struct board *board, struct board_process *process, int32_t signal)
{
	if (signal == 1 || signal == 2 || signal == 15)
		end_child(board, process, BOARD_CHILD_EXITED, 0);
	else if (signal == 3 || signal == 6 || signal == 9 || signal == 11 || signal == 13 || signal == 14)
		end_child(board, process, BOARD_CHILD_KILLED, signal);
}

int board_child_signal(struct board *board, uint64_t raw_ns, int32_t pid, int32_t signal)
{
	struct board_process *process = find_process(board, pid);

	board_enter(board, raw_ns);
	if (process == NULL)
		return -ESRCH;
	if (signal < 0 || signal > 64)
		return -EINVAL;
	signal_process(board, process, signal);
	return 0;
}

void board_phc2sys_signal_all(struct board *board, int32_t signal)
{
	uint32_t index;

	for (index = 0; index < BOARD_MAX_CHILDREN; ++index)
		signal_process(board, &board->processes[index], signal);
}

int32_t board_child_reap(struct board *board, uint64_t raw_ns, int32_t pid, struct board_child *child)
{
	struct board_process *process = find_process(board, pid);

	board_enter(board, raw_ns);
	if (process == NULL)
		return -ECHILD;
	if (process->child.state == BOARD_CHILD_RUNNING)
		return 0;
	*child = process->child;
	process->child.state = BOARD_CHILD_NONE;
	return pid;
}

int board_child_get(const struct board *board, int32_t pid, struct board_child *child)
{
	const struct board_process *process = find_process(board, pid);

	if (process == NULL)
		return 0;
	*child = process->child;
	return 1;
}

/* ------------------------------------------------------------------------------------------------------- servo -- */

static int64_t limited(int64_t value, int64_t limit)
{
	return value > limit ? limit : value < -limit ? -limit : value;
}

/* The second sample determines the rate, and the initial step if the clock is far off. */
static void take_second_sample(struct board *board, struct board_process *process, int64_t offset_ns, uint64_t local_ns)
{
	const int64_t limit_ppt = board->config.phc2sys.max_slew_ppb * PPT_PER_NS_PER_S;
	const int64_t elapsed_us = (int64_t)(local_ns - process->local_ns) / 1000;
	const int64_t moved_ns =
		limited((int64_t)((uint64_t)offset_ns - (uint64_t)process->offset_ns), LARGEST_SERVO_OFFSET_NS / 100);
	const int64_t threshold_ns = process->options.first_step_threshold_ns;

	if (elapsed_us <= 0) { /* time went backwards: start over */
		process->sample_count = 0;
		return;
	}
	process->drift_ppt = limited(process->drift_ppt + moved_ns * 1000000000 / elapsed_us, limit_ppt);
	board_system_set_rate(board, -process->drift_ppt);
	if (threshold_ns != 0 && (offset_ns > threshold_ns || offset_ns < -threshold_ns)) {
		board_step_clock(board, BOARD_CLOCK_SYSTEM, (int64_t)(0 - (uint64_t)offset_ns), 1);
		board_system_unsynchronised(board);
	} else {
		board_system_synchronised(board);
	}
	process->sample_count = LOCKED;
	board->system.is_disciplined = 1;
}

static void take_later_sample(struct board *board, struct board_process *process, int64_t offset_ns)
{
	const int64_t limit_ppt = board->config.phc2sys.max_slew_ppb * PPT_PER_NS_PER_S;
	const int64_t bounded_ns = limited(offset_ns, LARGEST_SERVO_OFFSET_NS);
	const int64_t integral_ppt = bounded_ns * PPT_PER_NS_PER_S * INTEGRAL_TENTHS / 10;
	const int64_t wanted_ppt =
		bounded_ns * PPT_PER_NS_PER_S * PROPORTIONAL_TENTHS / 10 + process->drift_ppt + integral_ppt;
	const int64_t rate_ppt = limited(wanted_ppt, limit_ppt);

	if (rate_ppt == wanted_ppt) /* no integration while saturated */
		process->drift_ppt += integral_ppt;
	board_system_set_rate(board, -rate_ppt);
	board_system_synchronised(board);
}

static void sample(struct board *board, const struct board_pending *pending)
{
	struct board_process *process = &board->processes[pending->index];
	const uint64_t local_ns = board_time_now(board, BOARD_CLOCK_SYSTEM);
	int64_t offset_ns;

	if (process->child.state != BOARD_CHILD_RUNNING || (uint32_t)process->child.pid != pending->mask)
		return; /* the child has ended and its entry may be reused */
	schedule_sample(board, pending->index);
	if (!has_phc(board, process->child.source))
		return; /* no reading: skip this sample */
	offset_ns = (int64_t)(local_ns - board_time_now(board, BOARD_CLOCK_PHC(process->child.source)) +
			      (uint64_t)process->options.utc_offset_ns +
			      (uint64_t)board_random_gaussian(&process->random, board->config.phc2sys.noise_ns));
	if (process->sample_count == LOCKED) {
		take_later_sample(board, process, offset_ns);
	} else if (process->sample_count == 1) {
		take_second_sample(board, process, offset_ns, local_ns);
	} else {
		process->offset_ns = offset_ns;
		process->local_ns = local_ns;
		process->sample_count = 1;
	}
}
