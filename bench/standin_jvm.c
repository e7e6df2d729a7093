/*
 * A stand-in for libjvm.so that measures a host's own start: JNI_CreateJavaVM
 * writes CLOCK_MONOTONIC, in nanoseconds and with a line end, into the file
 * named by BENCH_CREATE_STAMP and ends the process at once with status 0.
 * bench/run links it against the libraries the real libjvm.so needs, so a host
 * pays for loading the same libraries as with the real one; what is left is the
 * host's own work from exec to the call that creates the JVM, without the
 * JVM's start-up and its scatter of several milliseconds.
 */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

int JNI_CreateJavaVM(void** vm, void** env, void* args) {
    (void)vm;
    (void)env;
    (void)args;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const char* path = getenv("BENCH_CREATE_STAMP");
    if (path != NULL) {
        char line[32];
        int length = snprintf(line, sizeof(line), "%lld\n",
                              (long long)now.tv_sec * 1000000000LL + now.tv_nsec);
        int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            // One write, so a reader never sees half a number.
            ssize_t written = write(fd, line, (size_t)length);
            close(fd);
            _exit(written == length ? 0 : 3);
        }
    }
    _exit(3);
}

/* java looks these up too before it creates the JVM. */
int JNI_GetDefaultJavaVMInitArgs(void* args) {
    (void)args;
    return 0;
}

int JNI_GetCreatedJavaVMs(void** vms, int length, int* count) {
    (void)vms;
    (void)length;
    *count = 0;
    return 0;
}
