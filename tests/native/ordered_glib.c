// Tells the thread sanitizer of the order that GLib makes between threads.
//
// The image library's threads meet in locks and conditions of GLib, which are made of system calls that the sanitizer
// does not know. Loaded before the interpreter, this library stands in front of these functions: what a thread did
// before it leaves one is done for the thread that comes next.
#include <dlfcn.h>
#include <stdlib.h>

// Of the sanitizer; the header that declares them comes with some compilers only.
void __tsan_acquire(void* address);
void __tsan_release(void* address);

#define EXPORTED __attribute__((visibility("default")))

typedef void Lock(void* lock);
typedef int TryLock(void* lock);
typedef void Wait(void* condition, void* lock);
typedef int WaitUntil(void* condition, void* lock, long until);

// The function of that name in a library that the process has, though maybe not for all to see.
static void* behind(const char* library, const char* name) {
    void* const found = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
    void* const function = found != NULL ? dlsym(found, name) : NULL;
    if (function == NULL) {
        abort();
    }
    return function;
}

// Looked up at the first call, by several threads maybe, which find the same.
#define BEHIND(type, library, name)                             \
    static type* function;                                      \
    type* known = __atomic_load_n(&function, __ATOMIC_RELAXED); \
    if (known == NULL) {                                        \
        known = (type*)behind(library, name);                   \
        __atomic_store_n(&function, known, __ATOMIC_RELAXED);   \
    }
#define GLIB "libglib-2.0.so.0"

EXPORTED void g_mutex_lock(void* lock) {
    BEHIND(Lock, GLIB, "g_mutex_lock")
    known(lock);
    __tsan_acquire(lock);
}
EXPORTED void g_mutex_unlock(void* lock) {
    BEHIND(Lock, GLIB, "g_mutex_unlock")
    __tsan_release(lock);
    known(lock);
}
EXPORTED int g_mutex_trylock(void* lock) {
    BEHIND(TryLock, GLIB, "g_mutex_trylock")
    const int entered = known(lock);
    if (entered) {
        __tsan_acquire(lock);
    }
    return entered;
}
EXPORTED void g_rec_mutex_lock(void* lock) {
    BEHIND(Lock, GLIB, "g_rec_mutex_lock")
    known(lock);
    __tsan_acquire(lock);
}
EXPORTED void g_rec_mutex_unlock(void* lock) {
    BEHIND(Lock, GLIB, "g_rec_mutex_unlock")
    __tsan_release(lock);
    known(lock);
}

// A thread that waits leaves the lock.
EXPORTED void g_cond_wait(void* condition, void* lock) {
    BEHIND(Wait, GLIB, "g_cond_wait")
    __tsan_release(lock);
    known(condition, lock);
    __tsan_acquire(lock);
}
EXPORTED int g_cond_wait_until(void* condition, void* lock, long until) {
    BEHIND(WaitUntil, GLIB, "g_cond_wait_until")
    __tsan_release(lock);
    const int signaled = known(condition, lock, until);
    __tsan_acquire(lock);
    return signaled;
}

// The last reference that goes ends the object, and with it what all holders did.
EXPORTED void g_object_unref(void* object) {
    BEHIND(Lock, "libgobject-2.0.so.0", "g_object_unref")
    __tsan_release(object);
    __tsan_acquire(object);
    known(object);
}
