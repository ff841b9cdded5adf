/* The twelve functions through which a host drives the timekeeper; valid C11 and C++17. */
/* SPDX-License-Identifier: LicenseRef-HalvexTimekeeper */
#ifndef ZUQXMTK_H
#define ZUQXMTK_H

#include <stdbool.h>
#include <stdint.h>

#include "zuerr/zuerr_Status.h"

/** Marks what the library shows to its host. */
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
 * Load `libzuHalvexTimekeeper.so` (dlopen or link), call zuqxmtk_initialize once, any of the others as often as needed,
 * zuqxmtk_finalize at the end. A host that exits or unloads the library without zuqxmtk_finalize loses nothing: threads
 * are stopped and the `phc2sys` child is killed on the way out.
 *
 * Status. The status pointer is always the last argument. A call that receives a status whose code is below 0 does
 * nothing: it returns 0, writes no output and logs nothing. A warning (above 0) does not stop a call. On failure the
 * code is set by precedence (an error stays for good, a warning yields to an error), the JSON error information is
 * written through the status's own reallocJson, and one line goes to syslog at LOG_ERR: Encountered error in
 * <function>: <FAIL|WARN|PASS>(<code>,<json or null>) A null status stands for a fresh status of the library's own:
 * failures then reach syslog only.
 *
 * Errors of the background thread. An error that the monitoring thread met is handed, once, to the first call that
 * takes a status afterwards; that call fails with it and does nothing else. A call whose status is null collects the
 * error too, which then reaches syslog only.
 *
 * Outputs are written on success only. A null output pointer is reported as -52005.
 *
 * Threads. All functions may be called from several threads at once, except zuqxmtk_initialize and zuqxmtk_finalize,
 * during which no other call may run. None may be called from a signal handler. A thread whose cancellation is pending
 * finishes its call, however long that waits, and leaves the cancellation pending; only zuqxmtk_setCorrectionPerSecond
 * and zuqxmtk_getCorrectionPerSecond may end the thread instead, with nothing held and nothing half done.
 *
 * Units. Times are unsigned nanoseconds since 1970-01-01 00:00:00 on the time scale of the system clock; offsets are
 * signed nanoseconds, positive is forward; corrections are signed parts per billion, positive makes the clocks run
 * faster.
 */

/** Nanoseconds since the epoch of the clock that was read. */
typedef uint64_t QxmTimestamp;

/** The version of this interface: always 2, in every state. Touches nothing. */
ZUQXMTK_API uint32_t zuqxmtk_getAPIVersion(void);

/**
 * Copies the timekeeper's name, "HalvexTimekeeper", with its NUL into `name`, which must have room for it (17 bytes;
 * there is no length argument and no truncation). A null `name` is reported to syslog and ignored.
 *
 * Before initialisation this function has no way to report: a C++ exception derived from std::exception leaves it,
 * whose what() is the JSON error information of -52010. A C host must not call it then.
 */
ZUQXMTK_API void zuqxmtk_getName(char* name);

/** Whether the time has been seeded from the system clock: true whenever initialised. Before: as zuqxmtk_getName. */
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

/** Reads the correction in force, in ppb, back from the driver; -52024 or -52003 when that fails. */
ZUQXMTK_API void zuqxmtk_getCorrectionPerSecond(int32_t* correction, zuerr_Status* status);

/**
 * Steps the time by `offset` ns, cut toward zero to a multiple of 200 ns: first the master, then the system clock; all
 * other clocks are aligned to the master in the background, which takes some epochs. Returns without waiting for that;
 * an alignment that fails is reported by a later call.
 *
 * When the devices are busy for more than 15 ms the call gives up silently: no error, and no clock is touched.
 */
ZUQXMTK_API void zuqxmtk_snapTime(int64_t offset, zuerr_Status* status);

/** Reads the time, in ns. One driver call; never waits for an alignment. -52024, -52006 … when the driver fails. */
ZUQXMTK_API void zuqxmtk_getTime(QxmTimestamp* time, zuerr_Status* status);

/**
 * Hands over metadata about the time references: a JSON document, NUL-terminated, copied and not parsed here. The
 * monitoring thread is woken and gives it to the devices; what they find wrong with it is reported by a later call.
 * When the devices are busy for more than 15 ms the text is dropped silently. A null pointer is reported as -52003.
 */
ZUQXMTK_API void zuqxmtk_applyMetaData(const char* metadata, zuerr_Status* status);

/**
 * Finds the hardware, starts `phc2sys`, seeds the time from the system clock, aligns every clock and starts the
 * monitoring thread. Takes some epochs of the master, typically below a second; longer when captures time out (1 s
 * each).
 *
 * On failure nothing is published and the other functions report -52010. -52010: no usable I210 interface, or the
 * master or the system clock is not enabled; -52006: a device or driver was not found; -52024: a device could not be
 * talked to or did not align; -52008: the operating system refused.
 *
 * Must not be called again before zuqxmtk_finalize: the call would wait for the former monitoring thread forever.
 */
ZUQXMTK_API void zuqxmtk_initialize(zuerr_Status* status);

/**
 * Stops the monitoring thread (its pass is finished first), kills `phc2sys` and releases the hardware. Harmless when
 * not initialised. A device that cannot be released ends the process.
 */
ZUQXMTK_API void zuqxmtk_finalize(void);

#ifdef __cplusplus
}
#endif

#endif
