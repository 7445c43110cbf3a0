// Which tag a Python value gets as an argument of managed type `object`.
#include "convert/variant.h"

#include "bridge_test.h"
#include "exchange/wire/tags.h"
#include "test_wrappers.h"

using zelmor::PyRef;

namespace {

class Variants : public BridgeTest {
 protected:
    // A first import makes references of its own, to strings that a test may count.
    void SetUp() override {
        BridgeTest::SetUp();
        ASSERT_TRUE(evaluate("[__import__(name) for name in ('decimal', 'uuid', 'datetime')]"));
    }
};

constexpr int kRefused = -99;

// The tag of a value; the record has to carry the borrowed object itself.
int tag_of(PyObject* object) {
    VariantArg out = {-1, nullptr};
    const RefCountWatch count(object);
    const int result = fn_conv_py_variant_to_clr_variant(object, &out);
    EXPECT_EQ(count.change(), 0);
    if (result == 0) {
        return kRefused;
    }
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out.value, object);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    return out.tag;
}

int tag_of(const char* expression) {
    const PyRef object = evaluate(expression);
    EXPECT_TRUE(object) << expression;
    return tag_of(object.get());
}

int tag_of(const char* statements, const char* name) {
    const PyRef names = run(statements);
    return tag_of(entry_of(names, name));
}

void expect_unknown(int tag) {
    EXPECT_EQ(tag, kRefused);
    expect_error(PyExc_TypeError, "unknown variant type");
}

TEST_F(Variants, NoneIsANullValue) {
    EXPECT_EQ(tag_of(Py_None), kVariantNull);
}

TEST_F(Variants, ABooleanComesBeforeAnInteger) {
    EXPECT_EQ(tag_of(Py_True), kVariantBool);
    EXPECT_EQ(tag_of("1"), kVariantInt);
    EXPECT_EQ(tag_of("2**200"), kVariantInt);
}

TEST_F(Variants, Numbers) {
    EXPECT_EQ(tag_of("1.0"), kVariantFloat);
    EXPECT_EQ(tag_of("type('Own', (float,), {})(1.0)"), kVariantFloat);
    EXPECT_EQ(tag_of("__import__('decimal').Decimal('1.5')"), kVariantDecimal);
}

TEST_F(Variants, ADecimalTupleIsNoTupleButAPlainOneIs) {
    EXPECT_EQ(tag_of("__import__('decimal').Decimal('1.5').as_tuple()"), kVariantDecimalTuple);
    EXPECT_EQ(tag_of("(1, 2)"), kVariantTuple);
    EXPECT_EQ(tag_of("[1, 2]"), kVariantList);
}

TEST_F(Variants, ASubclassOfTupleOrListIsUnknown) {
    expect_unknown(tag_of("__import__('collections').namedtuple('Pair', 'a b')(1, 2)"));
    expect_unknown(tag_of("type('Own', (list,), {})()"));
}

TEST_F(Variants, ADatetimeComesBeforeADate) {
    EXPECT_EQ(tag_of("__import__('datetime').datetime(2023, 6, 1)"), kVariantDateTime);
    EXPECT_EQ(tag_of("__import__('datetime').date(2023, 6, 1)"), kVariantDate);
    EXPECT_EQ(tag_of("__import__('datetime').time(1, 2)"), kVariantTime);
    EXPECT_EQ(tag_of("__import__('datetime').timedelta(1)"), kVariantTimeDelta);
    EXPECT_EQ(tag_of("import datetime\nclass Own(datetime.datetime):\n    pass\nown = Own(2023, 6, 1)\n", "own"),
              kVariantDateTime);
}

TEST_F(Variants, AUuid) {
    EXPECT_EQ(tag_of("__import__('uuid').UUID(int=5)"), kVariantUuid);
}

TEST_F(Variants, AStringAndItsSubclasses) {
    EXPECT_EQ(tag_of("'text'"), kVariantString);
    EXPECT_EQ(tag_of("type('Own', (str,), {})('text')"), kVariantString);
}

TEST_F(Variants, ThreeKindsOfBuffer) {
    EXPECT_EQ(tag_of("b'abc'"), kVariantBuffer);
    EXPECT_EQ(tag_of("bytearray(b'abc')"), kVariantBuffer);
    EXPECT_EQ(tag_of("memoryview(b'abc')"), kVariantBuffer);
    EXPECT_EQ(tag_of("type('Own', (bytes,), {})(b'abc')"), kVariantBuffer);
    EXPECT_EQ(tag_of("type('Own', (bytearray,), {})(b'abc')"), kVariantBuffer);
}

