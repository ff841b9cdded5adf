/* The simulated controller as a kernel module: what exists from load to unload. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/module.h>
#include <linux/proc_fs.h>

#include "boardModule.h"

#define DIRECTORY "halvexboard"

static struct proc_dir_entry *directory;

static int __init start(void)
{
	int error = hx_core_create();

	if (error)
		return error;
	directory = proc_mkdir(DIRECTORY, NULL);
	error = directory ? hx_journal_create(directory) : -ENOMEM;
	if (!error)
		error = hx_control_create(directory);
	if (!error)
		error = hx_driver_directory_create();
	if (!error)
		return 0;
	proc_remove(directory);
	hx_journal_destroy();
	hx_core_destroy();
	return error;
}

static void __exit stop(void)
{
	proc_remove(directory);
	hx_switch_off();
	hx_driver_directory_destroy();
	hx_journal_destroy();
	hx_core_destroy();
}

module_init(start);
module_exit(stop);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Simulated timekeeping controller");
