// The callback tables, filled at compile time. The managed side finds a function by its position.
#include "exchange/callbacks.h"

const PyObjApiCallbacks m_py_obj_api_callbacks = {
    fn_get_py_none,
    fn_xinc_ref,
    fn_xdec_ref,
};

static const PyReadCallbacks m_py_read_callbacks = {
    fn_read_py_string,    fn_read_py_bool,          fn_read_py_vers_long,     fn_read_py_double,
    fn_read_py_decimal,   fn_read_py_decimal_tuple, fn_read_py_vers_datetime, fn_read_py_vers_date,
    fn_read_py_vers_time, fn_read_py_datetimedelta, fn_read_py_guid,
};

static const PyWriteCallbacks m_py_write_callbacks = {
    fn_write_py_tpo,           fn_write_py_bool,
    fn_write_py_long,          fn_write_py_ulong,
    fn_write_py_longlong,      fn_write_py_ulonglong,
    fn_write_py_double,        fn_write_py_decimal,
    fn_write_py_date_time,     fn_write_py_date_time_offset,
    fn_write_py_datetimedelta, fn_write_py_timezone,
    fn_write_py_guid,          fn_write_py_char,
};

static const PyBufferCallbacks m_py_buffer_callbacks = {
    fn_get_sizeof_py_byffer,
    fn_create_py_byffer,
    fn_read_py_buffer_view,
    fn_release_py_buffer,
};

static const PyTpoApiCallbacks m_py_tpo_api_callbacks = {fn_try_write_py_tpo};

static const PyIterCallbacks m_py_iter_callbacks = {fn_clbk_iter_next};

static const PyUcolCallbacks m_py_ucol_callbacks = {
    fn_clbk_ucol_list_length,       fn_clbk_ucol_list_longlength,
    fn_clbk_ucol_remove_at,         fn_clbk_ucol_clear,
    fn_clbk_ucol_sequence_length,   fn_clbk_ucol_sequence_longlength,
    fn_clbk_ucol_get_enumerator,    fn_clbk_ucol_object_length,
    fn_clbk_ucol_create_fast_list,  fn_clbk_ucol_create_fast_longlist,
    fn_clbk_ucol_get_unicode_bytes,
};

static const PyOlistCallbacks m_py_olist_callbacks = {
    fn_clbk_olist_get_item,
    fn_clbk_olist_set_item,
    fn_clbk_olist_add,
    fn_clbk_olist_insert,
    fn_clbk_olist_remove,
    fn_clbk_olist_contains,
    fn_clbk_olist_index_of,
    fn_clbk_olist_set_fast_item,
    fn_clbk_olist_write_clr_ilist,
    fn_clbk_olist_write_clr_arrlist,
    fn_clbk_olist_write_clr_array,
};

static const PyOseqCallbacks m_py_oseq_callbacks = {
    fn_clbk_oseq_get_item,
    fn_clbk_oseq_contains,
    fn_clbk_oseq_index_of,
};

static const PyRawIoCallbacks m_py_rawio_callbacks = {
    fn_clbk_rawio_write,    fn_clbk_rawio_write_byte, fn_clbk_rawio_read,  fn_clbk_rawio_readbyte,
    fn_clbk_rawio_seek,     fn_clbk_rawio_flush,      fn_clbk_rawio_close, fn_clbk_rawio_readable,
    fn_clbk_rawio_writable, fn_clbk_rawio_seekable,   fn_clbk_rawio_tell,  fn_clbk_rawio_length,
};

const PyStaticCallbacks m_all_py_wrapper_callbacks = {
    &m_py_read_callbacks, &m_py_write_callbacks, &m_py_buffer_callbacks, &m_py_tpo_api_callbacks, &m_py_iter_callbacks,
    &m_py_ucol_callbacks, &m_py_olist_callbacks, &m_py_oseq_callbacks,   &m_py_rawio_callbacks,
};

// The managed side takes untyped, writable pointers and only reads through them.
void** get_py_obj_api_callbacks() {
    return reinterpret_cast<void**>(const_cast<PyObjApiCallbacks*>(&m_py_obj_api_callbacks));
}

void*** get_all_py_wrapper_callbacks() {
    return reinterpret_cast<void***>(const_cast<PyStaticCallbacks*>(&m_all_py_wrapper_callbacks));
}

void*** get_all_pygn_generic_callbacks() {
    return reinterpret_cast<void***>(const_cast<PyGenericCallbacks*>(&m_all_py_generic_callbacks));
}
