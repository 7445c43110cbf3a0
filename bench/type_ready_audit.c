// An auditor of the dynamic linker (LD_AUDIT) that stands between extension modules and PyType_Ready: how often they
// call it, and how much processor time goes by in it.
//
// The two figures are kept in the file that the variable TYPE_READY_FILE names, up to date at any time: a process need
// not end in an orderly way. It knows nothing of Python, since a linker's auditor has a C library of its own.
#define _GNU_SOURCE
#include <fcntl.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

struct Figures {
    uint64_t calls;
    uint64_t nanoseconds;
};

static int (*type_ready)(void*);
static struct Figures* figures;

static uint64_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return (uint64_t)time.tv_sec * 1000000000u + (uint64_t)time.tv_nsec;
}

static int timed_type_ready(void* type) {
    uint64_t start = now();
    int result = type_ready(type);
    figures->nanoseconds += now() - start;
    figures->calls++;
    return result;
}

static struct Figures* open_figures(void) {
    const char* path = getenv("TYPE_READY_FILE");
    int file = path ? open(path, O_RDWR | O_CREAT | O_TRUNC, 0600) : -1;
    if (file < 0) {
        return NULL;
    }
    void* memory = MAP_FAILED;
    if (ftruncate(file, sizeof(struct Figures)) == 0) {
        memory = mmap(NULL, sizeof(struct Figures), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    close(file);
    return memory == MAP_FAILED ? NULL : memory;
}

// Without a file to write to it asks not to be used at all.
EXPORT unsigned la_version(unsigned version) {
    figures = open_figures();
    return figures && version >= 1 ? LAV_CURRENT : 0;
}

EXPORT unsigned la_objopen(struct link_map* map, Lmid_t namespace_id, uintptr_t* cookie) {
    (void)map, (void)namespace_id, (void)cookie;
    return LA_FLG_BINDTO | LA_FLG_BINDFROM;
}

EXPORT uintptr_t la_symbind64(Elf64_Sym* symbol, unsigned index, uintptr_t* from, uintptr_t* to, unsigned* flags,
                              const char* name) {
    (void)index, (void)from, (void)to, (void)flags;
    if (strcmp(name, "PyType_Ready") != 0) {
        return symbol->st_value;
    }
    type_ready = (int (*)(void*))symbol->st_value;
    return (uintptr_t)timed_type_ready;
}
