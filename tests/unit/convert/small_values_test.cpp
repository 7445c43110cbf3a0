// Guid, version, nullable and by-reference values, and the reference callbacks.
#include "convert/small_values.h"

#include <array>
#include <cstring>
#include <numeric>
#include <random>

#include "bridge_test.h"
#include "convert/scalars.h"
#include "convert/strings.h"

using zelmor::PyRef;

namespace {

class SmallValues : public BridgeTest {};

using Guid = std::array<unsigned char, 16>;

// 00112233-4455-6677-8899-aabbccddeeff with its first three fields in little-endian order.
constexpr Guid kGuid = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

std::string repr_of(const PyRef& object) {
    const PyRef text = PyRef::steal(PyObject_Repr(object.get()));
    return text_of(text.get());
}

TEST_F(SmallValues, AGuidIsInManagedMemoryOrder) {
    const PyRef uuid = evaluate("__import__('uuid').UUID('00112233-4455-6677-8899-aabbccddeeff')");
    Guid guid = {};
    EXPECT_EQ(fn_conv_py_uuid_to_clr_guid(uuid.get(), guid.data()), 1);
    EXPECT_EQ(guid, kGuid);
    guid = {};
    EXPECT_EQ(fn_read_py_guid(uuid.get(), guid.data()), 1);
    EXPECT_EQ(guid, kGuid);
    const PyRef back = PyRef::steal(fn_conv_clr_guid_to_py_uuid(kGuid.data()));
    EXPECT_EQ(repr_of(back), "UUID('00112233-4455-6677-8899-aabbccddeeff')");
}

TEST_F(SmallValues, RandomGuidsComeBackEqual) {
    std::mt19937_64 random(20230606);
    for (int i = 0; i < 300; ++i) {
        Guid guid;
        for (unsigned char& byte : guid) {
            byte = static_cast<unsigned char>(random());
        }
        const PyRef uuid = PyRef::steal(fn_write_py_guid(guid.data()));
        ASSERT_TRUE(uuid);
        Guid back = {};
        ASSERT_EQ(fn_conv_py_uuid_to_clr_guid(uuid.get(), back.data()), 1);
        ASSERT_EQ(back, guid);
    }
}

TEST_F(SmallValues, AGuidFromSomethingElseIsRefused) {
    Guid guid;
    EXPECT_EQ(fn_conv_py_uuid_to_clr_guid(evaluate("'00112233-4455-6677-8899-aabbccddeeff'").get(), guid.data()), 0);
    expect_error(PyExc_TypeError, "can't build Guid from 'str'");
    EXPECT_EQ(fn_conv_py_uuid_to_clr_guid(Py_None, guid.data()), 0);
    expect_error(PyExc_TypeError, "can't build Guid from 'NoneType'");
}

TEST_F(SmallValues, AUuidThatIsNotSixteenBytesFailsInsteadOfBeingReadPastItsEnd) {
    const PyRef names =
        run("import uuid\nclass Short(uuid.UUID):\n    bytes_le = b'abc'\n"
            "class Other(uuid.UUID):\n    bytes_le = 5\n"
            "short, other = Short(int=1), Other(int=1)\n");
    Guid guid = kGuid;
    EXPECT_EQ(fn_conv_py_uuid_to_clr_guid(entry_of(names, "short"), guid.data()), 0);
    expect_error(PyExc_TypeError, "can't build Guid from 'Short'");
    EXPECT_EQ(fn_read_py_guid(entry_of(names, "other"), guid.data()), 0);
    expect_error_of(PyExc_TypeError);
    EXPECT_EQ(guid, kGuid);
}

TEST_F(SmallValues, AUuidOfMoreThanSixteenBytesGivesItsFirstSixteen) {
    const PyRef names =
        run("import uuid\nclass Long(uuid.UUID):\n    bytes_le = bytes(range(16)) + b'and more'\nlong = Long(int=1)\n");
    Guid first;
    std::iota(first.begin(), first.end(), static_cast<unsigned char>(0));
    for (const auto read : {fn_conv_py_uuid_to_clr_guid, fn_read_py_guid}) {
        Guid guid = kGuid;
        EXPECT_EQ(read(entry_of(names, "long"), guid.data()), 1);
        EXPECT_EQ(guid, first);
    }
}

TEST_F(SmallValues, WithoutTheUuidModuleNoGuidIsMade) {
    const PyRef kept = PyRef::steal(PyImport_ImportModule("uuid"));
    PyDict_SetItemString(PyImport_GetModuleDict(), "uuid", Py_None);
    const std::string message =
        "Unable to import the specified module uuid. The module not found or errors occurred while initializing it.";
    Guid guid;
    EXPECT_EQ(fn_conv_py_uuid_to_clr_guid(Py_None, guid.data()), 0);
    expect_error(PyExc_ImportError, message);
    EXPECT_EQ(fn_conv_clr_guid_to_py_uuid(kGuid.data()), nullptr);
    expect_error(PyExc_ImportError, message);
    PyDict_SetItemString(PyImport_GetModuleDict(), "uuid", kept.get());
}

// The version that a tuple gives; count -99 if it was refused.
PySysVersionArg version_of(const char* expression) {
    PySysVersionArg version = {-99, {-1, -1, -1, -1}};
    const PyRef object = evaluate(expression);
    const int result = fn_conv_py_tuple_to_clr_version(object.get(), &version);
    EXPECT_EQ(result == 0, PyErr_Occurred() != nullptr);
    return version;
}

TEST_F(SmallValues, AVersionHasTwoToFourParts) {
    PySysVersionArg version = version_of("(1, 2)");
    EXPECT_EQ(version.count, 2);
    EXPECT_EQ(version.components[0], 1);
    EXPECT_EQ(version.components[1], 2);
    EXPECT_EQ(version.components[2], -1);
    version = version_of("(23, 6, 0, 7)");
    EXPECT_EQ(version.count, 4);
    EXPECT_EQ(version.components[3], 7);
    EXPECT_EQ(version_of("None").count, -1);
}

TEST_F(SmallValues, ABooleanCountsAsAVersionPartAndAPartIsCutTo32Bits) {
    const PySysVersionArg version = version_of("(True, 2**32 + 5, 2**31)");
    EXPECT_EQ(version.count, 3);
    EXPECT_EQ(version.components[0], 1);
    EXPECT_EQ(version.components[1], 5);
    EXPECT_EQ(version.components[2], -2147483647 - 1);
}

TEST_F(SmallValues, AVersionOfTheWrongShapeIsRefused) {
    version_of("(1,)");
    expect_error(PyExc_ValueError, "a version number tuple must contains at least 2 and at most 4 elements (1 given)");
    version_of("()");
    expect_error(PyExc_ValueError, "a version number tuple must contains at least 2 and at most 4 elements (0 given)");
    version_of("(1, 2, 3, 4, 5)");
    expect_error(PyExc_ValueError, "a version number tuple must contains at least 2 and at most 4 elements (5 given)");
    version_of("[1, 2]");
    expect_error(PyExc_TypeError, "a tuple or None is required, not 'list'");
}

TEST_F(SmallValues, AVersionPartOfTheWrongKindIsRefused) {
    version_of("(1, -1)");
    expect_error(PyExc_ValueError, "an element of a version number tuple must be greater or equal zero, not -1");
    version_of("(1, 2.0)");
    expect_error(PyExc_ValueError, "an element of a version number tuple must be integer, not float");
    version_of("(1, 2**64)");
    expect_error_of(PyExc_OverflowError);
}

TEST_F(SmallValues, AManagedVersionIsATuple) {
    EXPECT_EQ(repr_of(PyRef::steal(fn_conv_clr_version_to_py_tuple({2, {1, 2, 3, 4}}))), "(1, 2)");
    EXPECT_EQ(repr_of(PyRef::steal(fn_conv_clr_version_to_py_tuple({4, {23, 6, 0, -1}}))), "(23, 6, 0, -1)");
    const RefCountWatch none(Py_None);
    EXPECT_EQ(fn_conv_clr_version_to_py_tuple({-1, {}}), Py_None);
    EXPECT_EQ(none.change(), 1);
    Py_DECREF(Py_None);
}

TEST_F(SmallValues, ANullableIsNoneOrWhatItsConverterTakes) {
    int value = 0;
    PyNullableArg nullable = {0, zelmor::as_arg_converter(fn_conv_py_long_to_clr_int32), &value};
    EXPECT_EQ(fn_conv_py_nullable_to_clr_nullable(Py_None, &nullable), 1);
    EXPECT_EQ(nullable.has_value, 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(fn_conv_py_nullable_to_clr_nullable(evaluate("5").get(), &nullable), 1);
    EXPECT_EQ(nullable.has_value, 1);
    EXPECT_EQ(value, 5);
}

TEST_F(SmallValues, ANullableFailsInTheWordsOfItsConverter) {
    int value = 0;
    PyNullableArg nullable = {0, zelmor::as_arg_converter(fn_conv_py_long_to_clr_int32), &value};
    EXPECT_EQ(fn_conv_py_nullable_to_clr_nullable(evaluate("'5'").get(), &nullable), 0);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'str'");
    EXPECT_EQ(nullable.has_value, 0);
}

// What a by-reference list lets in: the converted value, or -1 where there was none, or -2 if it was refused.
int incoming(PyObject* list) {
    int value = -1;
    PyParamByRef by_ref = {nullptr, zelmor::as_arg_converter(fn_conv_py_long_to_clr_int32), &value};
    const RefCountWatch count(list);
    const int result = fn_conv_py_parbyref_to_clr_parbyref(list, &by_ref);
    EXPECT_EQ(count.change(), 0);
    if (result == 0) {
        return -2;
    }
    EXPECT_EQ(by_ref.list, list);
    return value;
}

TEST_F(SmallValues, AByReferenceListIsEmptyOrHoldsTheIncomingValue) {
    EXPECT_EQ(incoming(evaluate("[]").get()), -1);
    EXPECT_EQ(incoming(evaluate("[None]").get()), -1);
    EXPECT_EQ(incoming(evaluate("[5]").get()), 5);
    EXPECT_EQ(incoming(evaluate("[6, 'kept']").get()), 6);
}

TEST_F(SmallValues, AByReferenceArgumentIsExactlyAList) {
    EXPECT_EQ(incoming(evaluate("(5,)").get()), -2);
    expect_error(PyExc_TypeError, "argument should be empty list or list contains default value, not 'tuple'");
    EXPECT_EQ(incoming(evaluate("type('Own', (list,), {})()").get()), -2);
    expect_error(PyExc_TypeError, "argument should be empty list or list contains default value, not 'Own'");
    EXPECT_EQ(incoming(evaluate("['5']").get()), -2);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'str'");
}

TEST_F(SmallValues, AnOutValueIsAppendedToAnEmptyListAndReplacesTheFirstOfOthers) {
    const PyRef value = evaluate("'an out value'.upper()");
    const RefCountWatch count(value.get());
    const PyRef empty = evaluate("[]");
    EXPECT_EQ(fn_push_parbyref_outvalue(empty.get(), Py_NewRef(value.get())), 0);
    EXPECT_EQ(repr_of(empty), "['AN OUT VALUE']");
    EXPECT_EQ(count.change(), 1);
    const PyRef two = evaluate("[1, 'kept']");
    EXPECT_EQ(fn_push_parbyref_outvalue(two.get(), Py_NewRef(value.get())), 0);
    EXPECT_EQ(repr_of(two), "['AN OUT VALUE', 'kept']");
    EXPECT_EQ(count.change(), 2);
}

TEST_F(SmallValues, OutValuesThatWereNotPushedAreDroppedAndPushesMadeStay) {
    const PyRef first = evaluate("'the first'.upper()");
    const PyRef second = evaluate("'the second'.upper()");
    const RefCountWatch second_count(second.get());
    const PyRef list = evaluate("[]");
    {
        PyTrPyObjStack<2> values;
        values[0] = Py_NewRef(first.get());
        values[1] = Py_NewRef(second.get());
        EXPECT_EQ(fn_push_parbyref_outvalue(list.get(), values[0]), 0);
        ++values;
    }
    EXPECT_EQ(repr_of(list), "['THE FIRST']");
    EXPECT_EQ(second_count.change(), 0);
}

TEST_F(SmallValues, ReferencesAreTakenAndDropped) {
    const PyRef object = evaluate("'an object'.upper()");
    const RefCountWatch count(object.get());
    fn_xinc_ref(object.get());
    EXPECT_EQ(count.change(), 1);
    fn_xdec_ref(object.get());
    EXPECT_EQ(count.change(), 0);
    fn_xinc_ref(nullptr);
    fn_xdec_ref(nullptr);
    const RefCountWatch none(Py_None);
    EXPECT_EQ(fn_get_py_none(), Py_None);
    EXPECT_EQ(fn_py_return_none(), Py_None);
    EXPECT_EQ(none.change(), 2);
    Py_DECREF(Py_None);
    Py_DECREF(Py_None);
}

}  // namespace
