// Programs that a process on the board is about to execute: whether they can be on it, and the environment that brings
// them there. SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/programs.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/preload/environment.h"
#include "board/preload/futexLock.h"

namespace halvexboard {

namespace {

constexpr std::size_t kAdded = 3;

char preload[2 * PATH_MAX];  // "LD_PRELOAD=..."
char board[PATH_MAX];        // "HALVEXBOARD=..."
char hidden[64];             // "HALVEXBOARD_HIDDEN=1"
char library[PATH_MAX];      // the last of LD_PRELOAD
const char* outsideNames = "";

bool isVariable(const char* entry, const char* name) noexcept {
    const std::size_t length = std::strlen(name);
    return std::strncmp(entry, name, length) == 0 && entry[length] == '=';
}

bool isOutside(const char* file) noexcept {
    const char* const slash = std::strrchr(file, '/');
    char word[NAME_MAX + 3];
    const int length = std::snprintf(word, sizeof word, " %s ", slash != nullptr ? slash + 1 : file);
    return length < static_cast<int>(sizeof word) && std::strstr(outsideNames, word) != nullptr;
}

/// The first bytes of a file.
struct Beginning {
    static constexpr std::size_t kSize = 4096;
    alignas(8) char bytes[kSize + 1] = {};
    long size = -1;

    explicit Beginning(const char* path) noexcept {
        const long fd = rawSystemCall(SYS_openat, AT_FDCWD, reinterpret_cast<long>(path), O_RDONLY | O_CLOEXEC);
        if (fd < 0) return;
        size = rawSystemCall(SYS_read, fd, reinterpret_cast<long>(bytes), kSize);
        rawSystemCall(SYS_close, fd);
    }
};

bool hasInterpreter(const Beginning& file, const Elf64_Ehdr& header) noexcept {
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        const std::size_t at = header.e_phoff + i * sizeof(Elf64_Phdr);
        if (at + sizeof(Elf64_Phdr) > Beginning::kSize) return true;
        Elf64_Phdr part;
        std::memcpy(&part, file.bytes + at, sizeof part);
        if (part.p_type == PT_INTERP) return true;
    }
    return false;
}

const char* whyElfCannot(const Beginning& file) noexcept {
    Elf64_Ehdr header;
    std::memcpy(&header, file.bytes, sizeof header);
    if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_machine != EM_X86_64) return "is not for x86-64";
    return hasInterpreter(file, header) ? nullptr : "is statically linked";
}

/// The loader ignores LD_PRELOAD for a program that runs with other rights.
const char* whyRightsCannot(const char* path) noexcept {
    struct stat status {};
    const bool isThere =
        rawSystemCall(SYS_newfstatat, AT_FDCWD, reinterpret_cast<long>(path), reinterpret_cast<long>(&status), 0) == 0;
    if (isThere && (status.st_mode & S_ISUID) != 0 && status.st_uid != geteuid()) return "changes its user";
    if (isThere && (status.st_mode & S_ISGID) != 0 && status.st_gid != getegid()) return "changes its group";
    const bool hasOwn = rawSystemCall(SYS_getxattr, reinterpret_cast<long>(path),
                                      reinterpret_cast<long>("security.capability"), 0, 0) > 0;
    return hasOwn && geteuid() != 0 ? "has capabilities of its own" : nullptr;
}

/// Null if the program can be on the board.
const char* whyItCannot(const char* path, int depth) noexcept {
    constexpr int kDeepest = 4;  // scripts whose interpreters are scripts; the kernel's limit
    const Beginning file(path);
    if (file.size < 4) return nullptr;
    if (std::memcmp(file.bytes, "#!", 2) == 0 && depth < kDeepest) {
        char interpreter[PATH_MAX];
        const char* const begin = file.bytes + 2 + std::strspn(file.bytes + 2, " \t");
        std::snprintf(interpreter, sizeof interpreter, "%.*s", static_cast<int>(std::strcspn(begin, " \t\n")), begin);
        return whyItCannot(interpreter, depth + 1);
    }
    if (std::memcmp(file.bytes, ELFMAG, SELFMAG) != 0) return nullptr;  // a shell reads it, or executing fails
    const char* const why = whyElfCannot(file);
    return why != nullptr ? why : whyRightsCannot(path);
}

