/* A host in plain C11: loads the library at run time and plays the story named on the command line. */
/* SPDX-License-Identifier: LicenseRef-HalvexTimekeeper */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "zuqxmtk.h"

/* The functions that the host looks up: result, name, parameters. */
#define FUNCTIONS(EACH)                                           \
    EACH(uint32_t, getAPIVersion, (void))                         \
    EACH(void, getName, (char*))                                  \
    EACH(bool, isSeeded, (void))                                  \
    EACH(int32_t, getMinCorrectionPerSecond, (zuerr_Status*))     \
    EACH(int32_t, getMaxCorrectionPerSecond, (zuerr_Status*))     \
    EACH(void, setCorrectionPerSecond, (int32_t, zuerr_Status*))  \
    EACH(void, getCorrectionPerSecond, (int32_t*, zuerr_Status*)) \
    EACH(void, snapTime, (int64_t, zuerr_Status*))                \
    EACH(void, getTime, (QxmTimestamp*, zuerr_Status*))           \
    EACH(void, applyMetaData, (const char*, zuerr_Status*))       \
    EACH(void, initialize, (zuerr_Status*))                       \
    EACH(void, finalize, (void))

static struct {
    void* library;
#define MEMBER(result, name, parameters) result(*name) parameters;
    FUNCTIONS(MEMBER)
} api;

static void expect(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "not so: %s\n", what);
    exit(1);
}

static bool reallocJson(zuerr_Status* status, uint32_t size) {
    if (size == 0) {
        free(status->json);
        status->json = NULL;
        status->capacity = 0;
        return true;
    }
    if (size <= status->capacity) return true;
    char* const buffer = calloc(1, size);
    if (buffer == NULL) return false;
    strcpy(buffer, status->json != NULL ? status->json : "{}");
    buffer[size - 1] = 'J';
    free(status->json);
    status->json = buffer;
    status->capacity = size;
    return true;
}

static zuerr_Status freshStatus(void) {
    const zuerr_Status status = {0, 0, reallocJson, NULL};
    return status;
}

static void expectSuccess(zuerr_Status* status, const char* what) {
    if (status->code == 0) return;
    fprintf(stderr, "%s: %d %s\n", what, (int)status->code, status->json != NULL ? status->json : "");
    exit(1);
}

static void* lookUp(const char* name) {
    void* const symbol = dlsym(api.library, name);
    expect(symbol != NULL, name);
    return symbol;
}

/* Copies the bytes, since ISO C cannot convert an object pointer to a function pointer. */
#define LOOK_UP(result, name, parameters)              \
    do {                                               \
        void* const symbol = lookUp("zuqxmtk_" #name); \
        memcpy(&api.name, &symbol, sizeof symbol);     \
    } while (0);

static void load(const char* path) {
    api.library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (api.library == NULL) fprintf(stderr, "%s\n", dlerror());
    expect(api.library != NULL, "the library can be loaded");
    FUNCTIONS(LOOK_UP)
}

static void wait_s(time_t seconds) {
    struct timespec left = {seconds, 0};
    while (nanosleep(&left, &left) != 0) continue;
}

static void initialize(void) {
    zuerr_Status status = freshStatus();
    api.initialize(&status);
    expectSuccess(&status, "initialize");
    expect(api.isSeeded(), "an initialised timekeeper is seeded");
}

static QxmTimestamp now(void) {
    zuerr_Status status = freshStatus();
    QxmTimestamp time = 0;
    api.getTime(&time, &status);
    expectSuccess(&status, "getTime");
    return time;
}

static void expectNotInitialised(void) {
    zuerr_Status status = freshStatus();
    QxmTimestamp time = 42;
    api.getTime(&time, &status);
    expect(status.code == -52010, "getTime says that nothing is initialised");
    expect(time == 42, "the output stays untouched");
    expect(status.json != NULL && strstr(status.json, "zuplaterr_resourceNotInitialized") != NULL,
           "the text names the error");
    expect(status.json[status.capacity - 1] == 'J', "the buffer ends in its mark");
    reallocJson(&status, 0);
}

/* Without initialising: everything that needs no hardware. */
static void idle(void) {
    expect(api.getAPIVersion() == 2, "the version is 2");
    expectNotInitialised();
    zuerr_Status failed = freshStatus();
    failed.code = -1;
    expect(api.getMaxCorrectionPerSecond(&failed) == 0 && failed.json == NULL, "an error stops a call");
    QxmTimestamp time;
    api.getTime(&time, NULL);
    api.snapTime(0, NULL);
    api.finalize();
    api.finalize();
    expect(dlclose(api.library) == 0, "the library can be unloaded");
}

static void session(void) {
    initialize();
    char name[32];
    api.getName(name);
    expect(strcmp(name, "HalvexTimekeeper") == 0, "the name");

    zuerr_Status status = freshStatus();
    expect(api.getMinCorrectionPerSecond(&status) == -62000, "the lower limit");
    expect(api.getMaxCorrectionPerSecond(&status) == 62000, "the upper limit");
    api.setCorrectionPerSecond(-1250, &status);
    int32_t correctionPpb = 0;
    api.getCorrectionPerSecond(&correctionPpb, &status);
    expect(correctionPpb == -1250, "the correction is read back");

    const QxmTimestamp before = now();
    api.snapTime(1000000000, &status);
    const QxmTimestamp after = now();
    expect(after - before >= 1000000000 && after - before < 1100000000, "the time steps by a second");
    api.applyMetaData("{\"selectedTRInstID\":\"a\"}", &status);
    expectSuccess(&status, "the session");
    wait_s(5);
    now();
    api.finalize();
    expectNotInitialised();
    expect(dlclose(api.library) == 0, "the library can be unloaded");
}

static void twice(void) {
    for (int time = 0; time < 2; ++time) {
        initialize();
        wait_s(3);
        now();
        api.finalize();
    }
    expectNotInitialised();
}

static void forkChild(bool finalizesFirst) {
    initialize();
    fflush(NULL);
    const pid_t child = fork();
    expect(child >= 0, "a child can be made");
    if (child == 0) {
        if (finalizesFirst) {
            api.finalize();
            expectNotInitialised();
        }
        exit(0);
    }
    int result = -1;
    expect(waitpid(child, &result, 0) == child && WIFEXITED(result) && WEXITSTATUS(result) == 0, "the child ends well");
    wait_s(3);
    now();
    api.finalize();
}

int main(int count, char** arguments) {
    expect(count == 3, "usage: cHost LIBRARY STORY");
    const char* const story = arguments[2];
    load(arguments[1]);
    if (strcmp(story, "idle") == 0) {
        idle();
    } else if (strcmp(story, "session") == 0) {
        session();
    } else if (strcmp(story, "twice") == 0) {
        twice();
    } else if (strcmp(story, "exit") == 0) {
        initialize();
        zuerr_Status status = freshStatus();
        api.snapTime(1000, &status); /* an alignment may still be running */
        expectSuccess(&status, "snapTime");
    } else if (strcmp(story, "unload") == 0) {
        initialize();
        expect(dlclose(api.library) == 0, "the library can be unloaded");
        expect(dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) == NULL, "nothing keeps the library loaded");
        wait_s(5);
    } else if (strcmp(story, "fork") == 0) {
        forkChild(false);
    } else if (strcmp(story, "forkFinalize") == 0) {
        forkChild(true);
    } else if (strcmp(story, "closed") == 0) {
        fclose(stdin);
        fclose(stdout);
        initialize();
        api.finalize();
    } else {
        expect(false, "the story is known");
    }
    return 0;
}
