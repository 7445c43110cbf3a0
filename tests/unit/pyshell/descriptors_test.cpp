// The four descriptors: lookup by class and by instance, their messages, and their references.
#include "pyshell/descriptors.h"

#include "fixture.h"
#include "pyshell/modules.h"

using zelmor::PyRef;

namespace {

PyObject* last_getter_self = Py_None;

PyObject* get_field(PyObject* self, void* closure) {
    last_getter_self = self;
    return PyUnicode_FromString(static_cast<const char*>(closure));
}

PyObject* get_failing(PyObject*, void*) {
    return PyErr_Format(PyExc_RuntimeError, "no value");
}

PyObject* tell_static(PyObject* self, PyObject*) {
    return Py_BuildValue("(sO)", "static", self != nullptr ? self : Py_None);
}
PyObject* tell_instance(PyObject* self, PyObject*) {
    return Py_BuildValue("(sO)", "instance", self != nullptr ? self : Py_None);
}

char closure_text[] = "a value";
PyGetSetDef field_def = {"empty", get_field, nullptr, nullptr, closure_text};
PyGetSetDef told_field_def = {"told", get_field, nullptr, "what it is", closure_text};
PyGetSetDef failing_field_def = {"failing", get_failing, nullptr, nullptr, nullptr};
PyMethodDef static_ml = {"inflate", tell_static, METH_O | METH_STATIC, nullptr};
PyMethodDef instance_ml = {"inflate", tell_instance, METH_O, nullptr};
PyMethodDef told_ml = {"told", tell_instance, METH_O, "what it does"};

// A heap type, so that references to the owner are counted and freed.
class Descriptors : public PyShellTest {
 protected:
    PyTypeObject* owner() { return reinterpret_cast<PyTypeObject*>(owner_ref.get()); }

    PyRef field(PyGetSetDef& def = field_def) { return PyRef::steal(PyShDescr_NewStaticField(owner(), &def)); }
    PyRef instance_method(PyMethodDef& ml = instance_ml) {
        return PyRef::steal(PyShDescr_NewInstanceMethod(owner(), &ml));
    }
    PyRef static_method(PyMethodDef& ml = static_ml) { return PyRef::steal(PyShDescr_NewStaticMethod(owner(), &ml)); }
    PyRef mixed_method(PyMethodDef& instance = instance_ml) {
        return PyRef::steal(PyShDescr_NewMixedMethod(owner(), &static_ml, &instance));
    }

    // An expression over `d` the descriptor, `T` its owner and `t` an instance of that.
    PyRef on(const PyRef& descriptor, const char* expression) {
        return evaluate(expression, {{"d", descriptor.get()}, {"T", owner_ref.get()}, {"t", instance.get()}});
    }

    std::string repr(const PyRef& descriptor) {
        const PyRef text = PyRef::steal(PyObject_Repr(descriptor.get()));
        return text_of(text.get());
    }

    void store(const char* name, PyRef descriptor) {
        ASSERT_EQ(zelmor::store_static_member(owner(), name, descriptor.release()), 0);
        PyType_Modified(owner());
    }

    PyRef owner_ref = evaluate("type('Rectangle', (), {})");
    PyRef instance = PyRef::steal(PyObject_CallNoArgs(owner_ref.get()));
};

}  // namespace

TEST_F(Descriptors, AFieldAnswersOnTheClassAndOnAnInstanceAlikeAndItsGetterSeesNeither) {
    store("empty", field());
    last_getter_self = Py_None;
    EXPECT_EQ(text_of(on({}, "T.empty").get()), "a value");
    EXPECT_EQ(last_getter_self, nullptr);
    last_getter_self = Py_None;
    EXPECT_EQ(text_of(on({}, "t.empty").get()), "a value");
    EXPECT_EQ(last_getter_self, nullptr);
}

TEST_F(Descriptors, AFailingGetterPropagates) {
    store("failing", field(failing_field_def));
    EXPECT_FALSE(on({}, "T.failing"));
    expect_error(PyExc_RuntimeError, "no value");
}

TEST_F(Descriptors, AFieldGivenByHandNeedsAType) {
    const PyRef descriptor = field();
    EXPECT_FALSE(on(descriptor, "d.__get__(None, 5)"));
    expect_error(PyExc_TypeError, "descriptor 'empty' needs a type, not 'int', as arg 2");
    EXPECT_FALSE(on(descriptor, "d.__get__(t, 5)"));
    expect_error(PyExc_TypeError, "descriptor 'empty' needs a type, not 'int', as arg 2");
    EXPECT_EQ(text_of(on(descriptor, "d.__get__(None, int)").get()), "a value");
    EXPECT_EQ(text_of(on(descriptor, "d.__get__(t)").get()), "a value");
}

TEST_F(Descriptors, AStaticMethodServesAllLookupsWithOneMethodObject) {
    store("inflate", static_method());
    EXPECT_EQ(on({}, "T.inflate is T.inflate and T.inflate is t.inflate").get(), Py_True);
    EXPECT_EQ(text_of(on({}, "T.inflate(1)").get()), "('static', None)");
    EXPECT_EQ(text_of(on({}, "t.inflate(1)").get()), "('static', None)");
}

