// Functions of the C library, answered by a simulated controller; and the library's threads, made to move one at a
// time. SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/interposition.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <glob.h>
#include <link.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/timex.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <semaphore>
#include <string>
#include <utility>

#include "tests/faults/allocationFaults.h"

namespace faults {
namespace {

constinit std::atomic<SimulatedController*> current{nullptr};
constinit std::atomic<bool> areThreadsFree{false};
constinit std::atomic<void (*)()> selectHook{nullptr};

/// The monitoring thread and the sweep take turns.
struct Monitor {
    std::counting_semaphore<8> idle{0};
    std::counting_semaphore<8> mayGoOn{0};
    std::atomic<bool> isWaiting{false};
    std::atomic<bool> isSignalled{false};
    std::atomic<bool> isHeld{false};
};
Monitor monitor;

std::atomic<int> gateBeingHeld{0};  ///< Threads started from here on wait until gateOpened has come as far.
std::atomic<int> gateOpened{0};
std::atomic<int> threadsHeld{0};
std::counting_semaphore<64> heldThreadEnded{0};

/// Leaves the library for the length of one call of the controller's; keeps errno for an answer without an error.
class Outside {
public:
    Outside() : wasInside_(std::exchange(isInsideLibrary, false)), error_(errno) {}
    ~Outside() {
        isInsideLibrary = wasInside_;
        errno = error_;
    }
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;

    long finish(const Answer& answer) {
        if (answer.error != 0) error_ = answer.error;
        return answer.value;
    }

private:
    bool wasInside_;
    int error_;
};

/// A call at which the C library acts on a cancellation, one that arrives while it is made included.
template <typename Call>
long cancellable(Call&& call) {
    pthread_testcancel();
    const long value = Outside().finish(call());
    pthread_testcancel();
    return value;
}

struct Stream {
    int fd;
    bool hasFailed;
};
Stream theStream;
char theDirectory;

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Where the code of a sanitizer's own library lies; empty when there is none, or none beside this program.
struct RuntimeCode {
    std::uintptr_t begin = 0, end = 0;
};

RuntimeCode findSanitizerRuntime() {
    RuntimeCode code;
    dl_iterate_phdr(
        [](dl_phdr_info* library, std::size_t, void* found) {
            const std::string_view path = library->dlpi_name;
            if (path.find("/libtsan.so") == path.npos && path.find("/libasan.so") == path.npos) return 0;
            std::uintptr_t end = 0;
            for (int i = 0; i < library->dlpi_phnum; ++i) {
                const auto& segment = library->dlpi_phdr[i];
                if (segment.p_type == PT_LOAD) end = std::max(end, segment.p_vaddr + segment.p_memsz);
            }
            *static_cast<RuntimeCode*>(found) = {library->dlpi_addr, library->dlpi_addr + end};
            return 1;
        },
        &code);
    return code;
}

const RuntimeCode sanitizerRuntime = findSanitizerRuntime();

/// The controller that answers whoever called a stand-in. A sanitizer that writes a report reads files of the system,
/// whichever thread it found at work, and must get them.
SimulatedController* controllerOf(const void* caller) {
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    return address >= sanitizerRuntime.begin && address < sanitizerRuntime.end ? nullptr : current.load();
}

struct ThreadStart {
    void* (*function)(void*);
    void* argument;
    int gate;
    bool isHeld;
};

void* runThread(void* given) {
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(given));
    for (int opened = gateOpened.load(); opened < start->gate; opened = gateOpened.load()) gateOpened.wait(opened);
    isInsideLibrary = true;
    errno = 0;  // as on any new thread; waiting for the gate may have left something there
    void* const result = start->function(start->argument);
    isInsideLibrary = false;
    if (start->isHeld) heldThreadEnded.release();
    return result;
}

void logLine(int priority, const char* format, va_list arguments) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return;
    cancellable([&] {
        char text[8192];
        vsnprintf(text, sizeof text, format, arguments);
        controller->syslog(priority, text);
        return Answer{};
    });
}

int realTimedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    using Function = int(pthread_cond_t*, pthread_mutex_t*, const timespec*);
#ifdef HALVEX_THREAD_SANITIZER
    static Function* const real = next<Function>("pthread_cond_timedwait");  // the sanitizer's, as for the signal
#else
    static Function* const real =
        reinterpret_cast<Function*>(dlvsym(RTLD_NEXT, "pthread_cond_timedwait", "GLIBC_2.3.2"));
#endif
    return real(condition, mutex, deadline);
}

long systemCall(long number, long a, long b = 0, long c = 0, long d = 0, long e = 0) {
    return ::syscall(number, a, b, c, d, e);
}

template <typename Pointer>
long address(Pointer* pointer) {
    return reinterpret_cast<long>(pointer);
}

}  // namespace

void answerFrom(SimulatedController* controller) { current.store(controller); }

InsideLibrary::InsideLibrary() { isInsideLibrary = true; }
InsideLibrary::~InsideLibrary() { isInsideLibrary = false; }

void letThreadsRun(bool freely) { areThreadsFree = freely; }
void beforeEachSelect(void (*hook)()) { selectHook = hook; }

void awaitMonitorIdle() {
    const Outside outside;
    monitor.idle.acquire();
}

void endMonitorPeriod() { monitor.mayGoOn.release(); }

void holdMonitor() {
    monitor.isSignalled = false;
    monitor.isHeld = true;
}

bool releaseMonitor() {
    monitor.isHeld = false;
    if (!monitor.isSignalled) return false;
    monitor.mayGoOn.release();
    return true;
}

void holdNewThreads() { ++gateBeingHeld; }

void releaseNewThreads() {
    gateOpened = gateBeingHeld.load();
    gateOpened.notify_all();
    for (int held = threadsHeld.exchange(0); held > 0; --held) heldThreadEnded.acquire();
}

}  // namespace faults

using namespace faults;

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    SimulatedController* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_openat, AT_FDCWD, address(path), flags, mode));
    return static_cast<int>(cancellable([&] { return controller->open(path, flags); }));
}

int __open_2(const char* path, int flags) { return open(path, flags); }

int close(int fd) {
    SimulatedController* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_close, fd));
    return static_cast<int>(cancellable([&] { return controller->close(fd); }));
}

ssize_t read(int fd, void* buffer, size_t length) {
    SimulatedController* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return systemCall(SYS_read, fd, address(buffer), static_cast<long>(length));
    return cancellable([&] { return controller->read(fd, buffer, length); });
}

ssize_t __read_chk(int fd, void* buffer, size_t length, size_t) { return read(fd, buffer, length); }

ssize_t write(int fd, const void* buffer, size_t length) {
    SimulatedController* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return systemCall(SYS_write, fd, address(buffer), static_cast<long>(length));
    return cancellable([&] { return controller->write(fd, buffer, length); });
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    SimulatedController* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return systemCall(SYS_lseek, fd, offset, whence);
    return Outside().finish(controller->seek(fd, whence == SEEK_SET ? offset : -1));
}

int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    SimulatedController* const controller = current.load();
    if (controller == nullptr)
        return static_cast<int>(systemCall(SYS_ioctl, fd, static_cast<long>(request), address(argument)));
    return static_cast<int>(Outside().finish(controller->ioctl(fd, request, argument)));
}

int select(int nfds, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) {
        return static_cast<int>(
            systemCall(SYS_select, nfds, address(readable), address(writable), address(exceptional), address(timeout)));
    }
    if (void (*const hook)() = selectHook.load()) hook();
    const auto* const words = reinterpret_cast<const unsigned long*>(readable);
    const auto bit = static_cast<unsigned>(nfds - 1);
    const bool isWatched = (words[bit / 64] >> (bit % 64) & 1) != 0;
    return static_cast<int>(
        cancellable([&] { return controller->select(nfds, isWatched, timeout->tv_sec, timeout->tv_usec); }));
}

int socket(int domain, int type, int protocol) noexcept {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_socket, domain, type, protocol));
    return static_cast<int>(Outside().finish(controller->socket(domain, type, protocol)));
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    SimulatedController* const controller = clock == CLOCK_MONOTONIC && areThreadsFree ? nullptr : current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_clock_gettime, clock, address(time)));
    return static_cast<int>(Outside().finish(controller->readClock(clock, time->tv_sec, time->tv_nsec)));
}

