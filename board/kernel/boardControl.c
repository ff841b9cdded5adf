/* Control and ground truth, separate from what drivers expose: /proc/halvexboard/control takes one command per write,
 * /proc/halvexboard/truth shows every clock and CLOCK_REALTIME at one instant.
 *
 *   defaults                          a healthy board without interfaces, off
 *   interface NAME                    adds an I210; the kernel lists them in this order
 *   set KEY VALUE                     a number of the next board: see configKeys.h
 *   set INTERFACE KEY VALUE           of an interface
 *   text INTERFACE vendor|device TEXT
 *   frequency PPT                     the next measured frequency of the crystal
 *   on, off
 *   event KIND TARGET VALUE           as in a scenario; KIND by name, VALUE 0 if it has none
 *   fault KEY=VALUE ...               omitted keys are 0, which matches anything; nth and times default to 1
 *
 * halvexboard's kernelCommands generates them from a scenario. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/proc_fs.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/timekeeping.h>
#include <linux/uaccess.h>

#include "boardModule.h"
#include "board/model/configKeys.h"

#define COMMAND_SIZE 256
#define MAX_WORDS 16

/* --------------------------------------------------------------------------------------------------------- numbers */

struct hx_key {
	const char *name;
	u32 offset, size;
};

#define KEY(structure, name, member)                                                             \
	{                                                                                        \
		name, offsetof(struct structure, member), sizeof_field(struct structure, member) \
	}

#define BOARD_KEY(name, member) KEY(board_config, name, member),
#define INTERFACE_KEY(name, member) KEY(board_interface_config, name, member),
#define FAULT_KEY(name, member) KEY(board_fault_config, name, member),

static const struct hx_key board_keys[] = { BOARD_KEYS(BOARD_KEY){} };
static const struct hx_key interface_keys[] = { BOARD_INTERFACE_KEYS(INTERFACE_KEY){} };
static const struct hx_key fault_keys[] = { BOARD_FAULT_KEYS(FAULT_KEY){} };

static int set_number(const struct hx_key *key, void *structure, const char *name, const char *text)
{
	s64 value;
	int error = kstrtos64(text, 0, &value);

	for (; !error && key->name; ++key)
		if (strcmp(key->name, name) == 0) {
			memcpy(structure + key->offset, &value, key->size); /* little endian */
			return 0;
		}
	return -EINVAL;
}

static struct board_interface_config *interface_named(const char *name)
{
	u32 at;

	for (at = 0; at < hx_config.interface_count; ++at)
		if (strcmp(hx_config.interfaces[at].name, name) == 0)
			return &hx_config.interfaces[at];
	return NULL;
}

/* -------------------------------------------------------------------------------------------------------- commands */

static int set(int count, char **words)
{
	struct board_interface_config *interface;

	if (count == 3)
		return set_number(board_keys, &hx_config, words[1], words[2]);
	interface = count == 4 ? interface_named(words[1]) : NULL;
	return interface ? set_number(interface_keys, interface, words[2], words[3]) : -EINVAL;
}

static int set_text(int count, char **words)
{
	struct board_interface_config *interface = count == 4 ? interface_named(words[1]) : NULL;
	const bool is_vendor = interface && strcmp(words[2], "vendor") == 0;

	if (!interface || (!is_vendor && strcmp(words[2], "device") != 0))
		return -EINVAL;
	snprintf(is_vendor ? interface->vendor : interface->device, BOARD_ID_SIZE, "%s\n", words[3]);
	return 0;
}

static int add_frequency(int count, char **words)
{
	struct board_crystal_config *crystal = &hx_config.crystal;
	int error = -EINVAL;

	if (count == 2 && crystal->frequency_count < BOARD_MAX_FREQUENCIES)
		error = kstrtos32(words[1], 0, &crystal->frequencies_ppt[crystal->frequency_count]);
	crystal->frequency_count += !error;
	return error;
}

static int add_interface(int count, char **words)
{
	const u32 position = hx_config.interface_count;

	if (count != 2 || position == BOARD_MAX_INTERFACES)
		return -EINVAL;
	board_interface_defaults(&hx_config.interfaces[position], words[1], position);
	hx_config.interface_count = position + 1;
	return 0;
}

/* The kernel's view of an event that the model has carried out. */
static int show_event(const struct board_event_config *event)
{
	const bool is_driver = event->target == BOARD_TARGET_FERROX || event->target == BOARD_TARGET_FPGA;
	const int interface = event->target - BOARD_TARGET_FIRST_INTERFACE;

	if (event->kind == BOARD_EVENT_DRIVER_GONE && is_driver)
		hx_driver_destroy(event->target);
	if (event->kind == BOARD_EVENT_DRIVER_BACK && is_driver)
		return hx_driver_create(event->target);
	if (event->kind == BOARD_EVENT_CAPABILITIES) {
		hx_config.interfaces[interface].n_ext_ts = event->value & 0xFF;
		hx_config.interfaces[interface].n_per_out = (event->value >> 8) & 0xFF;
		hx_config.interfaces[interface].n_pins = (event->value >> 16) & 0xFF;
		hx_clock_capabilities(hx_interface_at(interface), &hx_config.interfaces[interface]);
	}
	return 0;
}

