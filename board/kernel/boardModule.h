/* Declarations shared by the files of the board's kernel module. */
/* SPDX-License-Identifier: GPL-2.0-only */
#pragma once

#include <linux/ktime.h>
#include <linux/hrtimer.h>
#include <linux/netdevice.h>
#include <linux/platform_device.h>
#include <linux/ptp_clock_kernel.h>
#include <linux/spinlock.h>

#include "board/model/board.h"

/* One network interface with its PTP clock. */
struct hx_interface {
	int position;                   /* in the board's configuration */
	struct platform_device *device; /* carries the vendor and device files */
	struct net_device *net;
	struct ptp_clock *clock; /* NULL: none */
	struct ptp_clock_info info;
	struct ptp_pin_desc pins[BOARD_MAX_PINS];
};

/*
 * boardCore.c: the board. hx_lock() acquires the lock and returns the board, NULL while it is switched off, and the
 * present instant. hx_unlock() arms the timer for the board's next change.
 */
struct board *hx_lock(unsigned long *flags, u64 *raw_ns);
void hx_unlock(unsigned long flags);
u64 hx_raw_of(u64 kernel_raw_ns);     /* converts a reading of CLOCK_MONOTONIC_RAW */
extern struct board_config hx_config; /* for the next board; changed only while it is off */
bool hx_is_on(void);
int hx_board_start(board_observer observer);                 /* uses hx_config; its devices must exist */
void hx_board_end(void);                                     /* the timer has stopped when it returns */
void hx_stamps_go_to(int position, struct ptp_clock *clock); /* while the board is off; NULL: nowhere */
int hx_core_create(void);
void hx_core_destroy(void);

/*
 * Checks, with the lock held, whether this call must fail: 0 to go on, else a negative errno. A delay is stored in
 * *delay_ns for hx_take_time(), which sleeps and must be called without the lock.
 */
int hx_fault(struct board *board, u64 raw_ns, struct board_call *call, struct board_fault_outcome *outcome);
void hx_take_time(u64 delay_ns);

/*
 * One call on a device. hx_begin() acquires the lock and applies faults; false: the call is refused and its error set.
 * hx_end() releases the lock, takes the time of a delay and returns the error.
 */
struct hx_call {
	struct board_call what;
	struct board *board;
	u64 raw_ns;
	unsigned long flags;
	struct board_fault_outcome outcome;
	long error; /* or a result */
};
bool hx_begin(struct hx_call *call);
long hx_end(struct hx_call *call);

/* Sets the model's system clock to the machine's before something copies it (a PHC reset). */
void hx_follow_system_clock(struct board *board, u64 raw_ns);

/* networkInterface.c */
int hx_interfaces_create(void);
int hx_interfaces_bring_up(void);
void hx_interfaces_destroy(void);
struct hx_interface *hx_interface_at(int position);

/* ptpClock.c */
int hx_clock_create(struct hx_interface *interface);
void hx_clock_destroy(struct hx_interface *interface);
void hx_clock_capabilities(struct hx_interface *interface, const struct board_interface_config *config);

/* driverNode.c: Ferrox and FPGA; `driver` is BOARD_TARGET_FERROX or BOARD_TARGET_FPGA */
int hx_driver_create(int driver);
void hx_driver_destroy(int driver);
int hx_driver_directory_create(void);
void hx_driver_directory_destroy(void);

/* oscillator.c */
int hx_oscillator_create(void);
void hx_oscillator_destroy(void);

/* boardJournal.c */
int hx_journal_create(struct proc_dir_entry *directory);
void hx_journal_destroy(void);
void hx_journal_clear(void);
void hx_journal_observe(void *context, const struct board_happening *happening);
void hx_journal_mute(bool is_muted);

/* boardSwitch.c */
int hx_switch_on(void);
void hx_switch_off(void);

/* boardControl.c */
int hx_control_create(struct proc_dir_entry *directory);
