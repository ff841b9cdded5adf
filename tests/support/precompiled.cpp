// Builds the precompiled header of the test programs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
int halvexPrecompiledHeaderCarrier = 0;
