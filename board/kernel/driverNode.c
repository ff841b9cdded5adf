/* The Ferrox and FPGA drivers: device nodes for method calls, and the files under /proc/driver/zu that lead to them. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/proc_fs.h>
#include <linux/seq_file.h>
#include <linux/uaccess.h>

#include "boardModule.h"
#include "board/wire/driver.h"
#include "board/wire/paths.h"

static long ioctl(struct file *file, unsigned int request, unsigned long address);
static int open(struct inode *inode, struct file *file);

static const struct file_operations node_ops = {
	.owner = THIS_MODULE,
	.open = open,
	.unlocked_ioctl = ioctl,
	.llseek = noop_llseek,
};

/* One driver: its node and its directory; looked up by the node's minor. */
struct hx_driver {
	int target;
	const char *name;
	const char *instance; /* identifier, backslash, instance */
	struct miscdevice node;
	struct proc_dir_entry *directory;
};

static struct proc_dir_entry *top;
static struct hx_driver drivers[] = {
	{
		.target = BOARD_TARGET_FERROX,
		.name = BOARD_WIRE_FERROX_DRIVER,
		.instance = BOARD_WIRE_FERROX_IDENTIFIER "\\" BOARD_WIRE_DRIVER_INSTANCE,
		.node = { .name = "horlixFerrox0", .nodename = "zu/horlixFerrox0", .fops = &node_ops },
	},
	{
		.target = BOARD_TARGET_FPGA,
		.name = BOARD_WIRE_FPGA_DRIVER,
		.instance = BOARD_WIRE_FPGA_IDENTIFIER "\\" BOARD_WIRE_DRIVER_INSTANCE,
		.node = { .name = "horlixFpga0", .nodename = "zu/horlixFpga0", .fops = &node_ops },
	},
};

static struct hx_driver *driver_of(int target)
{
	return target == BOARD_TARGET_FERROX ? &drivers[0] : &drivers[1];
}

/* Whether a call of this kind must fail. */
static int fault(int target, enum board_call_kind kind, enum board_file file, u32 detail,
		 struct board_fault_outcome *outcome)
{
	struct board_call call = { .kind = kind, .target = target, .file = file, .detail = detail };
	unsigned long flags;
	u64 raw_ns;
	struct board *board = hx_lock(&flags, &raw_ns);
	int error = -ENODEV;

	memset(outcome, 0, sizeof(*outcome));
	if (board)
		error = board_present(board, target) ? hx_fault(board, raw_ns, &call, outcome) : -ENODEV;
	hx_unlock(flags);
	hx_take_time(outcome->delay_ns);
	return error;
}

/* ---------------------------------------------------------------------------------------------------- method calls */

static int open(struct inode *inode, struct file *file)
{
	struct board_fault_outcome outcome;
	/* set by misc_open() */
	struct miscdevice *node = file->private_data;
	struct hx_driver *driver = container_of(node, struct hx_driver, node);

	file->private_data = driver;
	return fault(driver->target, BOARD_CALL_OPEN, BOARD_FILE_NODE, 0, &outcome);
}

/* Copies the method's input: argument, status and record. */
static int copy_in(const struct board_driver_method *method, const struct board_wire_ioctl_block *block,
		   struct board_driver_call *call)
{
	struct board_wire_value_buffer value = { 0 };
	const void __user *in = u64_to_user_ptr(block->in_address);

	if (block->in_size < method->in_size || block->out_size < method->out_size)
		return -EINVAL;
	if (!method->has_argument)
		return copy_from_user(&call->caller_status, in, sizeof(call->caller_status)) ? -EFAULT : 0;
	if (copy_from_user(&value, in, sizeof(value)))
		return -EFAULT;
	call->argument = value.value;
	call->caller_status = value.status;
	if (method->record == BOARD_RECORD_NONE)
		return 0;
	return copy_from_user(call->record, u64_to_user_ptr(call->argument), method->record_size) ? -EFAULT : 0;
}