int clock_settime(clockid_t clock, const timespec* time) noexcept {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_clock_settime, clock, address(time)));
    return static_cast<int>(Outside().finish(controller->setClock(clock, time->tv_sec, time->tv_nsec)));
}

int clock_adjtime(clockid_t clock, timex* buffer) noexcept {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_clock_adjtime, clock, address(buffer)));
    return static_cast<int>(Outside().finish(
        controller->adjustClock(clock, buffer->modes, buffer->freq, buffer->time.tv_sec, buffer->time.tv_usec)));
}

DIR* opendir(const char* path) {
    SimulatedController* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return next<DIR*(const char*)>("opendir")(path);
    const long fd = Outside().finish(controller->openDirectory(path));
    return fd < 0 ? nullptr : reinterpret_cast<DIR*>(&theDirectory + fd);
}

struct dirent* readdir(DIR* directory) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return next<struct dirent*(DIR*)>("readdir")(directory);
    Outside outside;
    static struct dirent entry;
    int error = 0;
    const auto found =
        controller->readDirectory(static_cast<int>(reinterpret_cast<char*>(directory) - &theDirectory), error);
    outside.finish({0, error});
    if (!found) return nullptr;
    entry.d_type = found->type;
    found->name.copy(entry.d_name, sizeof entry.d_name - 1);
    entry.d_name[found->name.size()] = '\0';
    return &entry;
}

int closedir(DIR* directory) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return next<int(DIR*)>("closedir")(directory);
    return static_cast<int>(Outside().finish(
        controller->closeDirectory(static_cast<int>(reinterpret_cast<char*>(directory) - &theDirectory))));
}

int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* result) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) {
        return next<int(const char*, int, int (*)(const char*, int), glob_t*)>("glob")(pattern, flags, onError, result);
    }
    Outside outside;
    std::string found;
    const long value = outside.finish(controller->glob(pattern, flags, found));
    if (value == 0) {
        result->gl_pathv = new char* [2] { strdup(found.c_str()), nullptr };
        result->gl_pathc = 1;
    }
    return static_cast<int>(value);
}

void globfree(glob_t* result) noexcept {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return next<void(glob_t*)>("globfree")(result);
    const Outside outside;
    if (result->gl_pathv != nullptr) std::free(result->gl_pathv[0]);
    delete[] result->gl_pathv;
    result->gl_pathv = nullptr;
    controller->globfree();
}

FILE* fopen(const char* path, const char* mode) {
    SimulatedController* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return next<FILE*(const char*, const char*)>("fopen")(path, mode);
    const long fd = cancellable([&] { return controller->openStream(path, mode); });
    if (fd < 0) return nullptr;
    theStream = {static_cast<int>(fd), false};
    return reinterpret_cast<FILE*>(&theStream);
}

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr || stream != reinterpret_cast<FILE*>(&theStream)) {
        return next<size_t(void*, size_t, size_t, FILE*)>("fread")(buffer, size, count, stream);
    }
    return static_cast<size_t>(cancellable([&] {
               std::string content;
               const Answer answer = controller->readStream(theStream.fd, content);
               theStream.hasFailed = answer.error != 0;
               std::memcpy(buffer, content.data(), std::min(content.size(), size * count));
               return answer;
           })) /
           size;
}

size_t __fread_chk(void* buffer, size_t, size_t size, size_t count, FILE* stream) {
    return fread(buffer, size, count, stream);
}

int ferror(FILE* stream) noexcept {
    if (stream == reinterpret_cast<FILE*>(&theStream)) return theStream.hasFailed ? 1 : 0;
    return next<int(FILE*)>("ferror")(stream);
}

int fclose(FILE* stream) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr || stream != reinterpret_cast<FILE*>(&theStream))
        return next<int(FILE*)>("fclose")(stream);
    return static_cast<int>(cancellable([&] { return controller->closeStream(theStream.fd); }));
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr || actions != nullptr || attributes != nullptr || environment != environ) return ENOSYS;
    Outside outside;
    return static_cast<int>(outside.finish(controller->spawn(*pid, path, arguments)));
}

