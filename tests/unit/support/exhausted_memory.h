// The next allocation of the interpreter's object allocator fails, and only that one.
#ifndef ZELMOR_TESTS_UNIT_SUPPORT_EXHAUSTED_MEMORY_H
#define ZELMOR_TESTS_UNIT_SUPPORT_EXHAUSTED_MEMORY_H

#include <utility>

#include "pyshell/python.h"

class ExhaustedMemory {
 public:
    ExhaustedMemory() {
        PyMem_GetAllocator(PYMEM_DOMAIN_OBJ, &m_real);
        PyMemAllocatorEx failing = {this, allocate, allocate_zeroed, reallocate, release};
        PyMem_SetAllocator(PYMEM_DOMAIN_OBJ, &failing);
    }
    ExhaustedMemory(const ExhaustedMemory&) = delete;
    ExhaustedMemory& operator=(const ExhaustedMemory&) = delete;
    ~ExhaustedMemory() { PyMem_SetAllocator(PYMEM_DOMAIN_OBJ, &m_real); }

    bool has_failed() const { return m_failed; }

 private:
    // True for the one request that fails.
    static bool fails(void* context) { return !std::exchange(static_cast<ExhaustedMemory*>(context)->m_failed, true); }
    static PyMemAllocatorEx& real(void* context) { return static_cast<ExhaustedMemory*>(context)->m_real; }

    static void* allocate(void* context, size_t size) {
        return fails(context) ? nullptr : real(context).malloc(real(context).ctx, size);
    }
    static void* allocate_zeroed(void* context, size_t count, size_t size) {
        return fails(context) ? nullptr : real(context).calloc(real(context).ctx, count, size);
    }
    static void* reallocate(void* context, void* block, size_t size) {
        return fails(context) ? nullptr : real(context).realloc(real(context).ctx, block, size);
    }
    static void release(void* context, void* block) { real(context).free(real(context).ctx, block); }

    PyMemAllocatorEx m_real;
    bool m_failed = false;
};

#endif  // ZELMOR_TESTS_UNIT_SUPPORT_EXHAUSTED_MEMORY_H
