/*
 * The floor of the launcher's benchmark: the least work that can host a JVM
 * and run a contract class's start and stop. It loads libjvm.so, creates the
 * JVM, calls the static start(String[]) on a named attached thread, waits for
 * SIGUSR1, calls stop(String[]) on a second named thread, joins both, destroys
 * the JVM and exits 0. Nothing is logged, checked or configured beyond that, so
 * whatever a real host spends above these figures is its own overhead.
 *
 * usage: minihost <path/to/libjvm.so> <package.Class> [jvm options...]
 * The class path comes in as a JVM option (-Djava.class.path=...).
 */
#include <dlfcn.h>
#include <jni.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef jint(JNICALL* CreateJavaVM)(JavaVM**, void**, void*);

static JavaVM* vm;
static char* className;

struct call {
    const char* threadName;
    const char* method;
    pthread_t thread;
};

/* A failure here leaves a Java method half-run; the benchmark run is worthless
   then, so the whole process goes at once with a code of its own. */
static void* callStatic(void* arg) {
    struct call* call = arg;
    JNIEnv* env;
    JavaVMAttachArgs attach = {JNI_VERSION_1_8, (char*)call->threadName, NULL};
    if ((*vm)->AttachCurrentThread(vm, (void**)&env, &attach) != JNI_OK) {
        fprintf(stderr, "minihost: cannot attach %s\n", call->threadName);
        exit(3);
    }
    jclass cls = (*env)->FindClass(env, className);
    jmethodID method =
        cls ? (*env)->GetStaticMethodID(env, cls, call->method, "([Ljava/lang/String;)V") : NULL;
    if (method == NULL) {
        (*env)->ExceptionDescribe(env);
        exit(4);
    }
    jclass stringClass = (*env)->FindClass(env, "java/lang/String");
    jobjectArray args = (*env)->NewObjectArray(env, 0, stringClass, NULL);
    (*env)->CallStaticVoidMethod(env, cls, method, args);
    if ((*env)->ExceptionCheck(env)) {
        (*env)->ExceptionDescribe(env);
        exit(5);
    }
    (*vm)->DetachCurrentThread(vm);
    return NULL;
}

static void spawn(struct call* call) {
    if (pthread_create(&call->thread, NULL, callStatic, call) != 0) {
        fprintf(stderr, "minihost: cannot create %s\n", call->threadName);
        exit(3);
    }
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: minihost <libjvm.so> <package.Class> [jvm options...]\n");
        return 2;
    }
    /* Blocked before any JVM thread exists, so every thread inherits the mask and
       the stop request is taken only by sigwait below. */
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &stopSignals, NULL);

    void* library = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
    if (library == NULL) {
        fprintf(stderr, "minihost: %s\n", dlerror());
        return 1;
    }
    CreateJavaVM create = (CreateJavaVM)dlsym(library, "JNI_CreateJavaVM");
    if (create == NULL) {
        fprintf(stderr, "minihost: no JNI_CreateJavaVM in %s\n", argv[1]);
        return 1;
    }
    int optionCount = argc - 3;
    JavaVMOption* options = calloc(optionCount > 0 ? optionCount : 1, sizeof(JavaVMOption));
    if (options == NULL) {
        return 1;
    }
    for (int i = 0; i < optionCount; ++i) {
        options[i].optionString = argv[3 + i];
    }
    JavaVMInitArgs init = {JNI_VERSION_1_8, optionCount, options, JNI_TRUE};
    JNIEnv* env;
    jint created = create(&vm, (void**)&env, &init);
    if (created != JNI_OK) {
        fprintf(stderr, "minihost: JNI_CreateJavaVM returned %d\n", (int)created);
        return 1;
    }
    className = strdup(argv[2]);
    for (char* p = className; *p; ++p) {
        if (*p == '.') {
            *p = '/';
        }
    }

    struct call start = {"launcher-start-thread", "start", 0};
    spawn(&start);

    int received;
    sigwait(&stopSignals, &received);

    struct call stop = {"launcher-stop-thread", "stop", 0};
    spawn(&stop);
    pthread_join(stop.thread, NULL);
    pthread_join(start.thread, NULL);

    (*vm)->DestroyJavaVM(vm);
    free(options);
    free(className);
    return 0;
}