int kill(pid_t pid, int signal) noexcept {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_kill, pid, signal));
    return static_cast<int>(Outside().finish(controller->kill(pid, signal)));
}

int nanosleep(const timespec* request, timespec* remainder) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_nanosleep, address(request), address(remainder)));
    return static_cast<int>(cancellable([&] { return controller->sleep(request->tv_sec, request->tv_nsec); }));
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static Function* const real = next<Function>("pthread_create");
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return real(thread, attributes, function, argument);
    const Outside outside;
    if (const Answer answer = controller->startThread(); answer.value != 0) return static_cast<int>(answer.value);
    const int gate = gateBeingHeld.load();
    const bool isHeld = gate > gateOpened.load();
    if (isHeld) ++threadsHeld;
    return real(thread, attributes, runThread, new ThreadStart{function, argument, gate, isHeld});
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    using Function = int(pthread_mutex_t*, const pthread_mutexattr_t*);
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return next<Function>("pthread_mutex_init")(mutex, attributes);
    const Outside outside;
    if (const Answer answer = controller->makeMutex(); answer.value != 0) return static_cast<int>(answer.value);
    return next<Function>("pthread_mutex_init")(mutex, attributes);
}

#ifdef HALVEX_THREAD_SANITIZER
// Neither gcc 12's thread sanitizer nor clang 14's knows the timed lock of a chosen clock: either would take a mutex
// locked by it for free. They know that of the real-time clock, which nobody steps while a sanitizer looks on.
int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline) noexcept {
    timespec now, realNow;
    systemCall(SYS_clock_gettime, clock, address(&now));
    systemCall(SYS_clock_gettime, CLOCK_REALTIME, address(&realNow));
    const std::int64_t leftNs = (deadline->tv_sec - now.tv_sec) * 1'000'000'000 + deadline->tv_nsec - now.tv_nsec;
    const std::int64_t untilNs = realNow.tv_nsec + std::max<std::int64_t>(leftNs, 0);
    const timespec until{realNow.tv_sec + untilNs / 1'000'000'000, untilNs % 1'000'000'000};
    return pthread_mutex_timedlock(mutex, &until);
}
#endif

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    using Function = int(pthread_cond_t*, const pthread_condattr_t*);
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return next<Function>("pthread_cond_init")(condition, attributes);
    const Outside outside;
    if (const Answer answer = controller->makeCondition(); answer.value != 0) return static_cast<int>(answer.value);
    return next<Function>("pthread_cond_init")(condition, attributes);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    if (current.load() == nullptr || areThreadsFree)
        return next<int(pthread_cond_t*)>("pthread_cond_signal")(condition);
    if (!monitor.isWaiting) return 0;
    monitor.isSignalled = true;
    if (!monitor.isHeld) monitor.mayGoOn.release();
    return 0;
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    SimulatedController* const controller = current.load();
    if (controller == nullptr) return realTimedWait(condition, mutex, deadline);
    Outside outside;
    if (areThreadsFree) {
        timespec soon;
        systemCall(SYS_clock_gettime, CLOCK_MONOTONIC, address(&soon));
        soon.tv_nsec += 200'000;
        if (soon.tv_nsec >= 1'000'000'000) soon = {soon.tv_sec + 1, soon.tv_nsec - 1'000'000'000};
        return realTimedWait(condition, mutex, &soon);
    }
    const std::int64_t lengthNs = controller->nsUntil(deadline->tv_sec, deadline->tv_nsec);
    pthread_testcancel();
    monitor.isSignalled = false;
    monitor.isWaiting = true;
    pthread_mutex_unlock(mutex);
    monitor.idle.release();
    monitor.mayGoOn.acquire();
    pthread_mutex_lock(mutex);
    monitor.isWaiting = false;
    const Answer answer = controller->wait(monitor.isSignalled, lengthNs);
    pthread_testcancel();
    return static_cast<int>(outside.finish(answer));
}

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLine(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLine(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
