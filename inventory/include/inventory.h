/* libinventory.so: finds the Java installations of this machine for the launcher.
 *
 * Every call runs on an isolate thread: create one with graal_create_isolate,
 * pass it to the queries, and tear it down when done. An isolate is used by
 * one thread at a time; texts the library returns belong to the isolate and
 * stay valid until its next query or its tear-down. */
#ifndef LAUNCHER_INVENTORY_H
#define LAUNCHER_INVENTORY_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct inventory_isolate inventory_isolate;
typedef struct inventory_isolate_thread inventory_isolate_thread;

/* The environment variable naming extra places to search, separated by ":".
 * Each is a directory of Java homes or a Java home itself. */
#define INVENTORY_JAVA_ROOTS_VARIABLE "LAUNCHER_INVENTORY_JAVA_ROOTS"

/* params: ignored, pass null. isolate: may be null. thread: receives the
 * isolate thread. Returns 0 on success, another value on failure. */
int graal_create_isolate(void* params, inventory_isolate** isolate,
                         inventory_isolate_thread** thread);

/* Returns 0, or another value when thread is not a live isolate thread. */
int graal_tear_down_isolate(inventory_isolate_thread* thread);

/* The best Java home of at least minimalVersion for architecture (x86_64,
 * aarch64, ppc64le, riscv64; amd64 and arm64 are understood too), searching
 * the usual system places, the roots of INVENTORY_JAVA_ROOTS_VARIABLE, and a
 * jre or jdk directory beside or one level above launcherPath's directory.
 * Returns the home's real path; an empty text when nothing suitable exists;
 * null when the search failed (an unknown architecture, a root that cannot be
 * read), with the reason in getLastError. reserved: pass null. */
const char* findJavaComponent(inventory_isolate_thread* thread, int minimalVersion,
                              const char* architecture, const char* launcherPath, void* reserved);

/* The errors of the isolate's last query, empty when there were none. */
const char* getLastError(inventory_isolate_thread* thread);

#ifdef __cplusplus
}
#endif

#endif
