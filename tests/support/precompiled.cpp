// Carries the precompiled header that the test programs share.
int halvexPrecompiledHeaderCarrier = 0;
