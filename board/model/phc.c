/* The PTP hardware clocks: capabilities, time, steps, pins and time-stamp queues, as in the kernel and its driver. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

/* The PHC of an interface, or NULL. */
static struct board_phc *phc_of(struct board *board, uint64_t raw_ns, int interface)
{
	board_enter(board, raw_ns);
	if (interface < 0 || (uint32_t)interface >= board->config.interface_count)
		return NULL;
	if (!board_present(board, BOARD_TARGET_INTERFACE(interface)) ||
	    board->config.interfaces[interface].phc_index < 0)
		return NULL;
	return &board->phcs[interface];
}

int board_interface_is_up(struct board *board, uint64_t raw_ns, int interface)
{
	board_enter(board, raw_ns);
	if (!board_present(board, BOARD_TARGET_INTERFACE(interface)))
		return -ENODEV;
	return board->config.interfaces[interface].is_up;
}

int32_t board_interface_phc_index(struct board *board, uint64_t raw_ns, int interface)
{
	return phc_of(board, raw_ns, interface) == NULL ? -1 : board->config.interfaces[interface].phc_index;
}

int board_phc_get_caps(struct board *board, uint64_t raw_ns, int interface, struct board_wire_ptp_caps *caps)
{
	const struct board_interface_config *config;

	if (phc_of(board, raw_ns, interface) == NULL)
		return -ENODEV;
	config = &board->config.interfaces[interface];
	memset(caps, 0, sizeof(*caps));
	caps->max_adj = config->max_adj_ppb;
	caps->n_alarm = config->n_alarm;
	caps->n_ext_ts = config->n_ext_ts;
	caps->n_per_out = config->n_per_out;
	caps->pps = config->pps;
	caps->n_pins = config->n_pins;
	caps->cross_timestamping = config->cross_timestamping;
	return 0;
}

int board_phc_get_time(struct board *board, uint64_t raw_ns, int interface, uint64_t *time_ns)
{
	if (phc_of(board, raw_ns, interface) == NULL)
		return -ENODEV;
	*time_ns = board_time_now(board, BOARD_CLOCK_PHC(interface));
	return 0;
}

int board_phc_set_time(struct board *board, uint64_t raw_ns, int interface, uint64_t time_ns)
{
	const int clock = BOARD_CLOCK_PHC(interface);

	if (phc_of(board, raw_ns, interface) == NULL)
		return -ENODEV;
	if (board->config.interfaces[interface].virtual_clocks)
		return -EBUSY;
	board_step_clock(board, clock, (int64_t)(time_ns - board_time_now(board, clock)), 0);
	return 0;
}

static int set_offset(struct board *board, int interface, const struct board_wire_timex *timex)
{
	const uint64_t scale = timex->modes & BOARD_WIRE_ADJ_NANO ? 1 : 1000;
	const uint64_t nanoseconds = (uint64_t)timex->time_usec * scale;
	int64_t offset_ns = INT64_MAX; /* the kernel saturates beyond this range */

	if (nanoseconds >= (uint64_t)BOARD_NS_PER_S)
		return -EINVAL;
	if (timex->time_sec < INT64_MAX / BOARD_NS_PER_S)
		offset_ns = (int64_t)((uint64_t)timex->time_sec * (uint64_t)BOARD_NS_PER_S + nanoseconds);
	board_step_clock(board, BOARD_CLOCK_PHC(interface), offset_ns, 0);
	return 0;
}

static int set_frequency(struct board *board, int interface, int64_t frequency)
{
	struct board_phc *phc = &board->phcs[interface];
	const int64_t limit_ppb = board->config.interfaces[interface].max_adj_ppb;
	int64_t ppb;

	if (frequency > ((int64_t)1 << 50) || frequency < -((int64_t)1 << 50))
		return -ERANGE;
	ppb = ((1 + frequency) * 125) >> 13;
	if (ppb > limit_ppb || ppb < -limit_ppb)
		return -ERANGE;
	phc->frequency = frequency;
	board_line_set_rate(&phc->line, board_tick_now(board), frequency * 15625 / 1024);
	return 0;
}

int board_phc_adjtime(struct board *board, uint64_t raw_ns, int interface, struct board_wire_timex *timex)
{
	struct board_phc *phc = phc_of(board, raw_ns, interface);

	if (phc == NULL)
		return -ENODEV;
	if (board->config.interfaces[interface].virtual_clocks)
		return -EBUSY;
	if (timex->modes & BOARD_WIRE_ADJ_SETOFFSET)
		return set_offset(board, interface, timex);
	if (timex->modes & BOARD_WIRE_ADJ_FREQUENCY)
		return set_frequency(board, interface, timex->freq);
	if (timex->modes != 0)
		return -EOPNOTSUPP;
	timex->freq = phc->frequency;
	return 0;
}

static void end_function(struct board_phc *phc, uint32_t pin)
{
	if (phc->pin_function[pin] == BOARD_WIRE_PIN_EXTTS)
		phc->stamping[phc->pin_channel[pin]] = 0;
	phc->pin_function[pin] = BOARD_WIRE_PIN_NONE;
	phc->pin_channel[pin] = 0;
}

static int function_fits(const struct board_interface_config *config, uint32_t function, uint32_t channel)
{
	switch (function) {
	case BOARD_WIRE_PIN_NONE:
		return 1;
	case BOARD_WIRE_PIN_EXTTS:
		return channel < (uint32_t)config->n_ext_ts;
	case BOARD_WIRE_PIN_PEROUT:
		return channel < (uint32_t)config->n_per_out;
	default:
		return 0;
	}
}

