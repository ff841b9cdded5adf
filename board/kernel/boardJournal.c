/* The journal: what happened on the board, one line each, in /proc/halvexboard/journal. Reading consumes lines. Lines
 * that do not fit are dropped and counted. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/kfifo.h>
#include <linux/proc_fs.h>
#include <linux/uaccess.h>
#include <linux/vmalloc.h>

#include "boardModule.h"

#define JOURNAL_SIZE (1u << 20)
#define LINE_SIZE 512

static DECLARE_KFIFO_PTR(journal, char);
static void *storage;
static DEFINE_SPINLOCK(lock); /* acquired while holding the board's */
static u64 lost;
static bool is_muted;

void hx_journal_mute(bool is_to_be_muted)
{
	is_muted = is_to_be_muted;
}

static int write_differences(const struct board_happening *happening, char *line, int size)
{
	const struct board_truth *truth = happening->truth;
	int length = 0;
	u32 clock;

	for (clock = 0; clock < truth->clock_count; ++clock)
		if (clock != BOARD_CLOCK_SYSTEM) /* the model does not keep the machine's clock */
			length += scnprintf(line + length, size - length, " %s=%lld",
					    board_clock_name(happening->where, clock), truth->difference_ns[clock]);
	return length;
}

/* Writes the details of one kind of happening; returns -1 for kinds that are not logged. */
static int write_details(const struct board_happening *happening, char *line, int size)
{
	switch (happening->kind) {
	case BOARD_HAPPENING_EPOCH:
		return write_differences(happening, line, size);
	case BOARD_HAPPENING_STEP:
		return scnprintf(line, size, " asked=%lld real=%lld before=%llu after=%llu", happening->step->asked_ns,
				 happening->step->real_ns, happening->step->before_ns, happening->step->after_ns);
	case BOARD_HAPPENING_STAMP:
		return scnprintf(line, size, " time=%llu falling=%u lost=%u stale=%u", happening->stamp->time_ns,
				 happening->stamp->falling, happening->stamp->lost, happening->stamp->stale);
	case BOARD_HAPPENING_FAULT:
		return scnprintf(line, size, " call=%s error=%d driver_status=%d",
				 board_call_kind_name(happening->call->kind), happening->outcome->error,
				 happening->outcome->driver_status);
	case BOARD_HAPPENING_EVENT:
		return scnprintf(line, size, " event=%s value=%lld", board_event_kind_name(happening->event->kind),
				 happening->value);
	case BOARD_HAPPENING_STATUS_RECORD:
		return scnprintf(line, size, " record=%*phN", happening->record_size, happening->record);
	case BOARD_HAPPENING_START:
	case BOARD_HAPPENING_STEERING:
	case BOARD_HAPPENING_ALIGNMENT_REQUEST:
		return scnprintf(line, size, " value=%lld", happening->value);
	default:
		return -1;
	}
}

void hx_journal_observe(void *context, const struct board_happening *happening)
{
	static char line[LINE_SIZE]; /* guarded by the board's lock */
	int length, details;

	if (is_muted)
		return;
	length = scnprintf(line, sizeof(line), "%llu %s %s", happening->raw_ns,
			   board_happening_kind_name(happening->kind),
			   board_target_name(board_configuration(happening->where), happening->target));
	details = write_details(happening, line + length, sizeof(line) - length - 1);
	if (details < 0)
		return;
	length += details;
	line[length++] = '\n';
	spin_lock(&lock);
	if (kfifo_avail(&journal) >= length)
		kfifo_in(&journal, line, length);
	else
		++lost;
	spin_unlock(&lock);
}

void hx_journal_clear(void)
{
	unsigned long flags;

	spin_lock_irqsave(&lock, flags);
	kfifo_reset(&journal);
	lost = 0;
	spin_unlock_irqrestore(&lock, flags);
}

static ssize_t read(struct file *file, char __user *to, size_t size, loff_t *position)
{
	char chunk[256];
	unsigned long flags;
	unsigned int count;

	spin_lock_irqsave(&lock, flags);
	count = kfifo_out(&journal, chunk, min(size, sizeof(chunk)));
	if (count == 0 && lost > 0 && size >= sizeof(chunk)) {
		count = scnprintf(chunk, sizeof(chunk), "0 lost board value=%llu\n", lost);
		lost = 0;
	}
	spin_unlock_irqrestore(&lock, flags);
	return copy_to_user(to, chunk, count) ? -EFAULT : count;
}

static const struct proc_ops journal_ops = {
	.proc_read = read,
};

int hx_journal_create(struct proc_dir_entry *directory)
{
	storage = vzalloc(JOURNAL_SIZE);
	if (!storage)
		return -ENOMEM;
	if (kfifo_init(&journal, storage, JOURNAL_SIZE) || !proc_create("journal", 0400, directory, &journal_ops)) {
		vfree(storage);
		storage = NULL;
		return -ENOMEM;
	}
	return 0;
}

void hx_journal_destroy(void)
{
	vfree(storage);
	storage = NULL;
}
