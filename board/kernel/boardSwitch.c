/* Switches the board and its devices on and off. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include "boardModule.h"

static DEFINE_MUTEX(switching);

static int create_devices(void)
{
	int error = hx_interfaces_create();

	if (!error && hx_config.ferrox.present)
		error = hx_driver_create(BOARD_TARGET_FERROX);
	if (!error && hx_config.fpga.present)
		error = hx_driver_create(BOARD_TARGET_FPGA);
	if (!error && hx_config.si514_present)
		error = hx_oscillator_create();
	return error;
}

static void destroy_devices(void)
{
	hx_oscillator_destroy();
	hx_driver_destroy(BOARD_TARGET_FPGA);
	hx_driver_destroy(BOARD_TARGET_FERROX);
	hx_interfaces_destroy();
}

/* Devices first: the kernel assigns the PTP clock indexes. They return -ENODEV until the board exists. */
int hx_switch_on(void)
{
	int error = -EBUSY;

	mutex_lock(&switching);
	if (hx_is_on())
		goto out;
	error = create_devices();
	if (error)
		goto undo;
	hx_journal_clear();
	error = hx_board_start(hx_journal_observe);
	if (!error)
		error = hx_interfaces_bring_up();
	if (!error)
		goto out;
	hx_board_end();
undo:
	destroy_devices();
out:
	mutex_unlock(&switching);
	return error;
}

void hx_switch_off(void)
{
	mutex_lock(&switching);
	hx_board_end(); /* first: the timer uses the clocks */
	destroy_devices();
	mutex_unlock(&switching);
}
