/* Selects the headers for the model: a kernel's, a C library's, or none at all. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#if defined(__KERNEL__)

#include <linux/errno.h>
#include <linux/string.h>
#include <linux/types.h>

#ifndef INT64_MAX
#define INT64_MAX ((int64_t)(~0ULL >> 1))
#endif

#elif defined(BOARD_FREESTANDING)

/* No headers (-nostdinc): proves that the model needs only memcpy and memset. */
typedef __UINT8_TYPE__ uint8_t;
typedef __UINT16_TYPE__ uint16_t;
typedef __UINT32_TYPE__ uint32_t;
typedef __UINT64_TYPE__ uint64_t;
typedef __INT16_TYPE__ int16_t;
typedef __INT32_TYPE__ int32_t;
typedef __INT64_TYPE__ int64_t;
typedef __SIZE_TYPE__ size_t;
void *memcpy(void *to, const void *from, size_t size);
void *memset(void *to, int value, size_t size);

#ifndef NULL
#define NULL ((void *)0)
#endif

#define INT64_MAX __INT64_MAX__
#define EPERM 1
#define ENOENT 2
#define ESRCH 3
#define EINTR 4
#define EIO 5
#define ENXIO 6
#define EBADF 9
#define ECHILD 10
#define EAGAIN 11
#define EACCES 13
#define EBUSY 16
#define ENODEV 19
#define EINVAL 22
#define ENOTTY 25
#define ENOSPC 28
#define ERANGE 34
#define EOPNOTSUPP 95

#else

#include <errno.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#endif
