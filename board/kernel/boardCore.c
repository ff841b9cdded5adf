/* The one board: its lock, its time, its faults, and the timer for changes that happen by themselves.
 *
 * Time: the board's true instant is CLOCK_MONOTONIC_RAW since it was switched on. CLOCK_REALTIME is the machine's own.
 * Threads: every call on the board holds one spinlock; time stamps reach the PTP core after its release.
 */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/delay.h>
#include <linux/sched/signal.h>
#include <linux/timekeeping.h>
#include <linux/vmalloc.h>

#include "boardModule.h"

#define LEAST_WAIT_NS 200

struct board_config hx_config;

static DEFINE_SPINLOCK(lock);
static struct board *board; /* NULL: switched off */
static void *memory;
static u64 start_raw_ns;
static struct hrtimer timer;
static struct ptp_clock *clocks[BOARD_MAX_INTERFACES]; /* receivers of each interface's time stamps */

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

/* Removes one time stamp from the board's queues. */
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
		*clock = clocks[at];
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
	if (outcome->kills)
		send_sig(SIGKILL, current, 1);
	return -outcome->error;
}

void hx_take_time(u64 delay_ns)
{
	if (delay_ns)
		fsleep(div_u64(delay_ns, NSEC_PER_USEC) + 1);
}

bool hx_begin(struct hx_call *call)
{
	call->board = hx_lock(&call->flags, &call->raw_ns);
	call->error = call->board ? hx_fault(call->board, call->raw_ns, &call->what, &call->outcome) : -ENODEV;
	return !call->error;
}

long hx_end(struct hx_call *call)
{
	hx_unlock(call->flags);
	hx_take_time(call->outcome.delay_ns);
	return call->error;
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

void hx_stamps_go_to(int position, struct ptp_clock *clock)
{
	clocks[position] = clock;
}

int hx_board_start(board_observer observer)
{
	struct system_time_snapshot snapshot;
	unsigned long flags;
	int error;

	spin_lock_irqsave(&lock, flags);
	ktime_get_snapshot(&snapshot);
	start_raw_ns = ktime_to_ns(snapshot.raw);
	hx_config.start_time_ns = ktime_to_ns(snapshot.real);
	board = board_init(memory, &hx_config, observer, NULL);
	error = board ? 0 : -EINVAL;
	hx_unlock(flags);
	return error;
}

void hx_board_end(void)
{
	unsigned long flags;
	u64 raw_ns;

	hx_lock(&flags, &raw_ns);
	board = NULL;
	spin_unlock_irqrestore(&lock, flags);
	hrtimer_cancel(&timer);
}

int hx_core_create(void)
{
	hrtimer_init(&timer, CLOCK_MONOTONIC, HRTIMER_MODE_REL_HARD);
	timer.function = on_timer;
	board_config_defaults(&hx_config);
	memory = vzalloc(board_size());
	return memory ? 0 : -ENOMEM;
}

void hx_core_destroy(void)
{
	vfree(memory);
}