TEST_F(Variants, OtherExportersAndContainersAreUnknown) {
    expect_unknown(tag_of("__import__('array').array('i', [1])"));
    expect_unknown(tag_of("{1}"));
    expect_unknown(tag_of("{1: 2}"));
    expect_unknown(tag_of("1j"));
    expect_unknown(tag_of("object()"));
    expect_unknown(tag_of("int"));
    expect_unknown(tag_of("(x for x in ())"));
}

TEST_F(Variants, AnIntegerSubclassIsUnknownAndSoIsAnEnumMember) {
    expect_unknown(tag_of("type('Own', (int,), {})(5)"));
    expect_unknown(tag_of("import enum\nclass Color(enum.IntEnum):\n    RED = 1\nred = Color.RED\n", "red"));
}

TEST_F(Variants, AWrapperGivesItsHandleByKind) {
    int target = 0;
    const struct {
        PyTypeObject* type;
        int tag;
    } cases[] = {
        {class_wrapper_type(), kVariantObject},
        {struct_wrapper_type(), kVariantStruct},
        {sibling_class_type(), kVariantObject},
        {sibling_struct_type(), kVariantStruct},
    };
    for (const auto& test : cases) {
        const Wrapper wrapper(test.type, &target);
        const RefCountWatch count(wrapper.get());
        VariantArg out = {};
        EXPECT_EQ(fn_conv_py_variant_to_clr_variant(wrapper.get(), &out), 1) << test.type->tp_name;
        EXPECT_EQ(out.tag, test.tag) << test.type->tp_name;
        EXPECT_EQ(out.value, &target) << test.type->tp_name;
        EXPECT_EQ(count.change(), 0);
    }
}

TEST_F(Variants, AWrapperWithoutAHandleIsUnknown) {
    for (PyTypeObject* type : {class_wrapper_type(), struct_wrapper_type(), sibling_class_type()}) {
        const Wrapper wrapper(type, nullptr);
        VariantArg out = {};
        EXPECT_EQ(fn_conv_py_variant_to_clr_variant(wrapper.get(), &out), 0);
        expect_error(PyExc_TypeError, "unknown variant type");
    }
}

TEST_F(Variants, AFailedInstanceTestCountsAsAMatchAndLeavesItsError) {
    const PyRef names =
        run("class Odd:\n    @property\n    def __class__(self): raise KeyError('no class')\nodd = Odd()\n");
    VariantArg out = {};
    EXPECT_EQ(fn_conv_py_variant_to_clr_variant(entry_of(names, "odd"), &out), 1);
    EXPECT_EQ(out.tag, kVariantDecimalTuple);
    expect_error(PyExc_KeyError, "'no class'");
}

TEST_F(Variants, AFailedIntegerTestCountsAsAnIntegerAndLeavesItsError) {
    const PyRef names =
        run("import sys, enum\nkept = sys.modules['enum']\nsys.modules['enum'] = None\n"
            "class Own(int):\n    pass\nown = Own(5)\n");
    VariantArg out = {};
    EXPECT_EQ(fn_conv_py_variant_to_clr_variant(entry_of(names, "own"), &out), 1);
    EXPECT_EQ(out.tag, kVariantInt);
    expect_error_of(PyExc_ImportError);
    PyDict_SetItemString(PyImport_GetModuleDict(), "enum", entry_of(names, "kept"));
}

TEST_F(Variants, WithoutTheLibraryModulesWhatComesBehindThemFails) {
    for (const char* module : {"decimal", "uuid"}) {
        const PyRef kept = PyRef::steal(PyImport_ImportModule(module));
        PyDict_SetItemString(PyImport_GetModuleDict(), module, Py_None);
        VariantArg out = {};
        const PyRef text = evaluate("'text'");
        EXPECT_EQ(fn_conv_py_variant_to_clr_variant(text.get(), &out), 0);
        expect_error(PyExc_ImportError, std::string("Unable to import the specified module ") + module +
                                            ". The module not found or errors occurred while initializing it.");
        // What comes before them does not.
        EXPECT_EQ(tag_of("1.5"), kVariantFloat);
        EXPECT_EQ(tag_of(Py_None), kVariantNull);
        PyDict_SetItemString(PyImport_GetModuleDict(), module, kept.get());
    }
}

}  // namespace