static int copy_out(const struct board_driver_method *method, const struct board_wire_ioctl_block *block,
		    const struct board_driver_call *call)
{
	const struct board_wire_value_buffer value = { call->result, call->driver_status, 0 };
	void __user *out = u64_to_user_ptr(block->out_address);

	if (method->record == BOARD_RECORD_IN_OUT &&
	    copy_to_user(u64_to_user_ptr(call->argument), call->record, method->record_size))
		return -EFAULT;
	if (method->has_result)
		return copy_to_user(out, &value, sizeof(value)) ? -EFAULT : 0;
	return copy_to_user(out, &call->driver_status, sizeof(call->driver_status)) ? -EFAULT : 0;
}

static int carry_out(int target, struct board_driver_call *call)
{
	unsigned long flags;
	u64 raw_ns;
	struct board *board = hx_lock(&flags, &raw_ns);
	int error = -ENODEV;

	if (board)
		error = board_driver_do(board, raw_ns, target, call);
	hx_unlock(flags);
	return error;
}

static long ioctl(struct file *file, unsigned int request, unsigned long address)
{
	const struct hx_driver *driver = file->private_data;
	const struct board_driver_method *method = board_driver_find(driver->target, request);
	struct board_driver_call call = { .request = request };
	struct board_wire_ioctl_block block;
	struct board_fault_outcome outcome;
	int error = fault(driver->target, BOARD_CALL_IOCTL, BOARD_FILE_NODE, request, &outcome);

	if (error)
		return error;
	if (!method)
		return -ENOTTY;
	if (copy_from_user(&block, (void __user *)address, sizeof(block)))
		return -EFAULT;
	error = copy_in(method, &block, &call);
	call.forced_status = outcome.driver_status;
	if (!error)
		error = carry_out(driver->target, &call);
	if (!error)
		error = copy_out(method, &block, &call);
	if (error)
		return error;
	block.bytes_returned = call.bytes_returned;
	return copy_to_user((void __user *)address, &block, sizeof(block)) ? -EFAULT : 0;
}

/* -------------------------------------------------------------------------------------------------- interfacePath */

static int show_path(struct seq_file *file, void *unused)
{
	const struct hx_driver *driver = file->private;

	seq_puts(file,
		 driver->target == BOARD_TARGET_FERROX ? hx_config.ferrox.interface_path
						       : hx_config.fpga.interface_path);
	return 0;
}

static int open_path(struct inode *inode, struct file *file)
{
	const struct hx_driver *driver = pde_data(inode);
	struct board_fault_outcome outcome;
	const int error = fault(driver->target, BOARD_CALL_FOPEN, BOARD_FILE_INTERFACE_PATH, 0, &outcome);

	return error ? error : single_open(file, show_path, pde_data(inode));
}

static const struct proc_ops path_ops = {
	.proc_open = open_path,
	.proc_read = seq_read,
	.proc_lseek = seq_lseek,
	.proc_release = single_release,
};

static int create_files(struct hx_driver *driver)
{
	struct proc_dir_entry *entry;

	driver->directory = proc_mkdir(driver->name, top);
	entry = driver->directory ? proc_mkdir(BOARD_WIRE_INTERFACES_DIRECTORY, driver->directory) : NULL;
	if (entry)
		entry = proc_mkdir(driver->instance, entry);
	if (entry)
		entry = proc_create_data(BOARD_WIRE_INTERFACE_PATH_FILE, 0444, entry, &path_ops, driver);
	return entry ? 0 : -ENOMEM;
}

int hx_driver_create(int target)
{
	struct hx_driver *driver = driver_of(target);
	int error;

	if (driver->directory)
		return 0;
	driver->node.minor = MISC_DYNAMIC_MINOR;
	error = misc_register(&driver->node);
	if (error)
		return error;
	error = create_files(driver);
	if (!error)
		return 0;
	proc_remove(driver->directory);
	driver->directory = NULL;
	misc_deregister(&driver->node);
	return error;
}

/* Open files stay open and answer ENODEV. */
void hx_driver_destroy(int target)
{
	struct hx_driver *driver = driver_of(target);

	if (!driver->directory)
		return;
	proc_remove(driver->directory);
	driver->directory = NULL;
	misc_deregister(&driver->node);
}

int hx_driver_directory_create(void)
{
	top = proc_mkdir("driver/zu", NULL);
	return top ? 0 : -ENOMEM;
}

void hx_driver_directory_destroy(void)
{
	proc_remove(top);
}
