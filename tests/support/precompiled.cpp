// Carries the precompiled header that the test programs share.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
int halvexPrecompiledHeaderCarrier = 0;
