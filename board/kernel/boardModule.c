// SPDX-License-Identifier: GPL-2.0
/*
 * The simulated controller as a kernel module: owns the one board, its lock, its time, and the timer that lets happen
 * what happens by itself.
 *
 * Time: the board's true instant is CLOCK_MONOTONIC_RAW since it was switched on. CLOCK_REALTIME is the machine's own.
 * Threads: every call on the board is made under one spinlock; time stamps reach the PTP core after it is dropped.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/delay.h>
#include <linux/module.h>
#include <linux/proc_fs.h>
#include <linux/timekeeping.h>
#include <linux/vmalloc.h>

#include "boardModule.h"

#define DIRECTORY "halvexboard"
#define LEAST_WAIT_NS 200

struct board_config hx_config;

static DEFINE_SPINLOCK(lock);
static DEFINE_MUTEX(switching);
static struct board *board; /* NULL: switched off */
static void *memory;
static u64 start_raw_ns;
static struct hrtimer timer;
static struct proc_dir_entry *directory;

u64 hx_start_raw_ns(void)
{
	return start_raw_ns;
}

u64 hx_raw_of(u64 kernel_raw_ns)
{
	return kernel_raw_ns - start_raw_ns;
}

struct board *hx_lock(unsigned long *flags, u64 *raw_ns)
{
	spin_lock_irqsave(&lock, *flags);
	*raw_ns = ktime_get_raw_ns() - start_raw_ns;
	return board;
}

static bool has_stamps(void)
{
	int at;

	for (at = 0; at < (int)board_configuration(board)->interface_count; ++at)
		if (board_phc_waiting(board, board_raw(board), at) > 0)
			return true;
	return false;
}

static void arm_timer(void)
{
	const u64 now_ns = ktime_get_raw_ns() - start_raw_ns;
	u64 next_ns;

	if (!board)
		return;
	next_ns = has_stamps() ? 0 : board_next_change(board);
	if (next_ns == BOARD_NEVER)
		return;
	next_ns = next_ns > now_ns + LEAST_WAIT_NS ? next_ns - now_ns : LEAST_WAIT_NS;
	hrtimer_start(&timer, ns_to_ktime(next_ns), HRTIMER_MODE_REL_HARD);
}

void hx_unlock(unsigned long flags)
{
	arm_timer();
	spin_unlock_irqrestore(&lock, flags);
}

/* Takes one time stamp out of the board. */
static bool take_stamp(struct board_phc_event *event, struct ptp_clock **clock)
{
	const u64 raw_ns = ktime_get_raw_ns() - start_raw_ns;
	unsigned long flags;
	bool is_taken = false;
	int at;

	spin_lock_irqsave(&lock, flags);
	if (board)
		board_advance(board, raw_ns);
	for (at = 0; board && !is_taken && at < (int)board_configuration(board)->interface_count; ++at) {
		if (board_phc_take(board, raw_ns, at, event, 1) != 1)
			continue;
		is_taken = true;
		*clock = hx_interface_at(at)->clock;
	}
	spin_unlock_irqrestore(&lock, flags);
	return is_taken;
}

static enum hrtimer_restart on_timer(struct hrtimer *unused)
{
	struct board_phc_event stamp;
	struct ptp_clock *clock = NULL;
	unsigned long flags;
	u64 raw_ns;

	while (take_stamp(&stamp, &clock)) {
		struct ptp_clock_event event = { .type = PTP_CLOCK_EXTTS };

		event.index = stamp.channel;
		event.timestamp = stamp.time_ns;
		if (clock)
			ptp_clock_event(clock, &event);
	}
	hx_lock(&flags, &raw_ns);
	hx_unlock(flags);
	return HRTIMER_NORESTART;
}

int hx_fault(struct board *faulted, u64 raw_ns, struct board_call *call, struct board_fault_outcome *outcome)
{
	memset(outcome, 0, sizeof(*outcome));
	if (!board_fault_due(faulted, raw_ns, call, outcome))
		return 0;
	return -outcome->error;
}

void hx_take_time(u64 delay_ns)
{
	if (delay_ns)
		fsleep(div_u64(delay_ns, NSEC_PER_USEC) + 1);
}

void hx_follow_system_clock(struct board *follower, u64 raw_ns)
{
	struct timespec64 now;

	ktime_get_real_ts64(&now);
	hx_journal_mute(true);
	board_system_set_time(follower, raw_ns, now.tv_sec, now.tv_nsec);
	hx_journal_mute(false);
}

bool hx_is_on(void)
{
	return READ_ONCE(board) != NULL;
}

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

static void forget_board(void)
{
	unsigned long flags;
	u64 raw_ns;

	hx_lock(&flags, &raw_ns);
	board = NULL;
	spin_unlock_irqrestore(&lock, flags);
	hrtimer_cancel(&timer);
}

/* Devices first: the kernel assigns the PTP clock indexes. They return -ENODEV until the board exists. */
int hx_switch_on(void)
{
	struct system_time_snapshot snapshot;
	unsigned long flags;
	int error = -EBUSY;

	mutex_lock(&switching);
	if (board)
		goto out;
	error = create_devices();
	if (error)
		goto undo;
	hx_journal_clear();
	spin_lock_irqsave(&lock, flags);
	ktime_get_snapshot(&snapshot);
	start_raw_ns = ktime_to_ns(snapshot.raw);
	hx_config.start_time_ns = ktime_to_ns(snapshot.real);
	board = board_init(memory, &hx_config, hx_journal_observe, NULL);
	error = board ? 0 : -EINVAL;
	hx_unlock(flags);
	if (!error)
		error = hx_interfaces_bring_up();
	if (!error)
		goto out;
	forget_board();
undo:
	destroy_devices();
out:
	mutex_unlock(&switching);
	return error;
}

void hx_switch_off(void)
{
	mutex_lock(&switching);
	forget_board(); /* first: the timer uses the clocks */
	destroy_devices();
	mutex_unlock(&switching);
}

static int __init start(void)
{
	int error = -ENOMEM;

	hrtimer_init(&timer, CLOCK_MONOTONIC, HRTIMER_MODE_REL_HARD);
	timer.function = on_timer;
	board_config_defaults(&hx_config);
	memory = vzalloc(board_size());
	if (!memory)
		return error;
	directory = proc_mkdir(DIRECTORY, NULL);
	if (directory)
		error = hx_journal_create(directory);
	if (!error)
		error = hx_control_create(directory);
	if (!error)
		error = hx_driver_directory_create();
	if (!error)
		return 0;
	proc_remove(directory);
	hx_journal_destroy();
	vfree(memory);
	return error;
}

static void __exit stop(void)
{
	proc_remove(directory);
	hx_switch_off();
	hx_driver_directory_destroy();
	hx_journal_destroy();
	vfree(memory);
}

module_init(start);
module_exit(stop);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Simulated timekeeping controller");
