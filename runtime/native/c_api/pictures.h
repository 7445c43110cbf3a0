/* The C interface of the embedded runtime's objects: pictures, frames, options, and what else its classes offer.
 *
 * It is for programs that are no Python module, such as the .NET class library. An *entry* is a constructor, method,
 * getter or setter of a class, found by the names of the catalogue. A call takes plain values and gives one, so that
 * every rule of a class stands in one place: its behavior. A *handle* names an object and keeps it alive.
 *
 * Nothing is thrown across the interface. A function that can fail answers 0, or -1 where it has left an error with
 * this thread. Calls may come from any thread; one is answered at a time. While a function of a
 * stream runs, other threads are let in.
 */
#ifndef ZELMOR_RUNTIME_NATIVE_C_API_PICTURES_H
#define ZELMOR_RUNTIME_NATIVE_C_API_PICTURES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The meaning of the fields of a value, by its kind. */
enum zelmor_pictures_kind {
    ZELMOR_PICTURES_NULL = 0,
    ZELMOR_PICTURES_BOOL = 1,       /* word: 0 or 1 */
    ZELMOR_PICTURES_INTEGER = 2,    /* word */
    ZELMOR_PICTURES_UNSIGNED = 3,   /* word, as an unsigned number */
    ZELMOR_PICTURES_REAL = 4,       /* word: the bits of a double */
    ZELMOR_PICTURES_TEXT = 5,       /* data, length: UTF-16 */
    ZELMOR_PICTURES_BYTES = 6,      /* data, length; of a result word: the number that new_bytes() answered */
    ZELMOR_PICTURES_OBJECT = 7,     /* word: a handle; of a result data: the name of the class, length: a number that is
                                       the same for the same object as long as it lives, detail: 1 for a list that can
                                       be copied, 2 for a stream, 3 for a list whose elements the call has changed */
    ZELMOR_PICTURES_STREAM = 8,     /* word: the host's number of the stream */
    ZELMOR_PICTURES_DECIMAL = 9,    /* data: four words of 32 bits */
    ZELMOR_PICTURES_DATE_TIME = 10, /* word: ticks and kind, length: the offset of a local time */
    ZELMOR_PICTURES_DATE_OFFSET = 11, /* word: ticks, length: the offset */
    ZELMOR_PICTURES_TIME_SPAN = 12,   /* word: ticks */
    ZELMOR_PICTURES_GUID = 13,        /* data: 16 bytes */
    ZELMOR_PICTURES_STRUCT = 14,      /* detail: which, data: its fields */
    ZELMOR_PICTURES_NUMBERS = 15, /* a list; detail: its shape, the bytes of a number << 8, and << 16 0 for signed, 1
                                     for unsigned, 2 for floating numbers; data, length */
    ZELMOR_PICTURES_ITEMS = 16,   /* a list; detail: its shape, data, length: values of this structure */
    ZELMOR_PICTURES_ENUM = 17     /* word: the value, data: the name of the enumeration */
};

/* The value types that cross as their fields. */
enum zelmor_pictures_struct {
    ZELMOR_PICTURES_SIZE = 0,        /* int32_t width, height */
    ZELMOR_PICTURES_SIZE_F = 1,      /* float width, height */
    ZELMOR_PICTURES_POINT = 2,       /* int32_t x, y */
    ZELMOR_PICTURES_POINT_F = 3,     /* float x, y */
    ZELMOR_PICTURES_RECTANGLE = 4,   /* int32_t x, y, width, height */
    ZELMOR_PICTURES_RECTANGLE_F = 5, /* float x, y, width, height */
    ZELMOR_PICTURES_COLOR = 6,       /* zelmor_pictures_color */
    ZELMOR_PICTURES_CMYK = 7         /* uint8_t c, m, y, k */
};

/* The shapes of a list. */
enum zelmor_pictures_shape { ZELMOR_PICTURES_ARRAY = 0, ZELMOR_PICTURES_ARRAY_LIST = 1, ZELMOR_PICTURES_LIST = 2 };

/* NOLINTBEGIN(modernize-use-using): C has no other way. */
typedef struct zelmor_pictures_color {
    uint32_t argb;
    int16_t known;        /* the number of a known color, or 0 */
    int16_t state;        /* 0 empty, 1 known, 2 of components, 8 a name without a meaning */
    const uint16_t* name; /* where the state is 8 */
    int64_t length;
} zelmor_pictures_color;

/* What a result points to belongs to this interface and stays until the thread's next call. */
typedef struct zelmor_pictures_value {
    int32_t kind;
    int32_t detail;
    int64_t word;
    const void* data;
    int64_t length;
} zelmor_pictures_value;

