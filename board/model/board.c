/* The board as a whole: switching on, the passing of time, notifying the observer. */
#include "board/model/boardState.h"
#include "board/model/decimal.h"
#include "board/wire/paths.h"

#define MAX_CRYSTAL_PPT 1000000000LL
#define MAX_JITTER_NS 1000000000000LL
#define MAX_LOSS_NS 1000000000000000LL
#define MAX_DELAY_NS 1000000000000ULL

/* -------------------------------------------------------------------------------------------------- defaults -- */

void board_config_defaults(struct board_config *config)
{
	memset(config, 0, sizeof(*config));
	config->seed = 1;
	config->start_time_ns = 1700000000ULL * (uint64_t)BOARD_NS_PER_S;
	config->ferrox.present = 1;
	config->ferrox.clock.step_granularity_ns = 200;
	board_text_copy(config->ferrox.interface_path, BOARD_WIRE_FERROX_NODE, BOARD_TEXT_SIZE);
	config->fpga.present = 1;
	board_text_copy(config->fpga.interface_path, BOARD_WIRE_FPGA_NODE, BOARD_TEXT_SIZE);
	config->fpga_running = 1;
	config->fpga_starts_on_request = 1;
	config->pulse_width_ns = 1000;
	config->si514_present = 1;
	config->si514_max_ppt = MAX_CRYSTAL_PPT;
	board_text_copy(config->si514_name, "si514\n", BOARD_TEXT_SIZE);
	board_text_copy(config->si514_client, "0-0055", BOARD_NAME_SIZE);
	config->phc2sys.interval_ns = (uint64_t)BOARD_NS_PER_S;
	config->phc2sys.noise_ns = 8;
	config->phc2sys.max_slew_ppb = 92000000;
}

void board_interface_defaults(struct board_interface_config *interface, const char *name, int32_t phc_index)
{
	memset(interface, 0, sizeof(*interface));
	board_text_copy(interface->name, name, BOARD_NAME_SIZE);
	board_text_copy(interface->vendor, BOARD_WIRE_I210_VENDOR "\n", BOARD_ID_SIZE);
	board_text_copy(interface->device, BOARD_WIRE_I210_DEVICE "\n", BOARD_ID_SIZE);
	interface->is_up = 1;
	interface->reset_on_up = 1;
	interface->present = 1;
	interface->phc_index = phc_index;
	interface->max_adj_ppb = 62499999;
	interface->n_ext_ts = 2;
	interface->n_per_out = 2;
	interface->n_pins = 4;
	interface->interrupt_latency_ns = 2000;
	interface->interrupt_jitter_ns = 500;
}

/* ---------------------------------------------------------------------------------------------- switching on -- */

static int clock_is_sane(const struct board_clock_config *clock)
{
	return clock->step_granularity_ns >= 0 && clock->step_jitter_ns >= 0 &&
		clock->step_jitter_ns <= MAX_JITTER_NS && clock->step_loss_ns >= -MAX_LOSS_NS &&
		clock->step_loss_ns <= MAX_LOSS_NS;
}

static int interface_is_sane(const struct board_interface_config *interface)
{
	return interface->name[0] != '\0' && clock_is_sane(&interface->clock) && interface->n_ext_ts >= 0 &&
		interface->n_ext_ts <= BOARD_MAX_CHANNELS && interface->n_per_out >= 0 &&
		interface->n_per_out <= BOARD_MAX_CHANNELS && interface->n_pins >= 0 &&
		interface->n_pins <= BOARD_MAX_PINS && interface->max_adj_ppb >= 0 &&
		interface->max_adj_ppb <= 500000000 && interface->interrupt_latency_ns <= MAX_DELAY_NS &&
		interface->interrupt_jitter_ns <= MAX_DELAY_NS;
}

static int crystal_is_sane(int64_t ppt)
{
	return ppt >= -MAX_CRYSTAL_PPT && ppt <= MAX_CRYSTAL_PPT;
}

