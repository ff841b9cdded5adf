/* The status structure shared by host and timekeeper; valid C11 and C++17. */
/* SPDX-License-Identifier: LicenseRef-HalvexTimekeeper */
#ifndef ZUERR_STATUS_H
#define ZUERR_STATUS_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct zuerr_Status zuerr_Status;

/**
 * Grows the buffer behind `json` to at least `size` bytes, or frees it when `size` is 0.
 *
 * The function must keep the text, set `json` and `capacity`, lay out the buffer as described below and return true; or
 * return false and change nothing. It is called only from the thread that passed the status to an export, during that
 * call. It must not throw.
 */
typedef bool (*zuerr_ReallocJson)(zuerr_Status* status, uint32_t size);

/**
 * Receives the outcome of a call. The host owns the structure and the buffer behind `json`; the library grows and frees
 * that buffer through `reallocJson` only.
 *
 * Buffer: the JSON text, a NUL, zero bytes up to the next-to-last byte, and the character 'J' in the last byte
 * (byte `capacity` - 1). A fresh status is { 0, 0, function, NULL }. Without a `reallocJson` the code is still
 * reported and the text is dropped.
 *
 * Threads: one status is used by one thread at a time.
 */
struct zuerr_Status {
    int32_t code;                  /**< Below 0: error; above 0: warning; 0: success. */
    uint32_t capacity;             /**< Size in bytes of the buffer behind `json`; 0 if there is none. */
    zuerr_ReallocJson reallocJson; /**< Grows or frees the buffer; may be null. */
    char* json;                    /**< Error information: one JSON object, NUL-terminated, or null. */
};

#ifdef __cplusplus
}
static_assert(sizeof(zuerr_Status) == 24, "the status is 24 bytes");
static_assert(offsetof(zuerr_Status, capacity) == 4, "capacity stands at byte 4");
static_assert(offsetof(zuerr_Status, reallocJson) == 8, "reallocJson stands at byte 8");
static_assert(offsetof(zuerr_Status, json) == 16, "json stands at byte 16");
#else
_Static_assert(sizeof(zuerr_Status) == 24, "the status is 24 bytes");
_Static_assert(offsetof(zuerr_Status, capacity) == 4, "capacity stands at byte 4");
_Static_assert(offsetof(zuerr_Status, reallocJson) == 8, "reallocJson stands at byte 8");
_Static_assert(offsetof(zuerr_Status, json) == 16, "json stands at byte 16");
#endif

#endif
