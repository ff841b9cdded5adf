/* An example host in C: starts the timekeeper, reads, steps and steers the time, and reports errors. */
/* SPDX-License-Identifier: LicenseRef-HalvexTimekeeper */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <zuqxmtk.h>

enum { smallestBuffer = 512, bytesOfEnd = 2 };

/* Grows the error text to `size` bytes, or frees it for 0. The text is followed by zeros and, last, the letter J. */
static bool growJson(zuerr_Status* status, uint32_t size) {
    if (size == 0) {
        free(status->json);
        status->json = NULL;
        status->capacity = 0;
        return true;
    }
    if (size <= status->capacity) return true;

    const char* const text = status->json != NULL ? status->json : "{}";
    const size_t length = strlen(text);
    size_t capacity = size > smallestBuffer ? size : smallestBuffer;
    if (capacity < length + bytesOfEnd) capacity = length + bytesOfEnd;
    char* const grown = calloc(capacity, 1);
    if (grown == NULL) return false;
    memcpy(grown, text, length);
    grown[capacity - 1] = 'J';
    free(status->json);
    status->json = grown;
    status->capacity = (uint32_t)capacity;
    return true;
}

/* Whether the call succeeded; otherwise prints the library's error and resets the status. */
static bool wentWell(const char* what, zuerr_Status* status) {
    const int32_t code = status->code;
    if (code != 0) {
        fprintf(stderr, "%s: %s %" PRId32 " %s\n", what, code < 0 ? "error" : "warning", code,
                status->json != NULL ? status->json : "null");
        growJson(status, 0);
        status->code = 0;
    }
    return code >= 0;
}

static bool stepTheTime(int64_t offsetNs, zuerr_Status* status) {
    QxmTimestamp beforeNs = 0;
    QxmTimestamp afterNs = 0;
    zuqxmtk_getTime(&beforeNs, status);
    zuqxmtk_snapTime(offsetNs, status);
    zuqxmtk_getTime(&afterNs, status); /* a status that holds an error makes these calls do nothing */
    if (!wentWell("step", status)) return false;
    printf("before   %" PRIu64 " ns\nafter    %" PRIu64 " ns\n", beforeNs, afterNs);
    return afterNs - beforeNs >= (uint64_t)offsetNs;
}

static bool steerTheTime(int32_t correctionPpb, zuerr_Status* status) {
    int32_t inForcePpb = 0;
    zuqxmtk_setCorrectionPerSecond(correctionPpb, status);
    zuqxmtk_getCorrectionPerSecond(&inForcePpb, status);
    if (!wentWell("steer", status)) return false;
    printf("steered  %" PRId32 " ppb\n", inForcePpb);
    return inForcePpb == correctionPpb;
}

int main(void) {
    zuerr_Status status = {0, 0, growJson, NULL};
    zuqxmtk_initialize(&status);
    if (!wentWell("initialize", &status)) return EXIT_FAILURE;

    const bool succeeded = stepTheTime(1500000, &status) && steerTheTime(-1250, &status);
    zuqxmtk_setCorrectionPerSecond(100000, &status); /* refused: beyond the limits */
    const bool refused = !wentWell("steer too far", &status);

    zuqxmtk_finalize();
    return succeeded && refused ? EXIT_SUCCESS : EXIT_FAILURE;
}
