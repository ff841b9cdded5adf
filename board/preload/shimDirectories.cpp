// Shims: directory listings and glob.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/deviceFiles.h"
#include "board/preload/realCalls.h"
#include "board/preload/tree.h"
#include "board/wire/paths.h"

using namespace halvexboard;

namespace {

static_assert(sizeof(dirent) == sizeof(dirent64) && sizeof(glob_t) == sizeof(glob64_t),
              "one record serves both spellings");

/// A listing behind a DIR: a directory of the board, or one of the machine that contains board files.
struct Listing {
    bool used GUARDED_BY(boardLock()) = false;
    bool counted = false;             // opened by the program, not by glob
    const Node* directory = nullptr;  // null: the machine's
    DIR* real = nullptr;              // the machine's entries, if any
    int fd = -1;
    char realPath[kMaxPath] = {};
    std::size_t position = 0;
    int dots = 0;  // "." and ".." come first
    dirent entry{};
};

constexpr std::size_t kMaxListings = 64;
constinit Listing listings[kMaxListings];

Listing* listingOf(DIR* stream) noexcept {
    auto* const address = reinterpret_cast<Listing*>(stream);
    const bool isOurs = address >= listings && address < listings + kMaxListings;
    return isOurs ? address : nullptr;
}

Listing* takeListing() noexcept {
    const LockGuard guard(boardLock());
    for (Listing& listing : listings) {
        if (!listing.used) {
            listing = Listing{};
            listing.used = true;
            return &listing;
        }
    }
    errno = ENFILE;
    return nullptr;
}

bool isDirectory(const Node& node) noexcept {
    return node.kind == NodeKind::directory || node.kind == NodeKind::directoryLink;
}

unsigned char entryType(const Node& node) noexcept {
    switch (node.kind) {
        case NodeKind::directory:
            return DT_DIR;
        case NodeKind::directoryLink:
            return DT_LNK;
        case NodeKind::ptpDevice:
        case NodeKind::driverNode:
            return DT_CHR;
        default:
            return DT_REG;
    }
}

dirent* fillEntry(Listing& listing, const char* name, unsigned char type) noexcept {
    dirent& entry = listing.entry;
    std::strncpy(entry.d_name, name, sizeof entry.d_name - 1);
    entry.d_name[sizeof entry.d_name - 1] = '\0';
    entry.d_type = type;
    entry.d_ino = 0x48420000 + listing.position;
    entry.d_off = static_cast<off_t>(listing.position);
    entry.d_reclen = sizeof entry;
    return &entry;
}

/// A machine entry that a board file hides.
bool isHidden(const Listing& listing, const char* name) noexcept {
    char path[kMaxPath];
    if (std::snprintf(path, sizeof path, "%s/%s", listing.realPath, name) >= static_cast<int>(sizeof path))
        return false;
    return findPath(path).what != PathClass::foreign;
}

dirent* nextEntry(Listing& listing) noexcept {
    if (listing.directory != nullptr) {
        if (listing.dots < 2) return fillEntry(listing, listing.dots++ == 0 ? "." : "..", DT_DIR);
        const Node* const child = nextChild(*listing.directory, listing.position);
        return child != nullptr ? fillEntry(listing, child->name, entryType(*child)) : nullptr;
    }
    while (listing.real != nullptr) {
        dirent* const entry = REAL(readdir)(listing.real);
        if (entry == nullptr) break;
        if (!isHidden(listing, entry->d_name)) return entry;
    }
    const Node* const guest = nextGuest(listing.realPath, listing.position);
    return guest != nullptr ? fillEntry(listing, guest->name, entryType(*guest)) : nullptr;
}

DIR* startListing(const Node& node, int fd) noexcept {
    Listing* const listing = takeListing();
    if (listing == nullptr) return nullptr;
    listing->directory = &node;
    listing->fd = fd;
    return reinterpret_cast<DIR*>(listing);
}

/// Returns true if the directory is the board's. Without faults, cost and trace: glob uses this too.
bool openOnBoard(const char* path, DIR*& stream) noexcept {
    stream = nullptr;
    const PathAnswer answer = findPath(path);
    char plain[kMaxPath];
    if (answer.what == PathClass::missing) {
        errno = ENOENT;
        return true;
    }
    if (answer.what == PathClass::present) {
        const int fd =
            isDirectory(*answer.node) ? makeDescriptor(*answer.node, O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -ENOTDIR;
        if (fd < 0)
            errno = -fd;
        else
            stream = startListing(*answer.node, fd);
        return true;
    }
    if (!isActive() || !plainPath(path, plain) || !hasGuests(plain)) return false;
    Listing* const listing = takeListing();
    if (listing == nullptr) return true;
    std::memcpy(listing->realPath, plain, sizeof plain);
    listing->real = REAL(opendir)(path);
    stream = reinterpret_cast<DIR*>(listing);
    return true;
}

/// The program's own opendir is a call on the board only for directories entirely on the board.
bool isCounted(const char* path, int& target, board_file& file) noexcept {
    const PathAnswer answer = findPath(path);
    if (answer.what == PathClass::foreign) return false;
    target = answer.node != nullptr ? answer.node->target : BOARD_TARGET_ANY;
    file = answer.node != nullptr ? answer.node->file : BOARD_FILE_DIRECTORY;
    char plain[kMaxPath];
    if (plainPath(path, plain) && std::strcmp(plain, BOARD_WIRE_NETWORK_DIRECTORY) == 0)
        target = BOARD_TARGET_NETWORK;
    else if (answer.node == nullptr && plainPath(path, plain) && std::strcmp(plain, BOARD_WIRE_SI514_DIRECTORY) == 0)
        target = BOARD_TARGET_SI514;
    return true;
}

}  // namespace

HALVEXBOARD_SHIM DIR* opendir(const char* path) {
    int target = BOARD_TARGET_ANY;
    board_file file = BOARD_FILE_ANY;
    DIR* stream = nullptr;
    if (!isCounted(path, target, file)) return openOnBoard(path, stream) ? stream : REAL(opendir)(path);
    DeviceCall call(BOARD_CALL_OPENDIR, target, file);
    if (!call.isFaulted()) {
        openOnBoard(path, stream);
        if (Listing* const listing = stream != nullptr ? listingOf(stream) : nullptr) listing->counted = true;
        call.succeed(stream != nullptr ? 0 : -errno);
    }
    call.finish();
    return stream;
}

HALVEXBOARD_SHIM DIR* fdopendir(int fd) {
    OpenFile* const file = ours(fd);
    if (file == nullptr) return REAL(fdopendir)(fd);
    if (!isDirectory(*file->node())) {
        errno = ENOTDIR;
        return nullptr;
    }
    return startListing(*file->node(), fd);
}

HALVEXBOARD_SHIM dirent* readdir(DIR* stream) {
    Listing* const listing = listingOf(stream);
    if (listing == nullptr) return REAL(readdir)(stream);
    if (!listing->counted || !isActive()) return isActive() ? nextEntry(*listing) : nullptr;
    int target = listing->directory->target;
    if (std::strcmp(listing->directory->path, BOARD_WIRE_NETWORK_DIRECTORY) == 0) target = BOARD_TARGET_NETWORK;
    DeviceCall call(BOARD_CALL_READDIR, target, BOARD_FILE_DIRECTORY);
    dirent* entry = nullptr;
    if (!call.isFaulted()) {
        entry = nextEntry(*listing);
        call.succeed(entry != nullptr ? 1 : 0);
    }
    const int error = errno;  // the end of a listing leaves errno unchanged
    if (call.finish() >= 0) errno = error;
    return entry;
}

HALVEXBOARD_TWIN(readdir64, readdir);

HALVEXBOARD_SHIM int closedir(DIR* stream) {
    Listing* const listing = listingOf(stream);
    if (listing == nullptr) return REAL(closedir)(stream);
    if (listing->real != nullptr) REAL(closedir)(listing->real);
    if (listing->fd >= 0) {
        forgetDescriptor(listing->fd);
        rawSystemCall(SYS_close, listing->fd);
    }
    const LockGuard guard(boardLock());
    listing->used = false;
    return 0;
}

HALVEXBOARD_SHIM void rewinddir(DIR* stream) noexcept {
    Listing* const listing = listingOf(stream);
    if (listing == nullptr) {
        REAL(rewinddir)(stream);
        return;
    }
    listing->position = 0;
    listing->dots = 0;
    if (listing->real != nullptr) REAL(rewinddir)(listing->real);
}

HALVEXBOARD_SHIM int dirfd(DIR* stream) noexcept {
    Listing* const listing = listingOf(stream);
    if (listing == nullptr) return REAL(dirfd)(stream);
    return listing->real != nullptr ? REAL(dirfd)(listing->real) : listing->fd;
}

// --------------------------------------------------------------------------------------------------------- glob --

namespace {

// glob calls these back instead of calling libc, where no shim sees it.
void* globOpen(const char* path) {
    DIR* stream = nullptr;
    return openOnBoard(path, stream) ? stream : REAL(opendir)(path);
}

dirent* globRead(void* stream) {
    auto* const directory = static_cast<DIR*>(stream);
    Listing* const listing = listingOf(directory);
    return listing != nullptr ? nextEntry(*listing) : REAL(readdir)(directory);
}

void globClose(void* stream) { closedir(static_cast<DIR*>(stream)); }

int globTarget(const char* pattern) noexcept {
    if (std::strstr(pattern, BOARD_WIRE_FERROX_IDENTIFIER) != nullptr) return BOARD_TARGET_FERROX;
    if (std::strstr(pattern, BOARD_WIRE_FPGA_IDENTIFIER) != nullptr) return BOARD_TARGET_FPGA;
    return BOARD_TARGET_ANY;
}

int globError(int error) noexcept { return error == ENOMEM ? GLOB_NOSPACE : GLOB_ABORTED; }

}  // namespace

HALVEXBOARD_SHIM int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* result) noexcept {
    // A caller with GLOB_ALTDIRFUNC uses its own directory functions.
    if (!isActive() || pattern[0] != '/' || (flags & GLOB_ALTDIRFUNC) != 0)
        return REAL(glob)(pattern, flags, onError, result);
    result->gl_opendir = globOpen;
    result->gl_readdir = globRead;
    result->gl_closedir = globClose;
    result->gl_stat = stat;
    result->gl_lstat = lstat;
    constexpr std::size_t kPrefix = sizeof BOARD_WIRE_DRIVER_DIRECTORY - 1;
    if (std::strncmp(pattern, BOARD_WIRE_DRIVER_DIRECTORY, kPrefix) != 0)
        return REAL(glob)(pattern, flags | GLOB_ALTDIRFUNC, onError, result);
    DeviceCall call(BOARD_CALL_GLOB, globTarget(pattern), BOARD_FILE_DIRECTORY);
    if (call.isFaulted()) return globError(call.finishWithError());
    const int outcome = REAL(glob)(pattern, flags | GLOB_ALTDIRFUNC, onError, result);
    call.succeed(outcome == 0 ? static_cast<std::int64_t>(result->gl_pathc) : 0);
    call.finish();
    return outcome;
}

HALVEXBOARD_TWIN(glob64, glob);
