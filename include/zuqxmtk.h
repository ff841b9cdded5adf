/* The twelve functions through which a host drives the timekeeper; valid C11 and C++17. */
/* SPDX-License-Identifier: LicenseRef-HalvexTimekeeper */
#ifndef ZUQXMTK_H
#define ZUQXMTK_H

#include <stdbool.h>
#include <stdint.h>

#include "zuerr/zuerr_Status.h"

/** Exports a function from the shared library. */
#if defined(__GNUC__)
#define ZUQXMTK_API __attribute__((visibility("default")))
#else
#define ZUQXMTK_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Using the library
 *
 * Load `libzuHalvexTimekeeper.so` (dlopen or link), call zuqxmtk_initialize once, then any other function as often as
 * needed, and zuqxmtk_finalize at the end. Exiting or unloading the library without zuqxmtk_finalize is safe: the
 * threads are stopped and the `phc2sys` child is killed.
 *
 * Status. The status pointer is always the last argument. A call whose status already holds an error (code below 0)
 * does nothing: it returns 0, writes no output and logs nothing. A warning (above 0) does not stop a call. On failure
 * the code is set by precedence (an error is never overwritten, a warning yields to an error), the JSON error
 * information is written through the status's own reallocJson, and one line goes to syslog at LOG_ERR: Encountered
 * error in <function>: <FAIL|WARN|PASS>(<code>,<json or null>). With a null status, failures are reported to syslog
 * only.
 *
 * Errors of the background thread. An error of the monitoring thread is reported once, by the next call of a function
 * with a status parameter; that call fails with it and does nothing else. With a null status the error is reported to
 * syslog only.
 *
 * Outputs are written on success only. A null output pointer is reported as -52005.
 *
 * Threads. All functions are thread-safe, except zuqxmtk_initialize and zuqxmtk_finalize, during which no other call
 * may run. None may be called from a signal handler. A thread with a pending cancellation finishes its call first,
 * however long that takes, and leaves the cancellation pending; only zuqxmtk_setCorrectionPerSecond and
 * zuqxmtk_getCorrectionPerSecond are cancellation points, which hold nothing and leave nothing half done.
 *
 * Units. Times are unsigned nanoseconds since 1970-01-01 00:00:00 on the time scale of the system clock; offsets are
 * signed nanoseconds, positive is forward; corrections are signed parts per billion, positive speeds the clocks up.
 * faster.
 */

/** Nanoseconds since the epoch of the clock that was read. */
typedef uint64_t QxmTimestamp;

/** Returns the version of this interface: always 2, whether initialised or not. Has no side effects. */
ZUQXMTK_API uint32_t zuqxmtk_getAPIVersion(void);

/**
 * Copies the timekeeper's name, "HalvexTimekeeper", with its NUL into `name`, which must hold at least 17 bytes; there
 * is no length argument and no truncation. A null `name` is reported to syslog and otherwise ignored.
 *
 * Before initialisation a C++ exception derived from std::exception leaves this function: it has no status to report
 * to. what() is the JSON error information of -52010. A C host must not call it then.
 */
ZUQXMTK_API void zuqxmtk_getName(char* name);

/** Whether the time was seeded from the system clock: true once initialised. Before: throws like zuqxmtk_getName. */
ZUQXMTK_API bool zuqxmtk_isSeeded(void);

/** The lowest correction in ppb, -62000; 0 on failure. Makes no system call. */
ZUQXMTK_API int32_t zuqxmtk_getMinCorrectionPerSecond(zuerr_Status* status);

/** The highest correction in ppb, 62000; 0 on failure. Makes no system call. */
ZUQXMTK_API int32_t zuqxmtk_getMaxCorrectionPerSecond(zuerr_Status* status);

/**
 * Steers the board's oscillator by `correction` ppb, -62000 to 62000, at once and until the next call. A value out of
 * range is refused with -52005 and the previous correction stays in force; -52024 when the driver cannot be written.
 */
ZUQXMTK_API void zuqxmtk_setCorrectionPerSecond(int32_t correction, zuerr_Status* status);

/** Reads the correction in force, in ppb, back from the driver; -52024 or -52003 on failure. */
ZUQXMTK_API void zuqxmtk_getCorrectionPerSecond(int32_t* correction, zuerr_Status* status);

/**
 * Steps the time by `offset` ns, truncated toward zero to a multiple of 200 ns: first the master, then the system
 * clock. All other clocks are then aligned to the master in the background, which takes some epochs; the call does not
 * wait for it, and a later call reports an alignment that fails.
 *
 * If the devices stay busy for more than 15 ms the step is silently dropped: no error, and no clock changes.
 */
ZUQXMTK_API void zuqxmtk_snapTime(int64_t offset, zuerr_Status* status);

/** Reads the time, in ns. One driver call; never waits for an alignment. -52024, -52006 … when the driver fails. */
ZUQXMTK_API void zuqxmtk_getTime(QxmTimestamp* time, zuerr_Status* status);

/**
 * Passes metadata about the time references on: a NUL-terminated JSON document, which is copied and not parsed here.
 * Wakes the monitoring thread, which hands it to the devices; a later call reports what they reject. If the devices
 * stay busy for more than 15 ms the document is silently dropped. A null pointer is reported as -52003.
 */
ZUQXMTK_API void zuqxmtk_applyMetaData(const char* metadata, zuerr_Status* status);

/**
 * Finds the hardware, starts `phc2sys`, seeds the time from the system clock, aligns every clock and starts the
 * monitoring thread. Takes some epochs of the master, typically below a second; longer when captures time out (1 s
 * each).
 *
 * After a failure the other functions report -52010. -52010: no usable I210 interface, or the master or the system
 * clock is not enabled; -52006: a device or driver was not found; -52024: a device failed to communicate or did not
 * align; -52008: the operating system reported an error.
 *
 * Must not be called again before zuqxmtk_finalize: it would wait forever for the previous monitoring thread.
 */
ZUQXMTK_API void zuqxmtk_initialize(zuerr_Status* status);

/**
 * Stops the monitoring thread after its current pass, kills `phc2sys` and releases the hardware. Does nothing when not
 * initialised. Terminates the process if a device cannot be released.
 */
ZUQXMTK_API void zuqxmtk_finalize(void);

#ifdef __cplusplus
}
#endif

#endif
