// Shims: file information without opening.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/descriptors.h"
#include "board/preload/realCalls.h"
#include "board/preload/tree.h"

using namespace halvexboard;

namespace {

HALVEXBOARD_REAL(stat);
HALVEXBOARD_REAL(lstat);
HALVEXBOARD_REAL(fstat);
HALVEXBOARD_REAL(fstatat);
HALVEXBOARD_REAL(statx);
HALVEXBOARD_REAL(access);
HALVEXBOARD_REAL(faccessat);
HALVEXBOARD_REAL(euidaccess);
HALVEXBOARD_REAL(readlink);
HALVEXBOARD_REAL(realpath);
HALVEXBOARD_REAL(getxattr);
HALVEXBOARD_REAL(lgetxattr);
HALVEXBOARD_REAL(listxattr);
HALVEXBOARD_REAL(llistxattr);

static_assert(sizeof(struct stat) == sizeof(struct stat64), "one record serves both spellings");

mode_t modeOf(const Node& node, bool follow) noexcept {
    switch (node.kind) {
        case NodeKind::directory:
            return S_IFDIR | 0755;
        case NodeKind::directoryLink:
            return follow ? S_IFDIR | 0755 : S_IFLNK | 0777;
        case NodeKind::constantText:
            return S_IFREG | 0444;
        case NodeKind::ppbOffset:
            return S_IFREG | 0644;
        case NodeKind::writeOnly:
            return S_IFREG | 0200;
        case NodeKind::program:
            return S_IFREG | 0755;
        default:
            return S_IFCHR | 0660;
    }
}

void fillStat(const Node& node, bool follow, struct stat* out) noexcept {
    std::memset(out, 0, sizeof *out);
    out->st_mode = modeOf(node, follow);
    out->st_nlink = 1;
    out->st_dev = makedev(0, 0xb0);
    for (const char* at = node.path; *at != '\0'; ++at)
        out->st_ino = out->st_ino * 31 + static_cast<unsigned char>(*at);
    out->st_blksize = 4096;
    if (S_ISREG(out->st_mode)) out->st_size = 4096;
    if (S_ISCHR(out->st_mode)) out->st_rdev = makedev(248, static_cast<unsigned>(out->st_ino & 0xff));
}

/// Common start of the functions below: foreign, or the node, or ENOENT.
bool isForeign(const char* path, PathAnswer& answer) noexcept {
    answer = findPath(path);
    if (answer.what == PathClass::missing) errno = ENOENT;
    return answer.what == PathClass::foreign;
}

/// Describes a directory that the machine lacks but board files need.
int statAncestor(int real, const char* path, struct stat* out) noexcept {
    if (real == 0 || errno != ENOENT || !leadsToBoard(path)) return real;
    static constexpr Node kDirectory{.path = "", .name = ""};
    fillStat(kDirectory, true, out);
    errno = 0;
    return 0;
}

/// A trailing "/", "/." or "/.." refers to the directory behind a link.
bool endsInSlash(const char* path) noexcept {
    const char* const slash = std::strrchr(path, '/');
    return slash != nullptr && (slash[1] == '\0' || std::strcmp(slash, "/.") == 0 || std::strcmp(slash, "/..") == 0);
}

int statOnBoard(const PathAnswer& answer, bool follow, struct stat* out) noexcept {
    if (answer.what != PathClass::present) return -1;
    fillStat(*answer.node, follow, out);
    return 0;
}

int accessOnBoard(const PathAnswer& answer, int wanted) noexcept {
    if (answer.what != PathClass::present) return -1;
    const mode_t mode = modeOf(*answer.node, true);
    const bool refused = ((wanted & R_OK) != 0 && (mode & 0444) == 0) || ((wanted & W_OK) != 0 && (mode & 0222) == 0) ||
                         ((wanted & X_OK) != 0 && (mode & 0111) == 0);
    if (refused) errno = EACCES;
    return refused ? -1 : 0;
}

int refuseAttributes() noexcept {
    errno = ENOTSUP;
    return -1;
}

void fillStatx(const struct stat& from, struct statx* out) noexcept {
    std::memset(out, 0, sizeof *out);
    out->stx_mask = STATX_BASIC_STATS;
    out->stx_blksize = static_cast<std::uint32_t>(from.st_blksize);
    out->stx_nlink = static_cast<std::uint32_t>(from.st_nlink);
    out->stx_mode = static_cast<std::uint16_t>(from.st_mode);
    out->stx_ino = from.st_ino;
    out->stx_size = static_cast<std::uint64_t>(from.st_size);
    out->stx_rdev_major = major(from.st_rdev);
    out->stx_rdev_minor = minor(from.st_rdev);
    out->stx_dev_minor = minor(from.st_dev);
}

}  // namespace

HALVEXBOARD_SHIM int stat(const char* path, struct stat* out) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? statAncestor(real_stat(path, out), path, out) : statOnBoard(answer, true, out);
}

