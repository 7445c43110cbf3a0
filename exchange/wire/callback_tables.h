// The callback tables that the module hands to the managed side at start-up: slot order and signatures.
//
// The managed side finds a function by its position: a table has no names, no size and no terminator. A struct here is
// one table, and its members are the slots in order. Both halves use these structs, so that the order is written once.
#ifndef ZELMOR_EXCHANGE_WIRE_CALLBACK_TABLES_H
#define ZELMOR_EXCHANGE_WIRE_CALLBACK_TABLES_H

#include <cstddef>
#include <cstdint>

#include "exchange/wire/records.h"

// Single callbacks, handed over one by one.
using ExceptionCallback = void (*)(PyObject* name, PyObject* detail);  // takes over both references
using CatchAndClearErrorCallback = int (*)(void** owner, PyStringArg* text);
using U16BufferBuilder = void* (*)(const char16_t* chars, int length);
using PyStringBuilder = PyObject* (*)(const char16_t* chars, int length);
using PyBytesBuilder = PyObject* (*)(const char* data, int length);

struct PyObjApiCallbacks {
    PyObject* (*get_none)();
    void (*inc_ref)(PyObject*);
    void (*dec_ref)(PyObject*);
};
static_assert(sizeof(PyObjApiCallbacks) == 3 * sizeof(void*));

// From a Python value to a managed one; the slot is picked by the variant tag.
struct PyReadCallbacks {
    int (*string)(PyObject*, PyStringArg*);
    bool (*boolean)(PyObject*);
    int (*vers_long)(PyObject*, void* out);
    int (*float64)(PyObject*, double*);
    int (*decimal)(PyObject*, unsigned int*);
    int (*decimal_tuple)(PyObject*, unsigned int*);
    int (*vers_datetime)(PyObject*, long*);
    int (*vers_date)(PyObject*, long*);
    int (*vers_time)(PyObject*, long*);
    int (*datetimedelta)(PyObject*, long*);
    int (*guid)(PyObject*, unsigned char*);
};
static_assert(sizeof(PyReadCallbacks) == 11 * sizeof(void*));

// From a managed value to a new Python reference.
struct PyWriteCallbacks {
    PyObject* (*tpo)(void* handle, long type_id);
    PyObject* (*boolean)(int);
    PyObject* (*int32)(int);
    PyObject* (*uint32)(unsigned int);
    PyObject* (*int64)(long);
    PyObject* (*uint64)(unsigned long);
    PyObject* (*float64)(double);
    PyObject* (*decimal)(unsigned int*);
    PyObject* (*date_time)(const long*);
    PyObject* (*date_time_offset)(const long*);
    PyObject* (*datetimedelta)(long);
    PyObject* (*timezone)(const char16_t* name, int length, long offset);
    PyObject* (*guid)(const void*);
    PyObject* (*character)(int);
};
static_assert(sizeof(PyWriteCallbacks) == 14 * sizeof(void*));

struct PyBufferCallbacks {
    size_t (*get_sizeof)();
    void (*create)(void* view);
    int (*read_view)(PyObject*, void* view, PyBytesArg* out);
    void (*release)(void* view);
};
static_assert(sizeof(PyBufferCallbacks) == 4 * sizeof(void*));

struct PyTpoApiCallbacks {
    int (*try_write_tpo)(void* handle, long type_id, PyObject** out);  // 1 written, 0 unknown type, -1 failed
};
static_assert(sizeof(PyTpoApiCallbacks) == 1 * sizeof(void*));

struct PyIterCallbacks {
    int (*next)(PyObject* iterator, PyObject** owner, VariantArg* out);  // 0 element, 1 end, 2 failure
};
static_assert(sizeof(PyIterCallbacks) == 1 * sizeof(void*));

// Operations on Python collections that do not depend on the element.
struct PyUcolCallbacks {
    int (*list_length)(PyObject*);
    long (*list_longlength)(PyObject*);
    int (*remove_at)(PyObject*, int index);
    int (*clear)(PyObject*);
    int (*sequence_length)(PyObject*);
    long (*sequence_longlength)(PyObject*);
    PyObject* (*get_enumerator)(PyObject*);
    int (*object_length)(PyObject*);
    PyObject** (*create_fast_list)(int count, PyObject** list);
    PyObject** (*create_fast_longlist)(long count, PyObject** list);
    int (*get_unicode_bytes)(PyObject*, PyObject** owner, unsigned int* length, void** data);
};
static_assert(sizeof(PyUcolCallbacks) == 11 * sizeof(void*));

