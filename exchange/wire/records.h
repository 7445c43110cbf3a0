// The records that cross between this side and the managed side, byte for byte.
//
// This is a wire format against a separately built half: sizes, offsets and value encodings are fixed.
// Nothing here knows Python or the runtime; both halves include this header and nothing else of each other.
// A record is a zeroed local of the caller and lives for one call.
#ifndef ZELMOR_EXCHANGE_WIRE_RECORDS_H
#define ZELMOR_EXCHANGE_WIRE_RECORDS_H

#include <cstddef>
#include <cstdint>

// The interpreter's object, opaque on the managed side.
struct _object;
using PyObject = struct _object;

// A tagged argument or result. Which of the two tag spaces of tags.h applies follows from the declared type.
struct VariantArg {
    int32_t tag;
    void* value;  // a handle, or a borrowed PyObject*, by tag
};
static_assert(sizeof(VariantArg) == 16 && offsetof(VariantArg, value) == 8);

// A view of a Python str in its own storage; `length` counts code points, -1 is a null managed string.
struct PyStringArg {
    int32_t length;
    int32_t char_size;  // 1, 2 or 4 bytes per code point
    const void* data;   // valid for the call only
};
static_assert(sizeof(PyStringArg) == 16 && offsetof(PyStringArg, char_size) == 4 && offsetof(PyStringArg, data) == 8);

// A string view together with the temporary str that it points into, if one had to be made.
struct PyEphStrArg {
    PyStringArg text;
    PyObject* owner;  // a strong reference, or null
};
static_assert(sizeof(PyEphStrArg) == 24 && offsetof(PyEphStrArg, owner) == 16);

// A view of a contiguous buffer; `length` in bytes, -1 is a null managed array.
struct PyBytesArg {
    int32_t acquired;  // 1 once the buffer was taken
    int32_t length;
    void* data;
};
static_assert(sizeof(PyBytesArg) == 16 && offsetof(PyBytesArg, length) == 4 && offsetof(PyBytesArg, data) == 8);

// Out record of a reference result of interface or abstract type.
struct PyObjectOutArg {
    void* handle;     // owned by the receiver; 0 is null
    int64_t type_id;  // key of the run-time managed type
};
static_assert(sizeof(PyObjectOutArg) == 16 && offsetof(PyObjectOutArg, type_id) == 8);

// Out record of a result that is a managed object, a struct, or a Python object that the managed side held.
struct PyCollectionArg {
    int32_t kind;  // CollectionKind of tags.h
    void* value;   // a handle, or a borrowed PyObject* when kind is 2; 0 is null
    int64_t type_id;
};
static_assert(sizeof(PyCollectionArg) == 24 && offsetof(PyCollectionArg, value) == 8 &&
              offsetof(PyCollectionArg, type_id) == 16);

// A System.Version; `count` valid components, 2 to 4, -1 is null.
struct PySysVersionArg {
    int32_t count;
    int32_t components[4];
};
static_assert(sizeof(PySysVersionArg) == 20 && offsetof(PySysVersionArg, components) == 4);

// Value records of the drawing module. The other modules only reserve room for them.
struct ShlColorObject {
    uint32_t argb;        // 0xAARRGGBB
    int16_t known_color;  // 0 where the color has no name
    int16_t state;        // 0 for the empty color
};
static_assert(sizeof(ShlColorObject) == 8);

struct ShlPointFObject {
    double x;
    double y;
};
static_assert(sizeof(ShlPointFObject) == 16);

struct ShlRectangleObject {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
};
static_assert(sizeof(ShlRectangleObject) == 16);

struct ShlRectangleFObject {
    double x;
    double y;
    double width;
    double height;
};
static_assert(sizeof(ShlRectangleFObject) == 32);

#endif  // ZELMOR_EXCHANGE_WIRE_RECORDS_H