TEST_F(Descriptors, StaticAndInstanceMethodsShareTheirRepr) {
    EXPECT_EQ(wrpPye_tyds_FFFFFFFF_StaticMethodDescr.tp_repr, wrpPye_tyds_FFFFFFFF_InstanceMethodDescr.tp_repr);
}

TEST_F(Descriptors, AStaticMethodGivenByHandNeedsAType) {
    const PyRef descriptor = static_method();
    EXPECT_FALSE(on(descriptor, "d.__get__(None, 5)"));
    expect_error(PyExc_TypeError, "descriptor 'inflate' needs a type, not 'int', as arg 2");
    EXPECT_EQ(text_of(on(descriptor, "d.__get__(t)(1)").get()), "('static', None)");
}

TEST_F(Descriptors, AnInstanceMethodIsBoundByAnInstanceAndUnboundOnTheClass) {
    store("inflate", instance_method());
    EXPECT_EQ(on({}, "t.inflate(1) == ('instance', t)").get(), Py_True);
    EXPECT_EQ(on({}, "T.inflate(t, 1) == ('instance', t)").get(), Py_True);
    EXPECT_EQ(on({}, "t.inflate is t.inflate").get(), Py_False);
    EXPECT_EQ(on({}, "t.inflate == t.inflate").get(), Py_True);
    EXPECT_FALSE(on({}, "T.inflate()"));
    expect_error(PyExc_TypeError, "unbound method inflate() needs a 'self' argument");
    EXPECT_FALSE(on({}, "T.inflate(5, 1)"));
    expect_error(PyExc_TypeError, "descriptor 'inflate' for 'Rectangle' objects doesn't apply to a 'int' object");
}

TEST_F(Descriptors, AnInstanceMethodRefusesAForeignInstance) {
    const PyRef descriptor = instance_method();
    EXPECT_FALSE(on(descriptor, "d.__get__(5, int)"));
    expect_error(PyExc_TypeError, "descriptor 'inflate' for 'Rectangle' objects doesn't apply to a 'int' object");
    EXPECT_FALSE(on(descriptor, "d.__get__(None, 5)"));
    expect_error(PyExc_TypeError, "descriptor 'inflate' needs a type, not 'int', as arg 2");
}

TEST_F(Descriptors, AMixedMethodIsTheStaticEntryOnTheClassAndTheInstanceEntryOnAnObject) {
    store("inflate", mixed_method());
    EXPECT_EQ(text_of(on({}, "T.inflate(1)").get()), "('static', None)");
    EXPECT_EQ(on({}, "t.inflate(1) == ('instance', t)").get(), Py_True);
    EXPECT_EQ(on({}, "T.inflate is T.inflate").get(), Py_True);
}

TEST_F(Descriptors, AMixedMethodGivenByHandChecksWhatItIsGiven) {
    const PyRef descriptor = mixed_method();
    EXPECT_FALSE(on(descriptor, "d.__get__(None, 5)"));
    expect_error(PyExc_TypeError, "descriptor 'inflate' needs a type, not 'int', as arg 2");
    const PyRef pair = wrap(handle_of(1), &test_struct_type);
    EXPECT_FALSE(evaluate("d.__get__(p, type(p))", {{"d", descriptor.get()}, {"p", pair.get()}}));
    expect_error(PyExc_TypeError,
                 "descriptor 'inflate' for 'Rectangle' objects doesn't apply to a 'zelmor.imaging.Pair' object");
}

TEST_F(Descriptors, InstancesOfDerivedTypesApply) {
    store("inflate", mixed_method());
    EXPECT_EQ(on({}, "type('Derived', (T,), {})().inflate(1)[0]") ? 1 : 0, 1);
}

TEST_F(Descriptors, ReprNamesTheMemberAndItsOwner) {
    EXPECT_EQ(repr(field()), "<attribute 'empty' of 'Rectangle' objects>");
    EXPECT_EQ(repr(instance_method()), "<method 'inflate' of 'Rectangle' objects>");
    EXPECT_EQ(repr(static_method()), "<method 'inflate' of 'Rectangle' objects>");
    EXPECT_EQ(repr(mixed_method(told_ml)), "<method 'told' of 'Rectangle' objects>");
}

TEST_F(Descriptors, ReprUsesTheDottedNameOfAWrapperType) {
    const PyRef descriptor = PyRef::steal(PyShDescr_NewStaticField(&test_struct_type, &field_def));
    EXPECT_EQ(repr(descriptor), "<attribute 'empty' of 'zelmor.imaging.Pair' objects>");
}

TEST_F(Descriptors, DocIsTheTextOfTheEntryOrNone) {
    EXPECT_EQ(on(field(), "d.__doc__").get(), Py_None);
    EXPECT_EQ(on(instance_method(), "d.__doc__").get(), Py_None);
    EXPECT_EQ(on(static_method(), "d.__doc__").get(), Py_None);
    EXPECT_EQ(on(mixed_method(), "d.__doc__").get(), Py_None);
    EXPECT_EQ(text_of(on(field(told_field_def), "d.__doc__").get()), "what it is");
    EXPECT_EQ(text_of(on(instance_method(told_ml), "d.__doc__").get()), "what it does");
    EXPECT_EQ(text_of(on(static_method(told_ml), "d.__doc__").get()), "what it does");
    EXPECT_EQ(text_of(on(mixed_method(told_ml), "d.__doc__").get()), "what it does");
}

