// The tables hold the stated functions at the stated positions, and every slot is filled.
#include <cstdint>
#include <set>

#include "bridge_test.h"
#include "exchange/callbacks.h"

using zelmor::PyRef;

namespace {

class CallbackTables : public BridgeTest {};

// A table as the managed side sees it: pointers by position.
void* slot(void*** tables, size_t table, size_t position) {
    return tables[table][position];
}

template <class Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

constexpr size_t kTableSizes[] = {11, 14, 4, 1, 1, 11, 11, 3, 12};

TEST_F(CallbackTables, EverySlotOfTheNineTablesIsFilled) {
    void*** tables = get_all_py_wrapper_callbacks();
    std::set<void*> seen;
    size_t total = 0;
    for (size_t table = 0; table < std::size(kTableSizes); ++table) {
        ASSERT_NE(tables[table], nullptr) << table;
        for (size_t position = 0; position < kTableSizes[table]; ++position) {
            EXPECT_NE(slot(tables, table, position), nullptr) << table << ", " << position;
            seen.insert(slot(tables, table, position));
            ++total;
        }
    }
    EXPECT_EQ(seen.size(), total) << "a function stands in two slots";
}

TEST_F(CallbackTables, TheObjectTableIsNoneThenIncThenDec) {
    void** table = get_py_obj_api_callbacks();
    EXPECT_EQ(table[0], address(fn_get_py_none));
    EXPECT_EQ(table[1], address(fn_xinc_ref));
    EXPECT_EQ(table[2], address(fn_xdec_ref));
}

TEST_F(CallbackTables, TheReadTableIsInOrderOfTheVariantTags) {
    void** table = get_all_py_wrapper_callbacks()[0];
    void* const expected[] = {
        address(fn_read_py_string),        address(fn_read_py_bool),      address(fn_read_py_vers_long),
        address(fn_read_py_double),        address(fn_read_py_decimal),   address(fn_read_py_decimal_tuple),
        address(fn_read_py_vers_datetime), address(fn_read_py_vers_date), address(fn_read_py_vers_time),
        address(fn_read_py_datetimedelta), address(fn_read_py_guid),
    };
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(table[i], expected[i]) << i;
    }
}

TEST_F(CallbackTables, TheWriteTableIsInOrder) {
    void** table = get_all_py_wrapper_callbacks()[1];
    void* const expected[] = {
        address(fn_write_py_tpo),           address(fn_write_py_bool),
        address(fn_write_py_long),          address(fn_write_py_ulong),
        address(fn_write_py_longlong),      address(fn_write_py_ulonglong),
        address(fn_write_py_double),        address(fn_write_py_decimal),
        address(fn_write_py_date_time),     address(fn_write_py_date_time_offset),
        address(fn_write_py_datetimedelta), address(fn_write_py_timezone),
        address(fn_write_py_guid),          address(fn_write_py_char),
    };
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(table[i], expected[i]) << i;
    }
}

TEST_F(CallbackTables, TheSmallTablesAreInOrder) {
    void*** tables = get_all_py_wrapper_callbacks();
    EXPECT_EQ(slot(tables, 2, 0), address(fn_get_sizeof_py_byffer));
    EXPECT_EQ(slot(tables, 2, 1), address(fn_create_py_byffer));
    EXPECT_EQ(slot(tables, 2, 2), address(fn_read_py_buffer_view));
    EXPECT_EQ(slot(tables, 2, 3), address(fn_release_py_buffer));
    EXPECT_EQ(slot(tables, 3, 0), address(fn_try_write_py_tpo));
    EXPECT_EQ(slot(tables, 4, 0), address(fn_clbk_iter_next));
}

TEST_F(CallbackTables, TheSequenceTablesAreInOrder) {
    void*** tables = get_all_py_wrapper_callbacks();
    void* const ucol[] = {
        address(fn_clbk_ucol_list_length),       address(fn_clbk_ucol_list_longlength),
        address(fn_clbk_ucol_remove_at),         address(fn_clbk_ucol_clear),
        address(fn_clbk_ucol_sequence_length),   address(fn_clbk_ucol_sequence_longlength),
        address(fn_clbk_ucol_get_enumerator),    address(fn_clbk_ucol_object_length),
        address(fn_clbk_ucol_create_fast_list),  address(fn_clbk_ucol_create_fast_longlist),
        address(fn_clbk_ucol_get_unicode_bytes),
    };
    void* const olist[] = {
        address(fn_clbk_olist_get_item),
        address(fn_clbk_olist_set_item),
        address(fn_clbk_olist_add),
        address(fn_clbk_olist_insert),
        address(fn_clbk_olist_remove),
        address(fn_clbk_olist_contains),
        address(fn_clbk_olist_index_of),
        address(fn_clbk_olist_set_fast_item),
        address(fn_clbk_olist_write_clr_ilist),
        address(fn_clbk_olist_write_clr_arrlist),
        address(fn_clbk_olist_write_clr_array),
    };
    void* const oseq[] = {address(fn_clbk_oseq_get_item), address(fn_clbk_oseq_contains),
                          address(fn_clbk_oseq_index_of)};
    for (size_t i = 0; i < std::size(ucol); ++i) {
        EXPECT_EQ(slot(tables, 5, i), ucol[i]) << i;
        EXPECT_EQ(slot(tables, 6, i), olist[i]) << i;
    }
    for (size_t i = 0; i < std::size(oseq); ++i) {
        EXPECT_EQ(slot(tables, 7, i), oseq[i]) << i;
    }
}

TEST_F(CallbackTables, SlotSixOfTheStreamTableCloses) {
    EXPECT_EQ(slot(get_all_py_wrapper_callbacks(), 8, 6), address(fn_clbk_rawio_close));
}

TEST_F(CallbackTables, TheStreamTableIsInOrder) {
    void* const expected[] = {
        address(fn_clbk_rawio_write),    address(fn_clbk_rawio_write_byte), address(fn_clbk_rawio_read),
        address(fn_clbk_rawio_readbyte), address(fn_clbk_rawio_seek),       address(fn_clbk_rawio_flush),
        address(fn_clbk_rawio_close),    address(fn_clbk_rawio_readable),   address(fn_clbk_rawio_writable),
        address(fn_clbk_rawio_seekable), address(fn_clbk_rawio_tell),       address(fn_clbk_rawio_length),
    };
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(slot(get_all_py_wrapper_callbacks(), 8, i), expected[i]) << i;
    }
}

TEST_F(CallbackTables, AManagedBufferTakesEightyBytes) {
    EXPECT_EQ(fn_get_sizeof_py_byffer(), 80u);
}

// The bridge library alone has no typed collections: they come with the catalogue of a module.
TEST_F(CallbackTables, TypedAccessIsRefusedInEverySlotWhereThereAreNoTypedCollections) {
    void*** tables = get_all_pygn_generic_callbacks();
    const PyRef subject = PyRef::steal(PyList_New(0));
    for (size_t i = 0; i < 57; ++i) {
        int64_t out = 0;
        PyObject* owner = nullptr;
        const auto list_get = reinterpret_cast<int (*)(PyObject*, int, void*)>(tables[i][0]);
        EXPECT_EQ(list_get(subject.get(), 0, &out), -1);
        expect_error(PyExc_TypeError, "this module has no typed collections");
        const auto seq_get = reinterpret_cast<int (*)(PyObject*, int, PyObject**, void*)>(tables[i + 57][0]);
        EXPECT_EQ(seq_get(subject.get(), 0, &owner, &out), -1);
        expect_error(PyExc_TypeError, "this module has no typed collections");
        EXPECT_EQ(owner, nullptr);
    }
}

}  // namespace
