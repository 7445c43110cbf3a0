// Every function that stands in a callback table, and the tables.
//
// The functions are defined in the folders above this one: convert/, pyshell/, streams/ and collections/. They are
// declared here and joined by the linker, so that no header of those folders is needed. Each is described where it is
// defined; the order of the slots is in exchange/wire/callback_tables.h.
//
// Every callback runs on the thread that made the call into managed code. That thread holds the interpreter lock.
#ifndef ZELMOR_EXCHANGE_CALLBACKS_H
#define ZELMOR_EXCHANGE_CALLBACKS_H

#include "exchange/wire/callback_tables.h"

// Single builders.
PyObject* fn_conv_clr_string_to_py_string(const char16_t* units, int count);
PyObject* fn_conv_clr_string_to_py_unraisable(const char16_t* units, int count);
PyObject* fn_conv_clr_bytes_to_py_bytes(const char* data, int length);

// References.
PyObject* fn_get_py_none();
void fn_xinc_ref(PyObject* object);
void fn_xdec_ref(PyObject* object);

// From a Python value to a managed one. The managed side knows the kind by the tag: no type is tested here.
int fn_read_py_string(PyObject* object, PyStringArg* out);
bool fn_read_py_bool(PyObject* object);
int fn_read_py_vers_long(PyObject* object, void* out);
int fn_read_py_double(PyObject* object, double* out);
int fn_read_py_decimal(PyObject* object, unsigned int* out);
int fn_read_py_decimal_tuple(PyObject* object, unsigned int* out);
int fn_read_py_vers_datetime(PyObject* object, long* out);
int fn_read_py_vers_date(PyObject* object, long* out);
int fn_read_py_vers_time(PyObject* object, long* out);
int fn_read_py_datetimedelta(PyObject* object, long* out);
int fn_read_py_guid(PyObject* object, unsigned char* out);

// From a managed value to a new Python reference; null with a Python error set.
PyObject* fn_write_py_tpo(void* handle, long type_id);
PyObject* fn_write_py_bool(int value);
PyObject* fn_write_py_long(int value);
PyObject* fn_write_py_ulong(unsigned int value);
PyObject* fn_write_py_longlong(long value);
PyObject* fn_write_py_ulonglong(unsigned long value);
PyObject* fn_write_py_double(double value);
PyObject* fn_write_py_decimal(unsigned int* words);
PyObject* fn_write_py_date_time(const long* ticks);
PyObject* fn_write_py_date_time_offset(const long* words);
PyObject* fn_write_py_datetimedelta(long ticks);
PyObject* fn_write_py_timezone(const char16_t* name, int length, long offset);
PyObject* fn_write_py_guid(const void* guid);
PyObject* fn_write_py_char(int unit);

// Buffers held in memory of the managed side.
size_t fn_get_sizeof_py_byffer();
void fn_create_py_byffer(void* view);
int fn_read_py_buffer_view(PyObject* object, void* view, PyBytesArg* out);
void fn_release_py_buffer(void* view);

int fn_try_write_py_tpo(void* handle, long type_id, PyObject** out);

int fn_clbk_iter_next(PyObject* iterator, PyObject** owner, VariantArg* out);

// Python collections, whatever the element.
int fn_clbk_ucol_list_length(PyObject* list);
long fn_clbk_ucol_list_longlength(PyObject* list);
int fn_clbk_ucol_remove_at(PyObject* list, int index);
int fn_clbk_ucol_clear(PyObject* object);
int fn_clbk_ucol_sequence_length(PyObject* sequence);
long fn_clbk_ucol_sequence_longlength(PyObject* sequence);
PyObject* fn_clbk_ucol_get_enumerator(PyObject* object);
int fn_clbk_ucol_object_length(PyObject* object);
PyObject** fn_clbk_ucol_create_fast_list(int count, PyObject** list);
PyObject** fn_clbk_ucol_create_fast_longlist(long count, PyObject** list);
int fn_clbk_ucol_get_unicode_bytes(PyObject* object, PyObject** owner, unsigned int* length, void** data);

// Lists with variant elements.
int fn_clbk_olist_get_item(PyObject* list, int index, VariantArg* out);
int fn_clbk_olist_set_item(PyObject* list, int index, PyObject* value);
long fn_clbk_olist_add(PyObject* list, PyObject* value);
int fn_clbk_olist_insert(PyObject* list, int index, PyObject* value);
int fn_clbk_olist_remove(PyObject* list, PyObject* value);
int fn_clbk_olist_contains(PyObject* list, PyObject* value);
int fn_clbk_olist_index_of(PyObject* list, PyObject* value);
void fn_clbk_olist_set_fast_item(PyObject** items, int index, PyObject* value);
PyObject* fn_clbk_olist_write_clr_ilist(void* handle);
PyObject* fn_clbk_olist_write_clr_arrlist(void* handle);
PyObject* fn_clbk_olist_write_clr_array(void* handle);

// Sequences with variant elements.
int fn_clbk_oseq_get_item(PyObject* sequence, int index, VariantArg* out);
int fn_clbk_oseq_contains(PyObject* sequence, PyObject* value);
int fn_clbk_oseq_index_of(PyObject* sequence, PyObject* value);

// A Python file behind a managed stream.
int fn_clbk_rawio_write(PyObject* file, const void* data, int count);
int fn_clbk_rawio_write_byte(PyObject* file, int value);
int fn_clbk_rawio_read(PyObject* file, void* data, int count);
int fn_clbk_rawio_readbyte(PyObject* file);
long fn_clbk_rawio_seek(PyObject* file, long offset, int origin);
int fn_clbk_rawio_flush(PyObject* file);
void fn_clbk_rawio_close(PyObject* file);
int fn_clbk_rawio_readable(PyObject* file);
int fn_clbk_rawio_writable(PyObject* file);
int fn_clbk_rawio_seekable(PyObject* file);
long fn_clbk_rawio_tell(PyObject* file);
long fn_clbk_rawio_length(PyObject* file);

// Tables of one slot each: typed list access in the order of kGenericElements, then typed sequence access.
struct PyGenericCallbacks {
    const void* tables[kGenericCallbackCount];
};

// The tables, and the form in which ExchangeHost hands them over. The generic ones are defined with the typed
// collections of a module; a module without typed collections has those of collections/no_typed_collections.cpp.
extern const PyObjApiCallbacks m_py_obj_api_callbacks;
extern const PyStaticCallbacks m_all_py_wrapper_callbacks;
extern const PyGenericCallbacks m_all_py_generic_callbacks;

void** get_py_obj_api_callbacks();
void*** get_all_py_wrapper_callbacks();
void*** get_all_pygn_generic_callbacks();

#endif  // ZELMOR_EXCHANGE_CALLBACKS_H
