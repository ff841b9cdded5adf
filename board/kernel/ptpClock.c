/* The PTP clock of an interface, registered with the PTP core like that of an I210's driver. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/module.h>

#include "boardModule.h"
#include "board/wire/ptp.h"
#include "board/wire/timex.h"

static struct hx_interface *of(struct ptp_clock_info *info)
{
	return container_of(info, struct hx_interface, info);
}

static struct hx_call call_on(struct ptp_clock_info *info, enum board_call_kind kind, u32 detail)
{
	return (struct hx_call){ .what = { .kind = kind,
					   .target = BOARD_TARGET_INTERFACE(of(info)->position),
					   .file = BOARD_FILE_PTP,
					   .detail = detail } };
}

static int adjust(struct ptp_clock_info *info, struct board_wire_timex *timex)
{
	struct hx_call call = call_on(info, BOARD_CALL_CLOCK_ADJTIME, timex->modes);

	if (hx_begin(&call))
		call.error = board_phc_adjtime(call.board, call.raw_ns, of(info)->position, timex);
	return hx_end(&call);
}

static int adjust_frequency(struct ptp_clock_info *info, long scaled_ppm)
{
	struct board_wire_timex timex = { .modes = BOARD_WIRE_ADJ_FREQUENCY, .freq = scaled_ppm };

	return adjust(info, &timex);
}

static int adjust_time(struct ptp_clock_info *info, s64 delta_ns)
{
	struct board_wire_timex timex = { .modes = BOARD_WIRE_ADJ_SETOFFSET | BOARD_WIRE_ADJ_NANO };
	s32 rest_ns;

	timex.time_sec = div_s64_rem(delta_ns, NSEC_PER_SEC, &rest_ns);
	if (rest_ns < 0) {
		rest_ns += NSEC_PER_SEC;
		--timex.time_sec;
	}
	timex.time_usec = rest_ns;
	return adjust(info, &timex);
}

static int get_time(struct ptp_clock_info *info, struct timespec64 *time, struct ptp_system_timestamp *system)
{
	/* Only the offset requests bracket the clock's reading with system readings. */
	struct hx_call call = system ? call_on(info, BOARD_CALL_IOCTL, BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED)
				     : call_on(info, BOARD_CALL_CLOCK_GETTIME, 0);
	u64 time_ns = 0;

	if (hx_begin(&call)) {
		u64 latched_ns;

		/* Like a register latched between the system's readings; the clock's value is computed afterwards. */
		ptp_read_system_prets(system);
		latched_ns = ktime_get_raw_ns();
		ptp_read_system_postts(system);
		call.error = board_phc_get_time(call.board, hx_raw_of(latched_ns), of(info)->position, &time_ns);
	}
	*time = ns_to_timespec64(time_ns);
	return hx_end(&call);
}

static int set_time(struct ptp_clock_info *info, const struct timespec64 *time)
{
	struct hx_call call = call_on(info, BOARD_CALL_CLOCK_SETTIME, 0);

	if (hx_begin(&call))
		call.error = board_phc_set_time(call.board, call.raw_ns, of(info)->position, timespec64_to_ns(time));
	return hx_end(&call);
}

/* The PTP core keeps the pins; the board copies their functions when time-stamping is switched. */
static void copy_pins(struct board *board, u64 raw_ns, const struct hx_interface *interface)
{
	u32 pin, function, channel;

	for (pin = 0; pin < (u32)interface->info.n_pins; ++pin) {
		const struct ptp_pin_desc *desc = &interface->pins[pin];

		if (board_phc_get_pin(board, raw_ns, interface->position, pin, &function, &channel))
			continue;
		if (function != desc->func || channel != desc->chan)
			board_phc_set_pin(board, raw_ns, interface->position, pin, desc->func, desc->chan);
	}
}

static int enable(struct ptp_clock_info *info, struct ptp_clock_request *request, int is_on)
{
	struct hx_interface *interface = of(info);
	const u32 asked = request->extts.flags;
	const bool is_strict = asked & PTP_STRICT_FLAGS;
	struct hx_call call =
		call_on(info, BOARD_CALL_IOCTL, is_on ? BOARD_WIRE_PTP_EXTTS_REQUEST : BOARD_WIRE_PTP_PIN_SETFUNC);

	if (request->type == PTP_CLK_REQ_PEROUT)
		return 0; /* the outputs are not connected */
	if (request->type != PTP_CLK_REQ_EXTTS)
		return -EOPNOTSUPP;
	if (hx_begin(&call)) {
		copy_pins(call.board, call.raw_ns, interface);
		call.error = board_phc_extts(call.board, call.raw_ns, interface->position, request->extts.index,
					     is_on ? (asked & ~(u32)PTP_STRICT_FLAGS) | PTP_ENABLE_FEATURE : 0,
					     is_on && is_strict);
	}
	return hx_end(&call);
}

static int verify(struct ptp_clock_info *info, unsigned int pin, enum ptp_pin_function function, unsigned int channel)
{
	return function == PTP_PF_PHYSYNC ? -1 : 0;
}

void hx_clock_capabilities(struct hx_interface *interface, const struct board_interface_config *config)
{
	interface->info.max_adj = config->max_adj_ppb;
	interface->info.n_alarm = config->n_alarm;
	interface->info.n_ext_ts = config->n_ext_ts;
	interface->info.n_per_out = config->n_per_out;
	interface->info.n_pins = config->n_pins;
	interface->info.pps = config->pps;
}

int hx_clock_create(struct hx_interface *interface)
{
	struct ptp_clock_info *info = &interface->info;
	int pin;

	hx_clock_capabilities(interface, &hx_config.interfaces[interface->position]);
	info->owner = THIS_MODULE;
	strscpy(info->name, interface->net->name, sizeof(info->name));
	info->adjfine = adjust_frequency;
	info->adjtime = adjust_time;
	info->gettimex64 = get_time;
	info->settime64 = set_time;
	info->enable = enable;
	info->verify = verify;
	info->pin_config = interface->pins;
	for (pin = 0; pin < BOARD_MAX_PINS; ++pin) {
		snprintf(interface->pins[pin].name, sizeof(interface->pins[pin].name), "SDP%d", pin);
		interface->pins[pin].index = pin;
	}
	interface->clock = ptp_clock_register(info, &interface->device->dev);
	if (IS_ERR_OR_NULL(interface->clock)) {
		const int error = interface->clock ? PTR_ERR(interface->clock) : -EOPNOTSUPP;

		interface->clock = NULL;
		return error;
	}
	hx_config.interfaces[interface->position].phc_index = ptp_clock_index(interface->clock);
	hx_stamps_go_to(interface->position, interface->clock);
	return 0;
}

void hx_clock_destroy(struct hx_interface *interface)
{
	if (!interface->clock)
		return;
	hx_stamps_go_to(interface->position, NULL);
	ptp_clock_unregister(interface->clock);
	interface->clock = NULL;
}
