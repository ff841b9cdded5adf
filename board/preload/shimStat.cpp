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

#include "board/preload/deviceFiles.h"
#include "board/preload/realCalls.h"
#include "board/preload/tree.h"

using namespace halvexboard;

namespace {

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
    return refused ? refuse(EACCES) : 0;
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
    return isForeign(path, answer) ? statAncestor(REAL(stat)(path, out), path, out) : statOnBoard(answer, true, out);
}

HALVEXBOARD_SHIM int lstat(const char* path, struct stat* out) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? statAncestor(REAL(lstat)(path, out), path, out)
                                   : statOnBoard(answer, endsInSlash(path), out);
}

HALVEXBOARD_SHIM int fstat(int fd, struct stat* out) noexcept {
    const OpenFile* const file = ours(fd);
    if (file == nullptr || file->isStream)  // stdio needs the size of the backing file
        return REAL(fstat)(fd, out);
    fillStat(*file->node(), true, out);
    return 0;
}

HALVEXBOARD_SHIM int fstatat(int directory, const char* path, struct stat* out, int flags) noexcept {
    const OpenFile* const file = ours(directory);
    const bool isEmpty = path[0] == '\0' && (flags & AT_EMPTY_PATH) != 0;
    if (file != nullptr && isEmpty) return fstat(directory, out);
    char joined[kMaxPath];
    if (file != nullptr && path[0] != '/' &&
        std::snprintf(joined, sizeof joined, "%s/%s", file->node()->path, path) < static_cast<int>(sizeof joined))
        path = joined;
    PathAnswer answer;
    if (isForeign(path, answer)) return statAncestor(REAL(fstatat)(directory, path, out, flags), path, out);
    return statOnBoard(answer, (flags & AT_SYMLINK_NOFOLLOW) == 0 || endsInSlash(path), out);
}

HALVEXBOARD_TWIN(stat64, stat);
HALVEXBOARD_TWIN(lstat64, lstat);
HALVEXBOARD_TWIN(fstat64, fstat);
HALVEXBOARD_TWIN(fstatat64, fstatat);

HALVEXBOARD_SHIM int statx(int directory, const char* path, int flags, unsigned mask, struct statx* out) noexcept {
    const bool isOurDescriptor = ours(directory) != nullptr;
    PathAnswer answer;
    if (!isOurDescriptor && isForeign(path, answer)) {
        const int result = REAL(statx)(directory, path, flags, mask, out);
        if (result == 0 || errno != ENOENT || !leadsToBoard(path)) return result;
    }
    struct stat plain {};
    const int result = fstatat(directory, path, &plain, flags);
    if (result == 0) fillStatx(plain, out);
    return result;
}

HALVEXBOARD_SHIM int access(const char* path, int wanted) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? REAL(access)(path, wanted) : accessOnBoard(answer, wanted);
}

HALVEXBOARD_SHIM int faccessat(int directory, const char* path, int wanted, int flags) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? REAL(faccessat)(directory, path, wanted, flags) : accessOnBoard(answer, wanted);
}

HALVEXBOARD_SHIM int euidaccess(const char* path, int wanted) noexcept {
    PathAnswer answer;
    return isForeign(path, answer) ? REAL(euidaccess)(path, wanted) : accessOnBoard(answer, wanted);
}

HALVEXBOARD_SHIM int eaccess(const char* path, int wanted) noexcept { return euidaccess(path, wanted); }

HALVEXBOARD_SHIM ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
    PathAnswer answer;
    if (isForeign(path, answer)) return REAL(readlink)(path, buffer, size);
    if (answer.what != PathClass::present) return -1;
    if (answer.node->kind != NodeKind::directoryLink) return refuse(EINVAL);
    char target[kMaxPath];
    const int length = std::snprintf(target, sizeof target, "../../devices/board/%s", answer.node->name);
    const size_t count = static_cast<size_t>(length) < size ? static_cast<size_t>(length) : size;
    std::memcpy(buffer, target, count);
    return static_cast<ssize_t>(count);
}

HALVEXBOARD_SHIM char* realpath(const char* path, char* resolved) noexcept {
    PathAnswer answer;
    if (isForeign(path, answer)) return REAL(realpath)(path, resolved);
    if (answer.what != PathClass::present) return nullptr;
    if (resolved == nullptr) return strdup(answer.node->path);
    std::memcpy(resolved, answer.node->path, std::strlen(answer.node->path) + 1);
    return resolved;
}

#define REFUSE_ATTRIBUTES(NAME, PARAMETERS, ARGUMENTS)                           \
    HALVEXBOARD_SHIM ssize_t NAME PARAMETERS noexcept {                          \
        PathAnswer answer;                                                       \
        return isForeign(path, answer) ? REAL(NAME) ARGUMENTS : refuse(ENOTSUP); \
    }
REFUSE_ATTRIBUTES(getxattr, (const char* path, const char* name, void* value, size_t size), (path, name, value, size))
REFUSE_ATTRIBUTES(lgetxattr, (const char* path, const char* name, void* value, size_t size), (path, name, value, size))
REFUSE_ATTRIBUTES(listxattr, (const char* path, char* list, size_t size), (path, list, size))
REFUSE_ATTRIBUTES(llistxattr, (const char* path, char* list, size_t size), (path, list, size))
