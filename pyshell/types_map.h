// The registry from managed types to Python types, and the result writers that ask it on the managed side's behalf.
//
// Types are known by full managed name from the import on. Run-time type ids, opaque numbers of the managed side, are
// resolved through the name once and remembered.
#ifndef ZELMOR_PYSHELL_TYPES_MAP_H
#define ZELMOR_PYSHELL_TYPES_MAP_H

#include <mutex>
#include <string>
#include <unordered_map>

#include "pyshell/python.h"

class PyWrpTypesMap {
 public:
    PyWrpTypesMap(const PyWrpTypesMap&) = delete;
    PyWrpTypesMap& operator=(const PyWrpTypesMap&) = delete;

    static PyWrpTypesMap* get_instance();

    // Ids that led to a type.
    bool find(long id, PyTypeObject*& out);
    void add(long id, PyTypeObject* type);

    // Ids that were looked at where a declared type stands ready. A null type is a remembered miss.
    bool find_weak(long id, PyTypeObject*& out);
    void add_weak(long id, PyTypeObject* type);

    // Names, "Zelmor.Imaging.Image"; filled during the import and read without a lock.
    bool find(const std::u16string& name, PyTypeObject*& out);
    void add(const std::u16string& name, PyTypeObject* type);

    // Sizes the name map and the map of ids that led to a type.
    void reserve(int count);

 private:
    PyWrpTypesMap() = default;
    ~PyWrpTypesMap() = default;

    std::unordered_map<std::u16string, PyTypeObject*> by_name;
    std::unordered_map<long, PyTypeObject*> by_id;
    std::unordered_map<long, PyTypeObject*> weak_by_id;
    std::mutex by_id_mutex;
    std::mutex weak_by_id_mutex;
};

// The Python type of the run-time managed type, or null. Sets no error of its own; that of a managed side which failed
// to tell the name stands. Does not remember a miss.
PyTypeObject* get_py_type_object_by_obj(void* handle, long type_id);

namespace zelmor {

// As above for a place that has a declared type to fall back on: a type id is asked for by name once at most, and a
// miss is remembered. False if the managed side failed to tell the name, with its error pending.
bool find_type_weakly(void* handle, long type_id, PyTypeObject*& out);

}  // namespace zelmor

// Callbacks of the managed side for an object whose static type says nothing. Both take over the handle.
//
// A new wrapper, or null with TypeError "unknown wrapper type" or the error of a managed side that failed to tell the
// type.
PyObject* fn_write_py_tpo(void* handle, long type_id);
// 1 with `*out` set, 0 for an unknown type with no error, -1 if the wrapping failed or the managed side could not tell
// the type.
int fn_try_write_py_tpo(void* handle, long type_id, PyObject** out);

#endif  // ZELMOR_PYSHELL_TYPES_MAP_H
