// What a collection or stream parameter takes, and how it goes over.
#include "collections/interop.h"
#include "exchange/wire/tags.h"
#include "in_child.h"
#include "interop_runtime.h"

using zelmor::PyRef;

namespace {

class Parameters : public InteropTest {};

using Converter = int (*)(PyObject*, VariantArg*);

struct Parameter {
    const char* what;  // in the message
    Converter convert;
    PyTypeObject* type;
};

const Parameter kArray = {"Array", wrpPye_conv_py_to_clr_array, &wrpPye_tyds_FFFFFFFF_ArrayWrapper};
const Parameter kArrList = {"ArrayList", wrpPye_conv_py_to_clr_arrlist, &wrpPye_tyds_FFFFFFFF_ArrListWrapper};
const Parameter kColBase = {"CollectionBase", wrpPye_conv_py_to_clr_colbase, &wrpPye_tyds_FFFFFFFF_ColBaseWrapper};
const Parameter kRoColBase = {"ReadOnlyCollectionBase", wrpPye_conv_py_to_clr_rocolbase,
                              &wrpPye_tyds_FFFFFFFF_RoColBaseWrapper};
const Parameter kList = {"List", wrpPye_conv_py_to_clr_ilist, &wrpPye_tyds_FFFFFFFF_IListWrapper};
const Parameter kCollection = {"List", wrpPye_conv_py_to_clr_icollection, &wrpPye_tyds_FFFFFFFF_IColWrapper};
const Parameter kIterable = {"IEnumerable", wrpPye_conv_py_to_clr_iterable, &wrpPye_tyds_FFFFFFFF_IterableWrapper};
const Parameter kIter = {"IEnumerator", wrpPye_conv_py_to_clr_iter, &wrpPye_tyds_FFFFFFFF_IterWrapper};
const Parameter kDisposable = {"IDisposable", wrpPye_conv_py_to_clr_idisposable,
                               &wrpPye_tyds_FFFFFFFF_IDisposableWrapper};

const std::vector<Parameter> kClasses = {kArray, kArrList, kColBase, kRoColBase};
const std::vector<Parameter> kInterfaces = {kList, kCollection, kIterable, kIter, kDisposable};
const std::vector<Parameter> kAll = {kArray,      kArrList,  kColBase, kRoColBase, kList,
                                     kCollection, kIterable, kIter,    kDisposable};

constexpr int kRefused = -1;

// The tag that an object goes over with; `value` is compared with what stands in the record.
int tag_of(const Parameter& parameter, PyObject* object, void* value) {
    VariantArg out = {7, pointer(7)};
    const RefCountWatch count(object);
    const int result = parameter.convert(object, &out);
    EXPECT_EQ(count.change(), 0) << parameter.what;
    if (result == 0) {
        return kRefused;
    }
    EXPECT_EQ(result, 1) << parameter.what;
    EXPECT_EQ(out.value, value) << parameter.what;
    return out.tag;
}

void expect_refused(const Parameter& parameter, PyObject* object) {
    EXPECT_EQ(tag_of(parameter, object, nullptr), kRefused);
    expect_error(PyExc_TypeError,
                 std::string("can't build ") + parameter.what + " value from '" + Py_TYPE(object)->tp_name + "'");
}

TEST_F(Parameters, NoneIsANullHandle) {
    for (const Parameter& parameter : kAll) {
        EXPECT_EQ(tag_of(parameter, Py_None, nullptr), kHandleObject) << parameter.what;
    }
}

TEST_F(Parameters, TheKindsOwnWrapperGivesItsHandleUnasked) {
    for (const Parameter& parameter : kAll) {
        const PyRef wrapper = wrap(pointer(3), parameter.type);
        EXPECT_EQ(tag_of(parameter, wrapper.get(), pointer(3)), kHandleObject) << parameter.what;
    }
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(Parameters, ATypedArrayPassesAsAnArray) {
    const PyRef typed = wrap(pointer(4), &array_subtype);
    EXPECT_EQ(tag_of(kArray, typed.get(), pointer(4)), kHandleObject);
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(Parameters, AMarkedClassPassesAsItsInterfacesUnasked) {
    const PyRef marked = wrap(pointer(5), &disposable_class_type);
    for (const Parameter& parameter : kInterfaces) {
        EXPECT_EQ(tag_of(parameter, marked.get(), pointer(5)), kHandleObject) << parameter.what;
    }
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(Parameters, AnyOtherWrapperPassesIfTheManagedSideAgrees) {
    const PyRef thing = wrap(pointer(6), &other_class_type);
    const PyRef pair = wrap(pointer(7), &other_struct_type);
    for (const Parameter& parameter : kClasses) {
        script = {};
        EXPECT_EQ(tag_of(parameter, thing.get(), pointer(6)), kHandleObject) << parameter.what;
        EXPECT_EQ(script.handle, pointer(6));
        script = {.assignable = 0};
        expect_refused(parameter, thing.get());
        script = {};
        expect_refused(parameter, pair.get());
        EXPECT_TRUE(script.calls.empty());
    }
    for (const Parameter& parameter : kInterfaces) {
        script = {};
        EXPECT_EQ(tag_of(parameter, thing.get(), pointer(6)), kHandleObject) << parameter.what;
        EXPECT_EQ(script.value.value, pointer(6));
        EXPECT_EQ(tag_of(parameter, pair.get(), pointer(7)), kHandleStruct) << parameter.what;
        EXPECT_EQ(script.value.tag, 1);
        script = {.assignable = 0};
        expect_refused(parameter, thing.get());
    }
}

TEST_F(Parameters, ListsAndSequencesGoByReference) {
    const PyRef list = evaluate("[1]");
    const PyRef own_list = evaluate("type('Own', (list,), {})()");
    const PyRef tuple = evaluate("(1,)");
    const PyRef text = evaluate("'text'");
    for (const Parameter& parameter : {kArray, kArrList, kColBase, kRoColBase, kList}) {
        EXPECT_EQ(tag_of(parameter, list.get(), list.get()), kHandlePyObject) << parameter.what;
        EXPECT_EQ(tag_of(parameter, own_list.get(), own_list.get()), kHandlePyObject);
        EXPECT_EQ(tag_of(parameter, tuple.get(), tuple.get()), kHandlePySequence);
        EXPECT_EQ(tag_of(parameter, text.get(), text.get()), kHandlePySequence);
        expect_refused(parameter, evaluate("(x for x in ())").get());
        expect_refused(parameter, evaluate("{1: 2}").get());
        expect_refused(parameter, evaluate("{1}").get());
        expect_refused(parameter, evaluate("5").get());
    }
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(Parameters, ACollectionHasALengthAndAnIterator) {
    for (const char* expression : {"[1]", "(1,)", "{1: 2}", "{1}", "'text'", "range(3)"}) {
        const PyRef object = evaluate(expression);
        EXPECT_EQ(tag_of(kCollection, object.get(), object.get()), kHandlePyObject) << expression;
    }
    expect_refused(kCollection, evaluate("(x for x in ())").get());
    expect_refused(kCollection, evaluate("5").get());
}

TEST_F(Parameters, AnEnumerableHasAnIterator) {
    const PyRef names = run("class Indexed:\n    def __getitem__(self, i): return i\nindexed = Indexed()\n");
    EXPECT_EQ(tag_of(kIterable, entry_of(names, "indexed"), entry_of(names, "indexed")), kHandlePyObject);
    const PyRef generator = evaluate("(x for x in ())");
    EXPECT_EQ(tag_of(kIterable, generator.get(), generator.get()), kHandlePyObject);
    expect_refused(kIterable, evaluate("5").get());
}

TEST_F(Parameters, AnEnumeratorIsAnIterator) {
    const PyRef generator = evaluate("(x for x in ())");
    EXPECT_EQ(tag_of(kIter, generator.get(), generator.get()), kHandlePyObject);
    expect_refused(kIter, evaluate("[1]").get());
}

TEST_F(Parameters, ADisposableIsNothingButAWrapper) {
    expect_refused(kDisposable, evaluate("[1]").get());
    expect_refused(kDisposable, evaluate("__import__('io').BytesIO()").get());
}

void an_invalid_host_is_told_before_the_managed_question() {
    prepare_interop();
    runtime.missing = {{"btp_CastAs", 2}};
    const PyRef thing = wrap(pointer(6), &other_class_type);
    VariantArg out = {};
    CHILD_CHECK(wrpPye_conv_py_to_clr_array(thing.get(), &out) == 0);
    CHILD_CHECK(text_of(take_error().get()).ends_with("Method 'btp_CastAs' not found (error=2)"));
    CHILD_CHECK(wrpPye_conv_py_to_clr_stream(thing.get(), &out) == 0);
    CHILD_CHECK(text_of(take_error().get()).ends_with("Method 'btp_CastAs' not found (error=2)"));
    CHILD_CHECK(script.calls.empty());
    // What needs no managed answer passes.
    CHILD_CHECK(wrpPye_conv_py_to_clr_array(Py_None, &out) == 1);
    const PyRef list = evaluate("[1]");
    CHILD_CHECK(wrpPye_conv_py_to_clr_array(list.get(), &out) == 1);
}

TEST_F(Parameters, AnInvalidHostIsToldBeforeTheManagedQuestion) {
    RUN_IN_CHILD(an_invalid_host_is_told_before_the_managed_question);
}

// Streams. The module of the in-memory stream is made up for the test.
class StreamParameters : public InteropTest {
 protected:
    void SetUp() override {
        InteropTest::SetUp();
        m_names =
            run("import sys, types\npycore = types.ModuleType('zelmor.pycore')\n"
                "class BytesAsStream:\n    pass\npycore.BytesAsStream = BytesAsStream\n"
                "sys.modules['zelmor'] = types.ModuleType('zelmor')\nsys.modules['zelmor.pycore'] = pycore\n"
                "in_memory = BytesAsStream()\n");
    }
    void TearDown() override {
        run("import sys\ndel sys.modules['zelmor'], sys.modules['zelmor.pycore']\n");
        InteropTest::TearDown();
    }
    PyRef m_names;
};

const Parameter kStream = {"Stream", wrpPye_conv_py_to_clr_stream, &wrpPye_tyds_FFFFFFFF_StreamWrapper};

void expect_no_stream(PyObject* object) {
    EXPECT_EQ(tag_of(kStream, object, nullptr), kRefused);
    expect_error(PyExc_TypeError, std::string("can't build Stream from '") + Py_TYPE(object)->tp_name + "'");
}

TEST_F(StreamParameters, NoneIsANullStream) {
    EXPECT_EQ(tag_of(kStream, Py_None, nullptr), kHandleObject);
}

TEST_F(StreamParameters, AManagedStreamGivesItsHandle) {
    const PyRef stream = wrap(pointer(8), &wrpPye_tyds_FFFFFFFF_StreamWrapper);
    EXPECT_EQ(tag_of(kStream, stream.get(), pointer(8)), kHandleObject);
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(StreamParameters, AnyOtherClassWrapperPassesIfTheManagedSideAgrees) {
    const PyRef thing = wrap(pointer(9), &other_class_type);
    EXPECT_EQ(tag_of(kStream, thing.get(), pointer(9)), kHandleObject);
    EXPECT_EQ(script.handle, pointer(9));
    script.assignable = 0;
    expect_no_stream(thing.get());
}

TEST_F(StreamParameters, BinaryFilesGoByReference) {
    const PyRef names = run("import io\nbuffered = io.BytesIO(b'abc')\nraw = io.FileIO('/dev/null')\n");
    for (const char* name : {"buffered", "raw"}) {
        EXPECT_EQ(tag_of(kStream, entry_of(names, name), entry_of(names, name)), kHandlePyObject) << name;
    }
    PyObject* in_memory = entry_of(m_names, "in_memory");
    EXPECT_EQ(tag_of(kStream, in_memory, in_memory), kHandlePyObject);
    run("pass");
    const PyRef closed = PyRef::steal(PyObject_CallMethod(entry_of(names, "raw"), "close", nullptr));
    EXPECT_TRUE(closed);
}

TEST_F(StreamParameters, TextFilesAndObjectsThatMerelyReadAreRefused) {
    const PyRef names =
        run("import io\ntext = io.StringIO('abc')\nclass Reads:\n    def read(self, size=-1): return b''\n"
            "reads = Reads()\n");
    expect_no_stream(entry_of(names, "text"));
    expect_no_stream(entry_of(names, "reads"));
}

TEST_F(StreamParameters, AModuleThatCannotBeImportedFailsTheConversion) {
    PyDict_SetItemString(PyImport_GetModuleDict(), "zelmor.pycore", Py_None);
    VariantArg out = {};
    EXPECT_EQ(wrpPye_conv_py_to_clr_stream(evaluate("5").get(), &out), 0);
    expect_error(PyExc_ImportError,
                 "Unable to import the specified module zelmor.pycore. The module not found or errors occurred while "
                 "initializing it.");
}

}  // namespace