static int config_is_sane(const struct board_config *config)
{
	uint32_t at;

	if (config->interface_count > BOARD_MAX_INTERFACES || config->event_count > BOARD_MAX_EVENTS ||
	    config->fault_count > BOARD_MAX_FAULTS || config->cost_count > BOARD_MAX_COSTS)
		return 0;
	if (!crystal_is_sane(config->crystal_error_ppt) || !crystal_is_sane(config->system_crystal_error_ppt) ||
	    !crystal_is_sane(config->si514_initial_ppt) || !crystal_is_sane(config->si514_max_ppt) ||
	    config->si514_resolution_ppt < 0 || config->si514_resolution_ppt > MAX_CRYSTAL_PPT)
		return 0;
	if (!clock_is_sane(&config->system) || !clock_is_sane(&config->ferrox.clock) ||
	    !clock_is_sane(&config->fpga.clock))
		return 0;
	if (config->phc2sys.interval_ns == 0 || config->phc2sys.noise_ns < 0 ||
	    config->phc2sys.noise_ns > MAX_JITTER_NS || config->phc2sys.max_slew_ppb < 0 ||
	    config->phc2sys.max_slew_ppb > 100000000 || config->pulse_width_ns > MAX_DELAY_NS)
		return 0;
	for (at = 0; at < config->interface_count; ++at)
		if (!interface_is_sane(&config->interfaces[at]))
			return 0;
	for (at = 0; at < config->fault_count; ++at)
		if (config->faults[at].nth == 0 || config->faults[at].times == 0)
			return 0;
	return 1;
}

static void start_clocks(struct board *board)
{
	const struct board_config *config = &board->config;
	uint32_t at;

	board->crystal_ppt = config->crystal_error_ppt;
	board_set_rate(board);
	board->ferrox_offset_ns = config->start_time_ns + (uint64_t)config->ferrox.clock.offset_ns;
	board->fpga_offset_ns = config->start_time_ns + (uint64_t)config->fpga.clock.offset_ns;
	board->system.line.whole = config->start_time_ns + (uint64_t)config->system.offset_ns;
	board_system_set_rate(board, 0);
	board_system_unsynchronised(board);
	board->fpga.running = config->fpga_running;
	board->fpga.reads_zero = config->fpga_reads_zero;
	for (at = 0; at < config->interface_count; ++at)
		board->phcs[at].line.whole = config->start_time_ns + (uint64_t)config->interfaces[at].clock.offset_ns;
}

static void seed_streams(struct board *board)
{
	const uint64_t seed = board->config.seed;
	uint32_t at;

	for (at = 0; at < BOARD_MAX_CLOCKS; ++at)
		board_random_seed(&board->step_random[at], seed, BOARD_STREAM_STEP + (uint64_t)at);
	for (at = 0; at < BOARD_MAX_INTERFACES; ++at) {
		board_random_seed(&board->phcs[at].latency_random, seed, BOARD_STREAM_LATENCY + (uint64_t)at);
		board_random_seed(&board->phcs[at].loss_random, seed, BOARD_STREAM_LOSS + (uint64_t)at);
	}
}

static void start_oscillator(struct board *board)
{
	const struct board_config *config = &board->config;

	if (!config->si514_present)
		board->gone[BOARD_TARGET_SI514] = 1;
	board->steering_ppt = config->si514_initial_ppt;
	board->si514_size = board_decimal_write(board->si514_text, BOARD_TEXT_SIZE - 1, 3, config->si514_initial_ppt);
	board->si514_text[board->si514_size++] = '\n';
	if (config->si514_has_text) {
		board_text_copy(board->si514_text, config->si514_text, BOARD_TEXT_SIZE);
		board->si514_size = board_text_length(board->si514_text, BOARD_TEXT_SIZE);
	}
}

static int schedule_everything(struct board *board)
{
	struct board_pending pending = { 0, BOARD_PENDING_EVENT, 0, 0, { 0, 0, 0 } };

	for (; pending.index < board->config.event_count; ++pending.index) {
		const struct board_event_config *event = &board->config.events[pending.index];

		if (!board_event_fits(board, event))
			return 0;
		pending.at_ns = event->at_ns;
		(void)board_schedule(board, &pending);
	}
	if (board->config.truth_interval_ns != 0) {
		pending.kind = BOARD_PENDING_TRUTH;
		pending.at_ns = board->config.truth_interval_ns;
		(void)board_schedule(board, &pending);
	}
	return 1;
}

_Static_assert(sizeof(struct board) <= BOARD_STORAGE_SIZE, "BOARD_STORAGE_SIZE holds a board");

size_t board_size(void)
{
	return sizeof(struct board);
}

struct board *board_init(void *memory, const struct board_config *config, board_observer observer, void *context)
{
	struct board *board = memory;
	struct board_happening happening = { .kind = BOARD_HAPPENING_START };
	uint32_t at;