HALVEXBOARD_SHIM int lstat(const char* path, struct stat* out) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? statAncestor(real_lstat(path, out), path, out)
                                   : statOnBoard(answer, endsInSlash(path), out);
}

HALVEXBOARD_SHIM int fstat(int fd, struct stat* out) noexcept {
    const OpenFile* const file = isActive() ? findDescriptor(fd) : nullptr;
    if (file == nullptr || file->isStream)  // stdio needs the size of the backing file
        return real_fstat(fd, out);
    fillStat(*file->node, true, out);
    return 0;
}

HALVEXBOARD_SHIM int fstatat(int directory, const char* path, struct stat* out, int flags) noexcept {
    const OpenFile* const file = isActive() ? findDescriptor(directory) : nullptr;
    const bool isEmpty = path[0] == '\0' && (flags & AT_EMPTY_PATH) != 0;
    if (file != nullptr && isEmpty) return fstat(directory, out);
    char joined[kMaxPath];
    if (file != nullptr && path[0] != '/' &&
        std::snprintf(joined, sizeof joined, "%s/%s", file->node->path, path) < static_cast<int>(sizeof joined))
        path = joined;
    PathAnswer answer;
    if (isForeign(path, answer)) return statAncestor(real_fstatat(directory, path, out, flags), path, out);
    return statOnBoard(answer, (flags & AT_SYMLINK_NOFOLLOW) == 0 || endsInSlash(path), out);
}

HALVEXBOARD_SHIM int stat64(const char* path, struct stat64* out) noexcept {
    return stat(path, reinterpret_cast<struct stat*>(out));
}

HALVEXBOARD_SHIM int lstat64(const char* path, struct stat64* out) noexcept {
    return lstat(path, reinterpret_cast<struct stat*>(out));
}

HALVEXBOARD_SHIM int fstat64(int fd, struct stat64* out) noexcept {
    return fstat(fd, reinterpret_cast<struct stat*>(out));
}

HALVEXBOARD_SHIM int fstatat64(int directory, const char* path, struct stat64* out, int flags) noexcept {
    return fstatat(directory, path, reinterpret_cast<struct stat*>(out), flags);
}

HALVEXBOARD_SHIM int statx(int directory, const char* path, int flags, unsigned mask, struct statx* out) noexcept {
    const bool isOurDescriptor = isActive() && findDescriptor(directory) != nullptr;
    PathAnswer answer;
    if (!isOurDescriptor && isForeign(path, answer)) {
        const int result = real_statx(directory, path, flags, mask, out);
        if (result == 0 || errno != ENOENT || !leadsToBoard(path)) return result;
    }
    struct stat plain {};
    const int result = fstatat(directory, path, &plain, flags);
    if (result == 0) fillStatx(plain, out);
    return result;
}

HALVEXBOARD_SHIM int access(const char* path, int wanted) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? real_access(path, wanted) : accessOnBoard(answer, wanted);
}

HALVEXBOARD_SHIM int faccessat(int directory, const char* path, int wanted, int flags) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? real_faccessat(directory, path, wanted, flags) : accessOnBoard(answer, wanted);
}

HALVEXBOARD_SHIM int euidaccess(const char* path, int wanted) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? real_euidaccess(path, wanted) : accessOnBoard(answer, wanted);
}

HALVEXBOARD_SHIM int eaccess(const char* path, int wanted) noexcept { return euidaccess(path, wanted); }

HALVEXBOARD_SHIM ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
    PathAnswer answer;
    if (isForeign(path, answer)) return real_readlink(path, buffer, size);
    if (answer.what != PathClass::present) return -1;
    if (answer.node->kind != NodeKind::directoryLink) {
        errno = EINVAL;
        return -1;
    }
    char target[kMaxPath];
    const int length = std::snprintf(target, sizeof target, "../../devices/board/%s", answer.node->name);
    const size_t count = static_cast<size_t>(length) < size ? static_cast<size_t>(length) : size;
    std::memcpy(buffer, target, count);
    return static_cast<ssize_t>(count);
}

HALVEXBOARD_SHIM char* realpath(const char* path, char* resolved) noexcept {
    PathAnswer answer;
    if (isForeign(path, answer)) return real_realpath(path, resolved);
    if (answer.what != PathClass::present) return nullptr;
    if (resolved == nullptr) return strdup(answer.node->path);
    std::memcpy(resolved, answer.node->path, std::strlen(answer.node->path) + 1);
    return resolved;
}

HALVEXBOARD_SHIM ssize_t getxattr(const char* path, const char* name, void* value, size_t size) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? real_getxattr(path, name, value, size) : refuseAttributes();
}

HALVEXBOARD_SHIM ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? real_lgetxattr(path, name, value, size) : refuseAttributes();
}

HALVEXBOARD_SHIM ssize_t listxattr(const char* path, char* list, size_t size) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? real_listxattr(path, list, size) : refuseAttributes();
}

HALVEXBOARD_SHIM ssize_t llistxattr(const char* path, char* list, size_t size) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? real_llistxattr(path, list, size) : refuseAttributes();
}