typedef struct zelmor_pictures_named {
    const char* name;
    zelmor_pictures_value value;
} zelmor_pictures_named;

/* What the program lends. A function of a stream answers -1 where it has failed, and tells why by error(). Functions
 * that free something, and new_bytes(), call nothing of this interface. */
typedef struct zelmor_pictures_host {
    int32_t (*read)(int64_t stream, void* data, int32_t count);
    int32_t (*write)(int64_t stream, const void* data, int32_t count); /* 0 */
    int64_t (*seek)(int64_t stream, int64_t offset, int32_t origin);   /* the new position */
    int64_t (*length)(int64_t stream);
    int32_t (*set_length)(int64_t stream, int64_t length); /* 0 */
    int32_t (*flush)(int64_t stream);                      /* 0 */
    int32_t (*close)(int64_t stream);                      /* 0 */
    int32_t (*can)(int64_t stream, int32_t what);          /* 0 read, 1 write, 2 seek: 0 or 1 */
    void (*free_stream)(int64_t stream);                   /* nothing here refers to it any more */
    /* Memory for a result of so many bytes, and its number; -1 where there is none. */
    int64_t (*new_bytes)(int32_t length, void** data);
    void (*free_bytes)(int64_t bytes); /* of a result that nobody gets */
    /* The name and the text of the last error of a function above, in this thread. */
    void (*error)(zelmor_pictures_value* name, zelmor_pictures_value* text);
} zelmor_pictures_host;

typedef struct zelmor_pictures_entry zelmor_pictures_entry;
/* NOLINTEND(modernize-use-using) */

/* Has to be the first call, and may be repeated. */
void zelmor_pictures_start(const zelmor_pictures_host* host);

/* The entry of a class with this name, such as ("Zelmor.Imaging.Image", "call_000_Load"), for the rest of the process.
 */
int32_t zelmor_pictures_find(const char* type, const char* name, const zelmor_pictures_entry** entry);

/* Calls it. `self` is the handle of the instance, or 0. An argument that the member writes to gets its new value. One
 * of numbers or items that an object has kept, and any list whose elements the call has changed, becomes that list: its
 * kind is ZELMOR_PICTURES_OBJECT then. */
int32_t zelmor_pictures_call(const zelmor_pictures_entry* entry, int64_t self, zelmor_pictures_value* arguments,
                             int32_t count, zelmor_pictures_value* result);

/* A new object of a class whose stored properties have these values, whatever its constructors are. */
int32_t zelmor_pictures_make(const char* type, const zelmor_pictures_named* properties, int32_t count,
                             zelmor_pictures_value* result);
/* The stored value of a property. */
int32_t zelmor_pictures_stored(int64_t handle, const char* property, zelmor_pictures_value* result);

/* The elements of a list, with its shape and the bytes of a number: as numbers, which stay where they are while the
 * list lives and is not changed, or as items without data, whose elements zelmor_pictures_item() gives. word: whether
 * anything else than the handle refers to the list. */
int32_t zelmor_pictures_elements(int64_t list, zelmor_pictures_value* result);
int32_t zelmor_pictures_item(int64_t list, int64_t index, zelmor_pictures_value* result);

/* The changes of a list. */
enum zelmor_pictures_change {
    ZELMOR_PICTURES_SET = 0,
    ZELMOR_PICTURES_INSERT = 1,
    ZELMOR_PICTURES_REMOVE = 2,
    ZELMOR_PICTURES_REPLACE = 3
};

/* Changes the element at an index; a value of numbers or items takes the place of all elements. */
int32_t zelmor_pictures_change(int64_t list, int32_t what, int64_t index, const zelmor_pictures_value* item);
/* A new list of what an object of any kind that can be iterated has at the moment. */
int32_t zelmor_pictures_enumerate(int64_t handle, zelmor_pictures_value* result);

int32_t zelmor_pictures_text(int64_t handle, zelmor_pictures_value* result);
int32_t zelmor_pictures_equals(int64_t handle, int64_t other, int32_t* equal);
int32_t zelmor_pictures_hash(int64_t handle, int32_t* hash);
int32_t zelmor_pictures_dispose(int64_t handle);
void zelmor_pictures_release(int64_t handle);

/* The error that this thread was left with. */
void zelmor_pictures_error(zelmor_pictures_value* name, zelmor_pictures_value* text);

#ifdef __cplusplus
}
#endif

#endif  // ZELMOR_RUNTIME_NATIVE_C_API_PICTURES_H