	if (memory == NULL || !config_is_sane(config))
		return NULL;
	memset(board, 0, sizeof(*board));
	board->config = *config;
	board->observer = observer;
	board->context = context;
	board->next_pid = BOARD_FIRST_PID;
	board->gone[BOARD_TARGET_FERROX] = (uint8_t)!config->ferrox.present;
	board->gone[BOARD_TARGET_FPGA] = (uint8_t)!config->fpga.present;
	for (at = 0; at < config->interface_count; ++at)
		board->gone[BOARD_TARGET_INTERFACE(at)] = (uint8_t)!config->interfaces[at].present;
	start_oscillator(board);
	start_clocks(board);
	seed_streams(board);
	if (!schedule_everything(board))
		return NULL;
	happening.value = (int64_t)config->seed;
	board_tell(board, &happening);
	board_tell_truth_now(board, BOARD_HAPPENING_TRUTH);
	return board;
}

const struct board_config *board_configuration(const struct board *board)
{
	return &board->config;
}

int board_present(const struct board *board, int target)
{
	if (target >= BOARD_TARGET_FIRST_INTERFACE + (int)board->config.interface_count || target < 0)
		return 0;
	return !board->gone[target];
}

/* --------------------------------------------------------------------------------------------- passing of time -- */

/* Kept sorted, latest first; what was scheduled first happens first among equals. */
int board_schedule(struct board *board, const struct board_pending *pending)
{
	uint32_t at = board->pending_count;

	if (at == BOARD_MAX_PENDING)
		return 0;
	while (at > 0 && board->pending[at - 1].at_ns <= pending->at_ns) {
		board->pending[at] = board->pending[at - 1];
		--at;
	}
	board->pending[at] = *pending;
	++board->pending_count;
	return 1;
}

static void happen(struct board *board, const struct board_pending *pending)
{
	struct board_pending again = *pending;

	switch (pending->kind) {
	case BOARD_PENDING_FALLING_EDGE:
		board_falling_edge(board, pending->mask);
		break;
	case BOARD_PENDING_DELIVERY:
		board_phc_enqueue(board, pending->index, &pending->stamp);
		break;
	case BOARD_PENDING_PHC2SYS:
		if ((uint32_t)board->processes[pending->index].child.pid == pending->mask)
			board_phc2sys_sample(board, pending->index);
		break;
	case BOARD_PENDING_SECOND:
		board_second(board, pending->stamp.time_ns);
		break;
	case BOARD_PENDING_EVENT:
		board_event_now(board, &board->config.events[pending->index]);
		break;
	default: /* BOARD_PENDING_TRUTH */
		board_tell_truth_now(board, BOARD_HAPPENING_TRUTH);
		again.at_ns += board->config.truth_interval_ns;
		(void)board_schedule(board, &again);
	}
}

uint64_t board_next_change(const struct board *board)
{
	return board->pending_count == 0 ? BOARD_NEVER : board->pending[board->pending_count - 1].at_ns;
}

uint64_t board_enter(struct board *board, uint64_t raw_ns)
{
	while (board_next_change(board) <= raw_ns && board->pending_count > 0) {
		const struct board_pending pending = board->pending[--board->pending_count];

		if (pending.at_ns > board->raw_ns)
			board->raw_ns = pending.at_ns;
		happen(board, &pending);
	}
	if (raw_ns > board->raw_ns)
		board->raw_ns = raw_ns;
	return board->raw_ns;
}

void board_advance(struct board *board, uint64_t raw_ns)
{
	(void)board_enter(board, raw_ns);
}

uint64_t board_raw(const struct board *board)
{
	return board->raw_ns;
}

/* --------------------------------------------------------------------------------------------------- notifying -- */

void board_tell(struct board *board, struct board_happening *happening)
{
	happening->where = board;
	happening->sequence = board->sequence++;
	happening->raw_ns = board->raw_ns;
	if (board->observer != NULL)
		board->observer(board->context, happening);
}

void board_tell_call(struct board *board, uint64_t raw_ns, const struct board_call *call)
{
	struct board_happening happening = { .kind = BOARD_HAPPENING_CALL };

	board_enter(board, raw_ns);
	happening.target = call->target;
	happening.call = call;
	board_tell(board, &happening);
}

static void tell_text(struct board *board, enum board_happening_kind kind, int64_t value, const char *text,
		      uint32_t text_size)
{
	struct board_happening happening = { .kind = kind };

	happening.value = value;
	happening.text = text;
	happening.text_size = text_size;
	board_tell(board, &happening);
}

void board_tell_syslog(struct board *board, uint64_t raw_ns, int32_t priority, const char *text, uint32_t text_size)
{
	board_enter(board, raw_ns);
	tell_text(board, BOARD_HAPPENING_SYSLOG, priority, text, text_size);
}

void board_tell_note(struct board *board, uint64_t raw_ns, const char *text, uint32_t text_size)
{
	board_enter(board, raw_ns);
	tell_text(board, BOARD_HAPPENING_NOTE, 0, text, text_size);
}