TEST_F(Descriptors, EachHoldsItsOwnerAndGivesItBack) {
    const Py_ssize_t references = Py_REFCNT(owner());
    for (int round = 0; round < 3; ++round) {
        const PyRef one = field();
        EXPECT_EQ(Py_REFCNT(owner()), references + 1);
        const PyRef two = instance_method();
        EXPECT_EQ(Py_REFCNT(owner()), references + 2);
        const PyRef three = static_method();  // and its method object
        EXPECT_EQ(Py_REFCNT(owner()), references + 4);
        const PyRef four = mixed_method();
        EXPECT_EQ(Py_REFCNT(owner()), references + 6);
        for (const PyRef* descriptor : {&one, &two, &three, &four}) {
            EXPECT_TRUE(PyObject_GC_IsTracked(descriptor->get()));
            EXPECT_EQ(Py_REFCNT(descriptor->get()), 1);
        }
    }
    EXPECT_EQ(Py_REFCNT(owner()), references);
}

TEST_F(Descriptors, LookupsLeaveNoReferencesBehind) {
    store("empty", field());
    store("inflate", mixed_method());
    const Py_ssize_t of_owner = Py_REFCNT(owner());
    const Py_ssize_t of_instance = Py_REFCNT(instance.get());
    for (const char* lookup : {"T.empty", "t.empty", "T.inflate", "t.inflate", "t.inflate(1)"}) {
        EXPECT_TRUE(on({}, lookup)) << lookup;
    }
    EXPECT_EQ(Py_REFCNT(owner()), of_owner);
    EXPECT_EQ(Py_REFCNT(instance.get()), of_instance);
}

TEST_F(Descriptors, ATypeIsCollectedWithTheDescriptorsThatPointBackToIt) {
    store("empty", field());
    store("inflate", mixed_method());
    store("one", instance_method());
    store("two", static_method());
    const PyRef reference = PyRef::steal(PyWeakref_NewRef(owner_ref.get(), nullptr));
    instance = PyRef();
    owner_ref = PyRef();
    PyGC_Collect();
    EXPECT_EQ(PyWeakref_GetObject(reference.get()), Py_None);
}

TEST_F(Descriptors, NoneCanBeMadeFromPython) {
    for (const PyRef& descriptor : {field(), instance_method(), static_method(), mixed_method()}) {
        const std::string name = Py_TYPE(descriptor.get())->tp_name;
        EXPECT_FALSE(on(descriptor, "type(d)()"));
        expect_error(PyExc_TypeError, "cannot create '" + name + "' instances");
    }
}

TEST_F(Descriptors, TheRecordsHaveTheirNamesAndSizes) {
    const std::vector<std::tuple<PyTypeObject*, const char*, Py_ssize_t>> records = {
        {&wrpPye_tyds_FFFFFFFF_FieldDescr, "zelmor.imaging._FieldDescrType", 32},
        {&wrpPye_tyds_FFFFFFFF_InstanceMethodDescr, "zelmor.imaging._InstanceMethodDescrType", 32},
        {&wrpPye_tyds_FFFFFFFF_StaticMethodDescr, "zelmor.imaging._StaticMethodDescrType", 40},
        {&wrpPye_tyds_FFFFFFFF_MixMethodDescr, "zelmor.imaging._MixMethodDescrType", 40},
    };
    for (const auto& [type, name, size] : records) {
        EXPECT_STREQ(type->tp_name, name);
        EXPECT_EQ(type->tp_basicsize, size);
        EXPECT_EQ(type->tp_descr_set, nullptr);
        EXPECT_EQ(type->tp_clear, nullptr);
        EXPECT_TRUE(type->tp_flags & Py_TPFLAGS_HAVE_GC);
    }
}

// In a process of its own, where nothing has looked up an attribute yet.
TEST_F(Descriptors, AreUsableBeforeTheInterpreterReadiesTheirTypes) {
    const auto exercise = [this] {
        PyTypeObject& type = wrpPye_tyds_FFFFFFFF_InstanceMethodDescr;
        const bool unready = type.tp_dict == nullptr && type.tp_flags == Py_TPFLAGS_HAVE_GC &&
                             wrpPye_tyds_FFFFFFFF_StaticMethodDescr.tp_dict == nullptr;
        store("one", instance_method());
        store("two", static_method());
        const bool works = on({}, "t.one(1)") && on({}, "T.two(1)") && on({}, "repr(T.__dict__['one'])");
        const bool still_unready = type.tp_dict == nullptr;
        const PyRef doc = on({}, "T.__dict__['one'].__doc__");
        std::_Exit(unready && works && still_unready && doc.get() == Py_None && type.tp_dict != nullptr ? 0 : 1);
    };
    EXPECT_EXIT(exercise(), ::testing::ExitedWithCode(0), "");
}