static int do_event(int count, char **words)
{
	struct board_event_config event = { .kind = BOARD_EVENT_NONE };
	unsigned long flags;
	u64 raw_ns;
	struct board *board;
	int kind, error = -EINVAL;

	if (count != 4 || kstrtos64(words[3], 0, &event.value))
		return -EINVAL;
	for (kind = BOARD_EVENT_NONE + 1; kind < BOARD_EVENT_KINDS; ++kind)
		if (strcmp(board_event_kind_name(kind), words[1]) == 0)
			event.kind = kind;
	/* Interface changes and killed children are left to the machine's own means. */
	if (event.kind == BOARD_EVENT_NONE || event.kind == BOARD_EVENT_INTERFACE_UP ||
	    event.kind == BOARD_EVENT_INTERFACE_DOWN || event.kind == BOARD_EVENT_KILL_CHILD)
		return -EINVAL;
	board = hx_lock(&flags, &raw_ns);
	event.target = board ? board_target_find(board_configuration(board), words[2]) : -1;
	if (event.target >= 0) {
		hx_follow_system_clock(board, raw_ns);
		error = board_do_event(board, raw_ns, &event);
	}
	hx_unlock(flags);
	return error ? error : show_event(&event);
}

static int add_fault(int count, char **words)
{
	struct board_fault_config fault = { .kind = BOARD_CALL_ANY, .nth = 1, .times = 1 };
	unsigned long flags;
	u64 raw_ns;
	struct board *board;
	int at, error = 0;

	for (at = 1; at < count && !error; ++at) {
		char *value = words[at];
		const char *name = strsep(&value, "=");

		error = value ? set_number(fault_keys, &fault, name, value) : -EINVAL;
	}
	board = hx_lock(&flags, &raw_ns);
	if (!error)
		error = board ? board_add_fault(board, &fault) : -EINVAL;
	hx_unlock(flags);
	return error;
}

static int defaults(int count, char **words)
{
	board_config_defaults(&hx_config);
	return 0;
}

static int on(int count, char **words)
{
	return hx_switch_on();
}

static int off(int count, char **words)
{
	hx_switch_off();
	return 0;
}

static const struct {
	const char *name;
	int (*act)(int count, char **words);
	bool is_for_next; /* of the next board: -EBUSY while one is on */
} commands[] = {
	{ "defaults", defaults, true },
	{ "interface", add_interface, true },
	{ "set", set, true },
	{ "text", set_text, true },
	{ "frequency", add_frequency, true },
	{ "on", on },
	{ "off", off },
	{ "event", do_event },
	{ "fault", add_fault },
};

static int obey(char *text)
{
	char *words[MAX_WORDS];
	char *word;
	int count = 0, at;

	while ((word = strsep(&text, "\n ")) != NULL && count < MAX_WORDS)
		if (*word)
			words[count++] = word;
	for (at = 0; count > 0 && at < ARRAY_SIZE(commands); ++at)
		if (strcmp(commands[at].name, words[0]) == 0)
			return commands[at].is_for_next && hx_is_on() ? -EBUSY : commands[at].act(count, words);
	return -EINVAL;
}

static ssize_t write(struct file *file, const char __user *from, size_t size, loff_t *position)
{
	char command[COMMAND_SIZE];
	int error;

	if (size >= sizeof(command))
		return -EINVAL;
	if (copy_from_user(command, from, size))
		return -EFAULT;
	command[size] = '\0';
	error = obey(command);
	return error ? error : size;
}

static const struct proc_ops control_ops = {
	.proc_write = write,
};

/* ----------------------------------------------------------------------------------------------------------- truth */

static int show_truth(struct seq_file *file, void *unused)
{
	struct board_truth *truth = kzalloc(sizeof(*truth), GFP_KERNEL);
	struct system_time_snapshot snapshot;
	struct board *board;
	unsigned long flags;
	u64 raw_ns;
	u32 clock;

	if (!truth)
		return -ENOMEM;
	board = hx_lock(&flags, &raw_ns);
	ktime_get_snapshot(&snapshot); /* both clocks of the machine at one instant */
	raw_ns = hx_raw_of(ktime_to_ns(snapshot.raw));
	if (board)
		board_get_truth(board, raw_ns, truth);
	hx_unlock(flags);
	if (board) {
		seq_printf(file, "raw %llu\nrealtime %lld %lld 1\n", truth->raw_ns, ktime_to_ns(snapshot.real),
			   ktime_to_ns(snapshot.real) - (s64)truth->time_ns[BOARD_CLOCK_FERROX]);
		for (clock = 0; clock < truth->clock_count; ++clock)
			if (clock != BOARD_CLOCK_SYSTEM)
				seq_printf(file, "%s %llu %lld %u\n", board_clock_name(board, clock),
					   truth->time_ns[clock], truth->difference_ns[clock], truth->enabled[clock]);
	}
	kfree(truth);
	return 0;
}

int hx_control_create(struct proc_dir_entry *directory)
{
	if (!proc_create("control", 0200, directory, &control_ops) ||
	    !proc_create_single("truth", 0444, directory, show_truth))
		return -ENOMEM;
	return 0;
}
