// The cycle collector: ends managed objects that are held by nothing but each other.
//
// A counted reference ends an object when the last count goes. Objects that hold each other, or themselves, keep their
// counts for ever; the collector finds them. It knows all objects that hold references (they are *tracked*), and takes
// the references between tracked objects off a copy of their counts. What still has a count is held from outside: by a
// handle, a C++ variable, a static property. These objects and all that they lead to stay. The others hold only each
// other: their references are taken out, and they end as any object does.
//
// Tracked objects belong to one of three generations. A run looks at the young ones, which are few, now and then also
// at the middle ones, and at the old ones only when these have doubled: so a run is short however many objects there
// are, and all runs together cost a constant share of making the objects.
//
// A run happens at the end of an entry point, when no function of this thread uses an object any more; the interpreter
// lock is held, and no Python code runs: references to Python objects wait for the end of the entry point, as always.
// Cycles that lead through Python objects are not found: Python's collector cannot see the managed part of them.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_COLLECTOR_H
#define ZELMOR_RUNTIME_NATIVE_CORE_COLLECTOR_H

#include <cstddef>
#include <cstdint>

#include "runtime/native/core/object.h"

namespace zelmor::embed {

class Collector {
 public:
    static constexpr size_t kGenerations = 3;

    // Whether enough objects were made since the last run.
    static bool is_due() noexcept { return due; }
    // The run that is due. Called within an AssemblyScope, which releases the Python objects that were held.
    static void run() noexcept;
    // Looks at all generations up to this one; how many objects it ended. For want of memory it ends none.
    static size_t collect(size_t oldest) noexcept;
    // The number of tracked objects.
    static size_t tracked() noexcept;
    // Whether more references than so many lead to an object.
    static bool has_more_references(const ManagedObject& object, uint32_t than) noexcept {
        return count_of(object) > than;
    }

 private:
    friend class ManagedObject;
    struct Generations;

    static Generations& generations();
    static void add(ManagedObject& object, uint64_t bytes);
    static void remove(const ManagedObject& object) noexcept;
    static uint32_t count_of(const ManagedObject& object) noexcept { return object.m_life.count; }
    static size_t generation_of(const ManagedObject& object) noexcept;
    static void place(ManagedObject& object, size_t generation, size_t position) noexcept;
    static uint32_t position_of(const ManagedObject& object) noexcept { return object.m_position; }

    static constinit bool due;  // as all here, used under the interpreter lock only
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_COLLECTOR_H