// A Python list, element as VariantArg.
struct PyOlistCallbacks {
    int (*get_item)(PyObject*, int index, VariantArg* out);
    int (*set_item)(PyObject*, int index, PyObject* value);
    long (*add)(PyObject*, PyObject* value);
    int (*insert)(PyObject*, int index, PyObject* value);
    int (*remove)(PyObject*, PyObject* value);
    int (*contains)(PyObject*, PyObject* value);
    int (*index_of)(PyObject*, PyObject* value);
    void (*set_fast_item)(PyObject** items, int index, PyObject* value);
    PyObject* (*write_clr_ilist)(void* handle);
    PyObject* (*write_clr_arrlist)(void* handle);
    PyObject* (*write_clr_array)(void* handle);
};
static_assert(sizeof(PyOlistCallbacks) == 11 * sizeof(void*));

// Any Python sequence.
struct PyOseqCallbacks {
    int (*get_item)(PyObject*, int index, VariantArg* out);
    int (*contains)(PyObject*, PyObject* value);
    int (*index_of)(PyObject*, PyObject* value);
};
static_assert(sizeof(PyOseqCallbacks) == 3 * sizeof(void*));

// A Python file behind a managed stream.
struct PyRawIoCallbacks {
    int (*write)(PyObject*, const void* data, int count);
    int (*write_byte)(PyObject*, int value);
    int (*read)(PyObject*, void* data, int count);
    int (*readbyte)(PyObject*);
    long (*seek)(PyObject*, long offset, int origin);
    int (*flush)(PyObject*);
    void (*close)(PyObject*);
    int (*readable)(PyObject*);
    int (*writable)(PyObject*);
    int (*seekable)(PyObject*);
    long (*tell)(PyObject*);
    long (*length)(PyObject*);
};
static_assert(sizeof(PyRawIoCallbacks) == 12 * sizeof(void*));

// The table of tables behind SetPyStaticCallbacks.
struct PyStaticCallbacks {
    const PyReadCallbacks* read;
    const PyWriteCallbacks* write;
    const PyBufferCallbacks* buffer;
    const PyTpoApiCallbacks* tpo_api;
    const PyIterCallbacks* iter;
    const PyUcolCallbacks* ucol;
    const PyOlistCallbacks* olist;
    const PyOseqCallbacks* oseq;
    const PyRawIoCallbacks* rawio;
};
static_assert(sizeof(PyStaticCallbacks) == 9 * sizeof(void*));

// Behind SetPyGenericCallbacks: the one-slot tables of typed list access, then those of typed sequence access,
// both halves in the order of these element identifiers.
constexpr size_t kGenericElementCount = 57;
constexpr const char* kGenericElements[kGenericElementCount] = {
    "6DB53617", "4161C915", "AD9D9BA5", "C63CF845", "0D581152", "793CE1A2", "A29B253A", "5A6B40F1", "0230D20F",
    "5924F2FC", "A139325E", "A57BD1E8", "0938A206", "75054454", "9BE3A030", "2F797332", "DD9A8D00", "11A60AB4",
    "2B0546B4", "B67D0F40", "F421E052", "62797633", "578FF222", "590CE12F", "51D6BEAB", "5A71E0F9", "AD4C5CC9",
    "32726122", "6228A3B1", "B748930C", "C89B66BC", "B3841592", "3814BE29", "4B725488", "79C35D44", "70438DFB",
    "35D0AC00", "D065E58A", "8E76FE13", "8626AC59", "6569C051", "5BCD4B3E", "436B9FB4", "8A028265", "1BA766B5",
    "A2718E40", "A4A29720", "DAF680C1", "E7C32114", "F372CE9B", "CF33F510", "FCB07591", "F25B175D", "CBE911FC",
    "57AC8DC4", "110A8374", "72D20219",
};
constexpr size_t kGenericCallbackCount = 2 * kGenericElementCount;

#endif  // ZELMOR_EXCHANGE_WIRE_CALLBACK_TABLES_H
