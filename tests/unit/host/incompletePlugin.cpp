// A library that is no timekeeper: one of the twelve functions and no more.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
extern "C" __attribute__((visibility("default"))) unsigned zuqxmtk_getAPIVersion() { return 2; }