/// As execvp searches: the first that may be executed. False: none.
bool search(const char* file, char (&found)[PATH_MAX]) noexcept {
    const char* at = std::getenv("PATH");
    if (at == nullptr) at = "/bin:/usr/bin";
    for (;;) {
        const std::size_t length = std::strcspn(at, ":");
        const int size =
            std::snprintf(found, sizeof found, "%.*s%s%s", static_cast<int>(length), at, length == 0 ? "" : "/", file);
        if (size < static_cast<int>(sizeof found) &&
            rawSystemCall(SYS_faccessat, AT_FDCWD, reinterpret_cast<long>(found), X_OK) == 0)
            return true;
        if (at[length] == '\0') return false;
        at += length + 1;
    }
}

void dropLibrary(const char* value) noexcept {
    char rest[2 * PATH_MAX];
    std::snprintf(rest, sizeof rest, "%s", value);
    char* const last = std::strrchr(rest, ':');
    if (last == nullptr) {
        unsetenv(kPreloadVariable);
        return;
    }
    *last = '\0';
    setenv(kPreloadVariable, rest, 1);
}

}  // namespace

void rememberEnvironment(const char* outside) noexcept {
    outsideNames = outside;
    const char* const value = std::getenv(kPreloadVariable);
    const char* const preloaded = value != nullptr ? value : "";
    const char* const colon = std::strrchr(preloaded, ':');
    std::snprintf(library, sizeof library, "%s", colon != nullptr ? colon + 1 : preloaded);
    std::snprintf(preload, sizeof preload, "%s=%.4000s", kPreloadVariable, library);
    std::snprintf(board, sizeof board, "%s=%s", kBoardVariable, std::getenv(kBoardVariable));
    std::snprintf(hidden, sizeof hidden, "%s=1", kHiddenVariable);
    if (std::getenv(kHiddenVariable) == nullptr) return;
    unsetenv(kHiddenVariable);
    unsetenv(kBoardVariable);
    dropLibrary(preloaded);
}

Verdict judgeProgram(const char* file, bool isSearched) noexcept {
    if (board[0] == '\0' || file == nullptr) return Verdict::carried;
    if (isOutside(file)) return Verdict::outside;
    char found[PATH_MAX];
    const bool hasToSearch = isSearched && std::strchr(file, '/') == nullptr;
    if (hasToSearch && !search(file, found)) return Verdict::carried;
    const char* const path = hasToSearch ? found : file;
    const char* const why = whyItCannot(path, 0);
    if (why == nullptr) return Verdict::carried;
    char line[PATH_MAX + 200];
    const int length =
        std::snprintf(line, sizeof line,
                      "halvexboard: %s %s and cannot be on the board; --outside %s would run it on the "
                      "real machine\n",
                      path, why, std::strrchr(path, '/') != nullptr ? std::strrchr(path, '/') + 1 : path);
    rawSystemCall(SYS_write, STDERR_FILENO, reinterpret_cast<long>(line), length);
    return Verdict::refused;
}

ProgramEnvironment::ProgramEnvironment(char* const* given, Verdict verdict) noexcept : variables_(given) {
    if (board[0] == '\0') return;
    std::size_t count = 0;
    while (given != nullptr && given[count] != nullptr) ++count;
    size_ = (count + kAdded + 1) * sizeof(char*) + sizeof preload;
    const long memory = rawSystemCall(SYS_mmap, 0, static_cast<long>(size_), PROT_READ | PROT_WRITE,
                                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory < 0) {
        size_ = 0;
        return;
    }
    auto** const list = reinterpret_cast<char**>(memory);
    auto* const text = reinterpret_cast<char*>(list + count + kAdded + 1);
    std::size_t used = 0;
    const char* others = nullptr;  // LD_PRELOAD as the program wants it
    bool isKnown = false;
    for (std::size_t i = 0; i < count; ++i) {
        if (isVariable(given[i], kPreloadVariable))
            others = given[i];
        else if (isVariable(given[i], kBoardVariable))
            isKnown = true;
        else if (!isVariable(given[i], kHiddenVariable))
            list[used++] = given[i];
    }
    const bool hasLibrary = others != nullptr && std::strstr(others, library) != nullptr;
    if (verdict == Verdict::carried) {
        const bool isWhole = others == nullptr || hasLibrary;
        std::snprintf(text, sizeof preload, "%.4000s%s%.4000s", others != nullptr ? others : preload,
                      isWhole ? "" : ":", isWhole ? "" : library);
        list[used++] = text;
        list[used++] = board;
        if (!isKnown) list[used++] = hidden;
    } else if (others != nullptr && !hasLibrary) {
        list[used++] = const_cast<char*>(others);
    }
    variables_ = list;
}

ProgramEnvironment::~ProgramEnvironment() {
    if (size_ != 0) rawSystemCall(SYS_munmap, reinterpret_cast<long>(variables_), static_cast<long>(size_));
}

}  // namespace halvexboard
