// The board's files by path, built once from the configuration into fixed-size tables.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/tree.h"

#include <cstdio>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/wire/paths.h"

namespace halvexboard {

namespace {

constexpr std::size_t kMaxNodes = 256;
constexpr std::size_t kTextRoom = std::size_t{48} * 1024;

struct Tree {
    Node nodes[kMaxNodes];
    std::size_t count = 0;
    char text[kTextRoom] = {};
    std::size_t used = 0;
};

constinit Tree tree;

const char* keep(const char* text) noexcept {
    const std::size_t size = std::strlen(text) + 1;
    if (tree.used + size > kTextRoom) return nullptr;
    char* const kept = tree.text + tree.used;
    std::memcpy(kept, text, size);
    tree.used += size;
    return kept;
}

/// Returns the position of the new node; `parent` is the result of an earlier call.
int add(int parent, const char* path, NodeKind kind, int target, board_file file, const char* text = nullptr) noexcept {
    const char* const kept = keep(path);
    if (kept == nullptr || tree.count == kMaxNodes) return -1;
    Node& node = tree.nodes[tree.count];
    node.path = kept;
    node.name = std::strrchr(kept, '/') + 1;
    node.kind = kind;
    node.target = target;
    node.file = file;
    node.text = text;
    node.parent = parent;
    return static_cast<int>(tree.count++);
}

int addUnder(int parent, const char* name, NodeKind kind, int target, board_file file,
             const char* text = nullptr) noexcept {
    char path[kMaxPath];
    std::snprintf(path, sizeof path, "%s/%s", tree.nodes[parent].path, name);
    return add(parent, path, kind, target, file, text);
}

bool hasLoopback(const board_config& config) noexcept {
    for (std::uint32_t i = 0; i < config.interface_count; ++i) {
        if (std::strcmp(config.interfaces[i].name, kLoopbackInterface) == 0) return true;
    }
    return false;
}

void addInterfaces(const board_config& config) noexcept {
    const int directory =
        add(-1, BOARD_WIRE_NETWORK_DIRECTORY, NodeKind::directory, BOARD_TARGET_ANY, BOARD_FILE_DIRECTORY);
    if (!hasLoopback(config))  // every machine has it; not a device, no files below it
        addUnder(directory, kLoopbackInterface, NodeKind::directoryLink, BOARD_TARGET_ANY, BOARD_FILE_DIRECTORY);
    for (std::uint32_t i = 0; i < config.interface_count; ++i) {
        const board_interface_config& interface = config.interfaces[i];
        const int target = BOARD_TARGET_INTERFACE(static_cast<int>(i));
        const int entry = addUnder(directory, interface.name, NodeKind::directoryLink, target, BOARD_FILE_DIRECTORY);
        if (entry >= 0 && (interface.vendor[0] != '\0' || interface.device[0] != '\0')) {  // lo is not a device
            const int device = addUnder(entry, "device", NodeKind::directoryLink, target, BOARD_FILE_DIRECTORY);
            if (interface.vendor[0] != '\0')
                addUnder(device, "vendor", NodeKind::constantText, target, BOARD_FILE_VENDOR, interface.vendor);
            if (interface.device[0] != '\0')
                addUnder(device, "device", NodeKind::constantText, target, BOARD_FILE_DEVICE, interface.device);
        }
        if (interface.phc_index >= 0) {
            char path[sizeof BOARD_WIRE_PTP_DEVICE + 12];
            std::snprintf(path, sizeof path, BOARD_WIRE_PTP_DEVICE "%d", interface.phc_index);
            add(-1, path, NodeKind::ptpDevice, target, BOARD_FILE_PTP);
        }
    }
}

void addSi514(const board_config& config) noexcept {
    if (config.si514_present == 0) return;
    constexpr int kTarget = BOARD_TARGET_SI514;
    const int directory = add(-1, BOARD_WIRE_SI514_DIRECTORY, NodeKind::directory, kTarget, BOARD_FILE_DIRECTORY);
    addUnder(directory, "bind", NodeKind::writeOnly, kTarget, BOARD_FILE_ANY);
    const int client = addUnder(directory, config.si514_client, NodeKind::directoryLink, kTarget, BOARD_FILE_DIRECTORY);
    addUnder(directory, "module", NodeKind::directoryLink, kTarget, BOARD_FILE_DIRECTORY);
    addUnder(directory, "uevent", NodeKind::writeOnly, kTarget, BOARD_FILE_ANY);
    addUnder(directory, "unbind", NodeKind::writeOnly, kTarget, BOARD_FILE_ANY);
    addUnder(client, BOARD_WIRE_SI514_NAME_FILE, NodeKind::constantText, kTarget, BOARD_FILE_NAME, config.si514_name);
    addUnder(client, BOARD_WIRE_SI514_OFFSET_FILE, NodeKind::ppbOffset, kTarget, BOARD_FILE_PPB_OFFSET);
}

/// A driver's device node at the path in its interfacePath, without the newline that a scenario may contain.
void addDriverNode(const board_driver_config& driver, int target) noexcept {
    char path[kMaxPath];
    std::snprintf(path, sizeof path, "%s", driver.interface_path);
    path[std::strcspn(path, "\n")] = '\0';
    if (path[0] != '/' || path[1] == '\0') return;
    char directory[kMaxPath];
    std::snprintf(directory, sizeof directory, "%s", path);
    *std::strrchr(directory, '/') = '\0';
    int parent = -1;
    for (std::size_t i = 0; i < tree.count; ++i) {
        if (std::strcmp(tree.nodes[i].path, directory) == 0) parent = static_cast<int>(i);
    }
    if (parent < 0 && std::strcmp(directory, "/dev") != 0 && directory[0] != '\0')
        parent = add(-1, directory, NodeKind::directory, BOARD_TARGET_ANY, BOARD_FILE_DIRECTORY);
    add(parent, path, NodeKind::driverNode, target, BOARD_FILE_NODE);
}

void addDriver(int root, const board_driver_config& driver, int target, const char* name,
               const char* identifier) noexcept {
    if (driver.present == 0) return;
    const int directory = addUnder(root, name, NodeKind::directory, target, BOARD_FILE_DIRECTORY);
    const int interfaces =
        addUnder(directory, BOARD_WIRE_INTERFACES_DIRECTORY, NodeKind::directory, target, BOARD_FILE_DIRECTORY);
    char instanceName[128];
    std::snprintf(instanceName, sizeof instanceName, "%s\\%s", identifier, BOARD_WIRE_DRIVER_INSTANCE);
    const int instance = addUnder(interfaces, instanceName, NodeKind::directory, target, BOARD_FILE_DIRECTORY);
    addUnder(instance, BOARD_WIRE_INTERFACE_PATH_FILE, NodeKind::constantText, target, BOARD_FILE_INTERFACE_PATH,
             driver.interface_path);
    addDriverNode(driver, target);
}

bool isUnder(const char* path, const char* directory) noexcept {
    const std::size_t length = std::strlen(directory);
    return std::strncmp(path, directory, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

/// Whether the real machine's files of this path are hidden by the board's.
bool isTheBoards(const char* path) noexcept {
    constexpr std::size_t kPtpLength = sizeof BOARD_WIRE_PTP_DEVICE - 1;
    const bool isPtp = std::strncmp(path, BOARD_WIRE_PTP_DEVICE, kPtpLength) == 0 && path[kPtpLength] >= '0' &&
                       path[kPtpLength] <= '9';
    return isPtp || isUnder(path, BOARD_WIRE_NETWORK_DIRECTORY) || isUnder(path, BOARD_WIRE_SI514_DIRECTORY) ||
           isUnder(path, BOARD_WIRE_DRIVER_DIRECTORY) || isUnder(path, BOARD_WIRE_PHC2SYS) ||
           isUnder(path, BOARD_WIRE_PTP_CLASS_DIRECTORY);
}

bool isThere(const Node& node) noexcept {
    if (node.target == BOARD_TARGET_ANY) return true;
    const LockGuard guard(boardLock());
    return board_present(model(), node.target) != 0;
}

/// Length of the directory part of a node's path, without the slash.
std::size_t directoryLength(const Node& node) noexcept { return static_cast<std::size_t>(node.name - node.path) - 1; }

}  // namespace

void buildTree(const board_config& config) noexcept {
    tree.count = 0;
    tree.used = 0;
    addInterfaces(config);
    addSi514(config);
    const int drivers =
        add(-1, BOARD_WIRE_DRIVER_DIRECTORY, NodeKind::directory, BOARD_TARGET_ANY, BOARD_FILE_DIRECTORY);
    addDriver(drivers, config.fpga, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_DRIVER, BOARD_WIRE_FPGA_IDENTIFIER);
    addDriver(drivers, config.ferrox, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_DRIVER, BOARD_WIRE_FERROX_IDENTIFIER);
    add(-1, BOARD_WIRE_PHC2SYS, NodeKind::program, BOARD_TARGET_ANY, BOARD_FILE_ANY);
}

const Node& nodeAt(std::uint16_t position) noexcept { return tree.nodes[position]; }

std::uint16_t positionOf(const Node& node) noexcept { return static_cast<std::uint16_t>(&node - tree.nodes); }

bool plainPath(const char* path, char (&plain)[kMaxPath]) noexcept {
    if (path == nullptr || path[0] != '/') return false;
    std::size_t length = 0;
    while (*path != '\0') {
        while (*path == '/') ++path;
        const std::size_t size = std::strcspn(path, "/");
        const bool isDot = size == 1 && path[0] == '.';
        const bool isUp = size == 2 && path[0] == '.' && path[1] == '.';
        if (isUp) {
            while (length > 0 && plain[--length] != '/') {
            }
        } else if (size > 0 && !isDot) {
            if (length + size + 2 > kMaxPath) return false;
            plain[length++] = '/';
            std::memcpy(plain + length, path, size);
            length += size;
        }
        path += size;
    }
    if (length == 0) plain[length++] = '/';
    plain[length] = '\0';
    return true;
}

PathAnswer findPath(const char* path) noexcept {
    char plain[kMaxPath];
    if (!isActive() || !plainPath(path, plain)) return {};
    for (std::size_t i = 0; i < tree.count; ++i) {
        const Node& node = tree.nodes[i];
        if (std::strcmp(node.path, plain) != 0) continue;
        if (isThere(node)) return {PathClass::present, &node};
    }
    return {isTheBoards(plain) ? PathClass::missing : PathClass::foreign, nullptr};
}

const Node* nextChild(const Node& directory, std::size_t& position) noexcept {
    const auto parent = static_cast<int>(&directory - tree.nodes);
    while (position < tree.count) {
        const Node& node = tree.nodes[position++];
        if (node.parent == parent && isThere(node)) return &node;
    }
    return nullptr;
}

const Node* nextGuest(const char* realDirectory, std::size_t& position) noexcept {
    const std::size_t length = std::strlen(realDirectory);
    while (position < tree.count) {
        const Node& node = tree.nodes[position++];
        if (node.parent < 0 && directoryLength(node) == length && std::strncmp(node.path, realDirectory, length) == 0 &&
            isThere(node))
            return &node;
    }
    return nullptr;
}

bool leadsToBoard(const char* path) noexcept {
    char plain[kMaxPath];
    if (!isActive() || !plainPath(path, plain)) return false;
    for (std::size_t i = 0; i < tree.count; ++i) {
        if (isUnder(tree.nodes[i].path, plain) && isThere(tree.nodes[i])) return true;
    }
    return false;
}

bool hasGuests(const char* realDirectory) noexcept {
    std::size_t position = 0;
    return nextGuest(realDirectory, position) != nullptr;
}

}  // namespace halvexboard
