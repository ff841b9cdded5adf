/* Board configuration: defaults, limits, and what is present. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/model/decimal.h"
#include "board/wire/paths.h"

#define MAX_CRYSTAL_PPT 1000000000LL
#define MAX_JITTER_NS 1000000000000LL
#define MAX_LOSS_NS 1000000000000000LL
#define MAX_DELAY_NS 1000000000000ULL
#define MAX_NOISE_PPT 100000LL
#define MAX_AGEING_PPT 1000000LL
#define MAX_RAMP_NS (100 * 86400ULL * 1000000000ULL)
#define MIN_CRYSTAL_INTERVAL_NS 1000000ULL
#define PER_MILLION 1000000u

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
	config->crystal.interval_ns = 100000000;
	config->crystal.frequencies_every_ns = (uint64_t)BOARD_NS_PER_S;
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
	interface->slow_read_ns = 20000;
}

static int clock_is_sane(const struct board_clock_config *clock)
{
	return clock->step_granularity_ns >= 0 && clock->step_jitter_ns >= 0 &&
		clock->step_jitter_ns <= MAX_JITTER_NS && clock->step_loss_ns >= -MAX_LOSS_NS &&
		clock->step_loss_ns <= MAX_LOSS_NS && clock->step_other_loss_ns >= -MAX_LOSS_NS &&
		clock->step_other_loss_ns <= MAX_LOSS_NS && clock->step_tail_ns >= 0 &&
		clock->step_tail_ns <= MAX_JITTER_NS && clock->step_other_per_million <= PER_MILLION;
}

static int interface_is_sane(const struct board_interface_config *interface)
{
	return interface->name[0] != '\0' && clock_is_sane(&interface->clock) && interface->n_ext_ts >= 0 &&
		interface->n_ext_ts <= BOARD_MAX_CHANNELS && interface->n_per_out >= 0 &&
		interface->n_per_out <= BOARD_MAX_CHANNELS && interface->n_pins >= 0 &&
		interface->n_pins <= BOARD_MAX_PINS && interface->max_adj_ppb >= 0 &&
		interface->max_adj_ppb <= 500000000 && interface->interrupt_latency_ns <= MAX_DELAY_NS &&
		interface->interrupt_jitter_ns <= MAX_DELAY_NS && interface->slow_read_ns <= MAX_DELAY_NS &&
		interface->slow_reads_per_million <= PER_MILLION;
}

static int crystal_is_sane(int64_t ppt)
{
	return ppt >= -MAX_CRYSTAL_PPT && ppt <= MAX_CRYSTAL_PPT;
}

static int noise_is_sane(int64_t ppt)
{
	return ppt >= 0 && ppt <= MAX_NOISE_PPT;
}

static int wander_is_sane(const struct board_crystal_config *crystal)
{
	uint32_t at;

	for (at = 0; at < crystal->frequency_count && at < BOARD_MAX_FREQUENCIES; ++at)
		if (!crystal_is_sane(crystal->frequencies_ppt[at]))
			return 0;
	return crystal->frequency_count <= BOARD_MAX_FREQUENCIES && noise_is_sane(crystal->white_ppt) &&
		noise_is_sane(crystal->flicker_ppt) && noise_is_sane(crystal->walk_ppt) &&
		crystal->ageing_ppt_per_day >= -MAX_AGEING_PPT && crystal->ageing_ppt_per_day <= MAX_AGEING_PPT &&
		crystal_is_sane(crystal->ramp_ppt) && crystal->ramp_takes_ns <= MAX_RAMP_NS &&
		crystal->interval_ns >= MIN_CRYSTAL_INTERVAL_NS && crystal->interval_ns <= MAX_DELAY_NS &&
		crystal->frequencies_every_ns >= MIN_CRYSTAL_INTERVAL_NS &&
		crystal->frequencies_every_ns <= MAX_RAMP_NS / 100;
}

int board_config_is_sane(const struct board_config *config)
{
	uint32_t at;

	if (config->interface_count > BOARD_MAX_INTERFACES || config->event_count > BOARD_MAX_EVENTS ||
	    config->fault_count > BOARD_MAX_FAULTS || config->cost_count > BOARD_MAX_COSTS)
		return 0;
	if (!crystal_is_sane(config->crystal_error_ppt) || !crystal_is_sane(config->system_crystal_error_ppt) ||
	    !crystal_is_sane(config->si514_initial_ppt) || !crystal_is_sane(config->si514_max_ppt) ||
	    !wander_is_sane(&config->crystal) || config->si514_resolution_ppt < 0 ||
	    config->si514_resolution_ppt > MAX_CRYSTAL_PPT)
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
