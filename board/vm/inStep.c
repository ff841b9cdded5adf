/* Synchronises QEMU's two threads, so that virtual time repeats to the nanosecond. Preloaded into QEMU by ./run. */
/* SPDX-License-Identifier: LicenseRef-HalvexTimekeeper */
/*
 * When the guest's processor halts, QEMU's main thread moves the virtual clock to the next timer as soon as it finds
 * the processor halted. That may be just before the other thread has accounted for the instructions it has executed:
 * the clock then jumps too far by those. On a busy host this happens occasionally, and a log differs by a tick. Here
 * the main thread, after each of its waits, continues only while the other one waits too, with its account closed, or
 * has no time left to run and keeps reporting that.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

static pthread_mutex_t gate = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t opens = PTHREAD_COND_INITIALIZER;
static int waiting; /* threads other than the main one waiting on a condition */
static int calls;   /* calls by such a thread to the main one since its wait began */

/* A single call may come from a thread that is still running. */
#define CALLS_OF_ONE_STUCK 3

static int (*real_wait)(pthread_cond_t*, pthread_mutex_t*);
static ssize_t (*real_write)(int, const void*, size_t);
static int (*real_ppoll)(struct pollfd*, nfds_t, const struct timespec*, const sigset_t*);

__attribute__((constructor)) static void find(void) {
    real_wait = dlvsym(RTLD_NEXT, "pthread_cond_wait", "GLIBC_2.3.2");
    real_write = dlsym(RTLD_NEXT, "write");
    real_ppoll = dlsym(RTLD_NEXT, "ppoll");
}

static int is_main(void) { return getpid() == (pid_t)syscall(SYS_gettid); }

static void count(int* counter, int change) {
    pthread_mutex_lock(&gate);
    *counter += change;
    pthread_cond_signal(&opens);
    pthread_mutex_unlock(&gate);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    int result;

    if (is_main()) return real_wait(condition, mutex);
    count(&waiting, 1);
    result = real_wait(condition, mutex);
    count(&waiting, -1);
    return result;
}

/* Eight bytes: a call through an event descriptor. */
ssize_t write(int file, const void* from, size_t size) {
    if (size == sizeof(long) && !is_main()) count(&calls, 1);
    return real_write(file, from, size);
}

int ppoll(struct pollfd* files, nfds_t size, const struct timespec* timeout, const sigset_t* signals) {
    int result;

    if (!is_main()) return real_ppoll(files, size, timeout, signals);
    pthread_mutex_lock(&gate);
    calls = 0;
    pthread_mutex_unlock(&gate);
    result = real_ppoll(files, size, timeout, signals);
    pthread_mutex_lock(&gate);
    while (waiting == 0 && calls < CALLS_OF_ONE_STUCK) real_wait(&opens, &gate);
    pthread_mutex_unlock(&gate);
    return result;
}
