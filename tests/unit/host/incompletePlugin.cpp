// A library that is not a timekeeper: it has only one of the twelve functions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
extern "C" __attribute__((visibility("default"))) unsigned zuqxmtk_getAPIVersion() { return 2; }