int board_phc_set_pin(struct board *board, uint64_t raw_ns, int interface, uint32_t pin, uint32_t function,
		      uint32_t channel)
{
	struct board_phc *phc = phc_of(board, raw_ns, interface);
	const struct board_interface_config *config;
	uint32_t other;

	if (phc == NULL)
		return -ENODEV;
	config = &board->config.interfaces[interface];
	if (pin >= (uint32_t)config->n_pins)
		return -EINVAL;
	if (function == BOARD_WIRE_PIN_PHYSYNC && channel == 0)
		return -EOPNOTSUPP; /* rejected by the driver */
	if (!function_fits(config, function, channel))
		return -EINVAL;
	for (other = 0; other < (uint32_t)config->n_pins; ++other)
		if (function != BOARD_WIRE_PIN_NONE && phc->pin_function[other] == function &&
		    phc->pin_channel[other] == channel)
			end_function(phc, other);
	end_function(phc, pin);
	phc->pin_function[pin] = function;
	phc->pin_channel[pin] = function == BOARD_WIRE_PIN_NONE ? 0 : channel;
	return 0;
}

int board_phc_get_pin(struct board *board, uint64_t raw_ns, int interface, uint32_t pin, uint32_t *function,
		      uint32_t *channel)
{
	struct board_phc *phc = phc_of(board, raw_ns, interface);

	if (phc == NULL)
		return -ENODEV;
	if (pin >= (uint32_t)board->config.interfaces[interface].n_pins)
		return -EINVAL;
	*function = phc->pin_function[pin];
	*channel = phc->pin_channel[pin];
	return 0;
}

static int strict_flags_error(uint32_t flags)
{
	const uint32_t both = BOARD_WIRE_EXTTS_RISING | BOARD_WIRE_EXTTS_FALLING;

	if (flags & ~(BOARD_WIRE_EXTTS_ENABLE | both))
		return -EINVAL;
	if (!(flags & BOARD_WIRE_EXTTS_ENABLE))
		return 0;
	if (!(flags & both))
		return -EINVAL;
	return (flags & both) == both ? 0 : -EOPNOTSUPP;
}

static int has_pin(const struct board_phc *phc, uint32_t pins, uint32_t channel)
{
	uint32_t pin;

	for (pin = 0; pin < pins; ++pin)
		if (phc->pin_function[pin] == BOARD_WIRE_PIN_EXTTS && phc->pin_channel[pin] == channel)
			return 1;
	return 0;
}

int board_phc_extts(struct board *board, uint64_t raw_ns, int interface, uint32_t channel, uint32_t flags, int strict)
{
	struct board_phc *phc = phc_of(board, raw_ns, interface);
	const int error = strict ? strict_flags_error(flags) : 0;
	const int enable = (flags & BOARD_WIRE_EXTTS_ENABLE) != 0;

	if (phc == NULL)
		return -ENODEV;
	if (error == -EINVAL || channel >= (uint32_t)board->config.interfaces[interface].n_ext_ts)
		return -EINVAL;
	if (error != 0)
		return error;
	if (enable && !has_pin(phc, (uint32_t)board->config.interfaces[interface].n_pins, channel))
		return -EBUSY;
	phc->stamping[channel] = (uint8_t)enable;
	return 0;
}

/* A full queue drops its oldest event: one of the 128 slots stays empty. */
void board_phc_enqueue(struct board *board, uint32_t interface, const struct board_phc_event *event)
{
	struct board_phc *phc = &board->phcs[interface];

	phc->queue[phc->tail] = *event;
	phc->tail = (phc->tail + 1) % BOARD_QUEUE_SIZE;
	if (phc->tail == phc->head)
		phc->head = (phc->head + 1) % BOARD_QUEUE_SIZE;
}

int board_phc_waiting(struct board *board, uint64_t raw_ns, int interface)
{
	const struct board_phc *phc = phc_of(board, raw_ns, interface);

	if (phc == NULL)
		return -ENODEV;
	return (int)((phc->tail + BOARD_QUEUE_SIZE - phc->head) % BOARD_QUEUE_SIZE);
}

int board_phc_take(struct board *board, uint64_t raw_ns, int interface, struct board_phc_event *events, uint32_t max)
{
	struct board_phc *phc = phc_of(board, raw_ns, interface);
	uint32_t taken = 0;

	if (phc == NULL)
		return -ENODEV;
	for (; taken < max && phc->head != phc->tail; ++taken) {
		events[taken] = phc->queue[phc->head];
		phc->head = (phc->head + 1) % BOARD_QUEUE_SIZE;
	}
	return (int)taken;
}

/* A reset of the adapter: sets the PHC to the system time, switches hardware frequency and stamping off. The PTP core
 * is not notified: pins keep their functions and the queue its events. */
void board_phc_reset(struct board *board, uint32_t interface)
{
	struct board_phc *phc = &board->phcs[interface];
	const int clock = BOARD_CLOCK_PHC((int)interface);

	board_line_set_rate(&phc->line, board_tick_now(board), 0);
	board_shift(board, clock, (int64_t)(board_time_now(board, BOARD_CLOCK_SYSTEM) - board_time_now(board, clock)));
	memset(phc->stamping, 0, sizeof(phc->stamping));
}
