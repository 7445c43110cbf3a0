// The method object: its six call forms and its other slots.
#include <bit>

#include "fixture.h"
#include "pyshell/descriptors.h"

using zelmor::PyRef;

namespace {

// Each function shows what it received: (self or None, args, kwargs or None).
PyObject* show(PyObject* self, PyObject* args, PyObject* kwargs) {
    return Py_BuildValue("(OOO)", self != nullptr ? self : Py_None, args != nullptr ? args : Py_None,
                         kwargs != nullptr ? kwargs : Py_None);
}

PyObject* with_args(PyObject* self, PyObject* args, PyObject* kwargs) {
    return show(self, args, kwargs);
}
PyObject* with_one(PyObject* self, PyObject* argument) {
    return show(self, argument, nullptr);
}
PyObject* with_none(PyObject* self, PyObject*) {
    return show(self, nullptr, nullptr);
}

PyCFunction keyword_function = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(with_args));

PyMethodDef args_ml = {"act", keyword_function, METH_VARARGS | METH_KEYWORDS, nullptr};
PyMethodDef one_ml = {"take", with_one, METH_O, nullptr};
PyMethodDef none_ml = {"get_type", with_none, METH_NOARGS, nullptr};
PyMethodDef static_args_ml = {"act", keyword_function, METH_VARARGS | METH_KEYWORDS | METH_STATIC, nullptr};
PyMethodDef static_one_ml = {"_cast_to", with_one, METH_O | METH_STATIC, nullptr};
PyMethodDef static_none_ml = {"_type_of", with_none, METH_NOARGS | METH_STATIC, nullptr};
PyMethodDef documented_ml = {"told", with_one, METH_O, "what it does"};
PyMethodDef empty_doc_ml = {"told", with_one, METH_O, ""};

class MethodObject : public PyShellTest {
 protected:
    PyRef method(PyMethodDef& ml, PyObject* self = nullptr) {
        return PyRef::steal(PyShCMethod_New(&test_class_type, &ml, self));
    }

    // The value of "f(<arguments>)"; `thing` and `other` are at hand.
    PyRef call(const PyRef& function, const std::string& arguments) {
        return evaluate(("f(" + arguments + ")").c_str(), {{"f", function.get()}, {"thing", thing.get()}});
    }

    void expect_refused(const PyRef& function, const std::string& arguments, const std::string& message) {
        EXPECT_FALSE(call(function, arguments)) << arguments;
        expect_error(PyExc_TypeError, message);
    }

    // What the function received.
    PyObject* self_in(const PyRef& shown) { return PyTuple_GetItem(shown.get(), 0); }
    std::string args_in(const PyRef& shown) { return text_of(PyTuple_GetItem(shown.get(), 1)); }
    std::string kwargs_in(const PyRef& shown) { return text_of(PyTuple_GetItem(shown.get(), 2)); }

    PyRef thing = wrap(handle_of(0x31));
};

}  // namespace

TEST_F(MethodObject, HoldsItsOwnerAndItsSelf) {
    const Py_ssize_t owner_references = Py_REFCNT(&test_class_type);
    const Py_ssize_t self_references = Py_REFCNT(thing.get());
    PyRef bound = method(args_ml, thing.get());
    const auto* fields = reinterpret_cast<PyShCMethodObject*>(bound.get());
    EXPECT_EQ(fields->ml, &args_ml);
    EXPECT_EQ(fields->self, thing.get());
    EXPECT_EQ(fields->owner, &test_class_type);
    EXPECT_EQ(fields->weakreflist, nullptr);
    EXPECT_EQ(Py_REFCNT(&test_class_type), owner_references + 1);
    EXPECT_EQ(Py_REFCNT(thing.get()), self_references + 1);
    EXPECT_TRUE(PyObject_GC_IsTracked(bound.get()));
    bound = PyRef();
    EXPECT_EQ(Py_REFCNT(&test_class_type), owner_references);
    EXPECT_EQ(Py_REFCNT(thing.get()), self_references);
}

TEST_F(MethodObject, ABoundCallHandsOnEverythingAsItCame) {
    const PyRef shown = call(method(args_ml, thing.get()), "1, 2, key=3");
    EXPECT_EQ(self_in(shown), thing.get());
    EXPECT_EQ(args_in(shown), "(1, 2)");
    EXPECT_EQ(kwargs_in(shown), "{'key': 3}");
}

TEST_F(MethodObject, AStaticCallGetsNoSelf) {
    EXPECT_EQ(self_in(call(method(static_args_ml), "1")), Py_None);
    EXPECT_EQ(self_in(call(method(static_one_ml), "1")), Py_None);
    EXPECT_EQ(self_in(call(method(static_none_ml), "")), Py_None);
}

TEST_F(MethodObject, ASelfGoesAlongEvenWithAStaticEntry) {
    EXPECT_EQ(self_in(call(method(static_one_ml, thing.get()), "1")), thing.get());
}

TEST_F(MethodObject, ALinkedOneArgumentCallTestsTheCountBeforeTheKeywords) {
    const PyRef cast = method(static_one_ml);
    EXPECT_EQ(args_in(call(cast, "5")), "5");
    EXPECT_EQ(args_in(call(cast, "5, **{}")), "5");
    expect_refused(cast, "", "_cast_to() takes exactly one argument (0 given)");
    expect_refused(cast, "5, 6", "_cast_to() takes exactly one argument (2 given)");
    expect_refused(cast, "5, key=1", "_cast_to() takes no keyword arguments");
    expect_refused(cast, "5, 6, key=1", "_cast_to() takes exactly one argument (2 given)");
}

TEST_F(MethodObject, ALinkedCallWithoutArgumentsRefusesBothKinds) {
    const PyRef get_type = method(none_ml, thing.get());
    EXPECT_EQ(self_in(call(get_type, "")), thing.get());
    expect_refused(get_type, "1", "get_type() takes no arguments (1 given)");
    expect_refused(get_type, "key=1", "get_type() takes no keyword arguments");
    expect_refused(get_type, "1, key=1", "get_type() takes no arguments (1 given)");
}

TEST_F(MethodObject, AnUnboundCallNeedsASelf) {
    for (PyMethodDef* ml : {&args_ml, &one_ml, &none_ml}) {
        const std::string name = ml->ml_name;
        expect_refused(method(*ml), "", "unbound method " + name + "() needs a 'self' argument");
        expect_refused(method(*ml), "key=1", "unbound method " + name + "() needs a 'self' argument");
        expect_refused(method(*ml), "5",
                       "descriptor '" + name + "' for 'zelmor.imaging.Thing' objects doesn't apply to a 'int' object");
    }
}

TEST_F(MethodObject, AnUnboundCallAcceptsADerivedSelf) {
    const PyRef derived = wrap(handle_of(0x32), &test_derived_type);
    const PyRef shown = evaluate("f(derived)", {{"f", method(none_ml).get()}, {"derived", derived.get()}});
    EXPECT_EQ(self_in(shown), derived.get());
}

TEST_F(MethodObject, AnUnboundCallWithArgumentsLosesTheLastPositionalOne) {
    const PyRef act = method(args_ml);
    EXPECT_EQ(args_in(call(act, "thing")), "()");
    EXPECT_EQ(args_in(call(act, "thing, 1")), "()");
    EXPECT_EQ(args_in(call(act, "thing, 1, 2")), "(1,)");
    const PyRef shown = call(act, "thing, 1, 2, 3, key=4");
    EXPECT_EQ(self_in(shown), thing.get());
    EXPECT_EQ(args_in(shown), "(1, 2)");
    EXPECT_EQ(kwargs_in(shown), "{'key': 4}");
}

TEST_F(MethodObject, AnUnboundOneArgumentCallCountsWithoutTheSelf) {
    const PyRef take = method(one_ml);
    const PyRef shown = call(take, "thing, 7");
    EXPECT_EQ(self_in(shown), thing.get());
    EXPECT_EQ(args_in(shown), "7");
    expect_refused(take, "thing", "take() takes exactly one argument (0 given)");
    expect_refused(take, "thing, 1, 2", "take() takes exactly one argument (2 given)");
    expect_refused(take, "thing, 1, key=2", "take() takes no keyword arguments");
    expect_refused(take, "thing, 1, 2, key=2", "take() takes exactly one argument (2 given)");
}

TEST_F(MethodObject, AnUnboundCallWithoutArgumentsCountsWithoutTheSelf) {
    const PyRef get_type = method(none_ml);
    EXPECT_EQ(self_in(call(get_type, "thing")), thing.get());
    expect_refused(get_type, "thing, 1", "get_type() takes no arguments (1 given)");
    expect_refused(get_type, "thing, key=1", "get_type() takes no keyword arguments");
}

TEST_F(MethodObject, CallsLeaveNoReferencesBehind) {
    const PyRef bound = method(args_ml, thing.get());
    const Py_ssize_t references = Py_REFCNT(thing.get());
    call(bound, "thing, 2");
    call(method(args_ml), "thing, thing, 2");
    call(method(one_ml), "thing, thing");
    call(method(none_ml), "thing");
    EXPECT_EQ(Py_REFCNT(thing.get()), references);
}

TEST_F(MethodObject, ReprNamesTheEntryAndTheObject) {
    const PyRef repr = PyRef::steal(PyObject_Repr(method(args_ml, thing.get()).get()));
    const PyRef expected =
        PyRef::steal(PyUnicode_FromFormat("<extension method act of zelmor.imaging.Thing object at %p>", thing.get()));
    EXPECT_EQ(text_of(repr.get()), text_of(expected.get()));
}

TEST_F(MethodObject, ReprOfAStaticOrUnboundMethodNamesTheEntryAndTheOwner) {
    for (PyMethodDef* entry : {&static_one_ml, &one_ml}) {
        const PyRef repr = PyRef::steal(PyObject_Repr(method(*entry).get()));
        EXPECT_EQ(text_of(repr.get()),
                  std::string("<extension method ") + entry->ml_name + " of zelmor.imaging.Thing>");
    }
}

TEST_F(MethodObject, TwoOfTheSameObjectAndEntryAreEqualAndHashAlike) {
    const PyRef one = method(args_ml, thing.get());
    const PyRef other = method(args_ml, thing.get());
    EXPECT_NE(one.get(), other.get());
    EXPECT_EQ(PyObject_RichCompareBool(one.get(), other.get(), Py_EQ), 1);
    EXPECT_EQ(PyObject_RichCompareBool(one.get(), other.get(), Py_NE), 0);
    EXPECT_EQ(PyObject_Hash(one.get()), PyObject_Hash(other.get()));
}

TEST_F(MethodObject, EqualityLooksAtTheFunctionAndNotAtTheEntry) {
    const PyRef one = method(args_ml, thing.get());
    EXPECT_EQ(PyObject_RichCompareBool(one.get(), method(static_args_ml, thing.get()).get(), Py_EQ), 1);
    EXPECT_EQ(PyObject_RichCompareBool(one.get(), method(one_ml, thing.get()).get(), Py_EQ), 0);
}

TEST_F(MethodObject, EqualityLooksAtTheIdentityOfTheSelf) {
    const PyRef twin = wrap(handle_of(0x31));
    ASSERT_EQ(PyObject_RichCompareBool(thing.get(), twin.get(), Py_EQ), 1);
    EXPECT_EQ(PyObject_RichCompareBool(method(args_ml, thing.get()).get(), method(args_ml, twin.get()).get(), Py_EQ),
              0);
}

TEST_F(MethodObject, OtherComparisonsAreLeftToPython) {
    const PyRef one = method(args_ml, thing.get());
    EXPECT_EQ(PyObject_RichCompareBool(one.get(), Py_None, Py_EQ), 0);
    EXPECT_EQ(PyObject_RichCompareBool(one.get(), Py_None, Py_NE), 1);
    EXPECT_FALSE(PyRef::steal(PyObject_RichCompare(one.get(), method(one_ml).get(), Py_LT)));
    EXPECT_EQ(PyErr_ExceptionMatches(PyExc_TypeError), 1);
    PyErr_Clear();
}

TEST_F(MethodObject, TheHashIsThatOfTheTwoWordsRotatedByFourBits) {
    const PyRef bound = method(one_ml, thing.get());
    const auto self = std::rotr(reinterpret_cast<uint64_t>(thing.get()), 4);
    const auto function = std::rotr(reinterpret_cast<uint64_t>(with_one), 4);
    EXPECT_EQ(PyObject_Hash(bound.get()), static_cast<Py_hash_t>(self ^ function));
    EXPECT_EQ(PyObject_Hash(method(static_one_ml).get()), static_cast<Py_hash_t>(function));
}

TEST_F(MethodObject, DocIsTheTextOfTheEntryOrNone) {
    const auto doc = [](const PyRef& object) { return evaluate("m.__doc__", {{"m", object.get()}}); };
    EXPECT_EQ(text_of(doc(method(documented_ml)).get()), "what it does");
    EXPECT_EQ(doc(method(empty_doc_ml)).get(), Py_None);
    EXPECT_EQ(doc(method(one_ml)).get(), Py_None);
}

TEST_F(MethodObject, CanBeWeaklyReferenced) {
    PyRef bound = method(one_ml, thing.get());
    const PyRef reference = PyRef::steal(PyWeakref_NewRef(bound.get(), nullptr));
    ASSERT_TRUE(reference);
    EXPECT_EQ(PyWeakref_GetObject(reference.get()), bound.get());
    bound = PyRef();
    EXPECT_EQ(PyWeakref_GetObject(reference.get()), Py_None);
}

TEST_F(MethodObject, ACycleThroughTheSelfIsCollected) {
    const PyRef type = evaluate("type('Holder', (), {})");
    PyRef holder = PyRef::steal(PyObject_CallNoArgs(type.get()));
    PyRef bound = PyRef::steal(PyShCMethod_New(reinterpret_cast<PyTypeObject*>(type.get()), &one_ml, holder.get()));
    PyObject_SetAttrString(holder.get(), "cycle", bound.get());
    const PyRef reference = PyRef::steal(PyWeakref_NewRef(holder.get(), nullptr));
    bound = PyRef();
    holder = PyRef();
    EXPECT_NE(PyWeakref_GetObject(reference.get()), Py_None);
    PyGC_Collect();
    EXPECT_EQ(PyWeakref_GetObject(reference.get()), Py_None);
}

TEST_F(MethodObject, TheTypeCannotBeInstantiatedFromPython) {
    EXPECT_FALSE(evaluate("type(m)()", {{"m", method(one_ml).get()}}));
    expect_error(PyExc_TypeError, "cannot create 'zelmor.imaging._MethodObjectType' instances");
}

TEST_F(MethodObject, TheRecordHasItsSizesAndNoConstructor) {
    EXPECT_STREQ(wrpPye_tyds_FFFFFFFF_MethodObject.tp_name, "zelmor.imaging._MethodObjectType");
    EXPECT_EQ(wrpPye_tyds_FFFFFFFF_MethodObject.tp_basicsize, 56);
    EXPECT_EQ(wrpPye_tyds_FFFFFFFF_MethodObject.tp_weaklistoffset, 32);
    EXPECT_TRUE(wrpPye_tyds_FFFFFFFF_MethodObject.tp_flags & Py_TPFLAGS_HAVE_GC);
    EXPECT_EQ(wrpPye_tyds_FFFFFFFF_MethodObject.tp_new, nullptr);
    EXPECT_EQ(wrpPye_tyds_FFFFFFFF_MethodObject.tp_descr_get, nullptr);
}

// In a process of its own, where nothing has looked up an attribute yet.
TEST_F(MethodObject, IsUsableBeforeTheInterpreterReadiesItsType) {
    const auto exercise = [this] {
        PyTypeObject& type = wrpPye_tyds_FFFFFFFF_MethodObject;
        const bool unready = type.tp_dict == nullptr && type.tp_flags == Py_TPFLAGS_HAVE_GC;
        const PyRef bound = method(one_ml, thing.get());
        const PyRef shown = call(bound, "1");
        const PyRef repr = PyRef::steal(PyObject_Repr(bound.get()));
        const bool works = shown && repr && PyObject_Hash(bound.get()) != -1 &&
                           PyObject_RichCompareBool(bound.get(), method(one_ml, thing.get()).get(), Py_EQ) == 1;
        const bool still_unready = type.tp_dict == nullptr;
        const PyRef doc = PyRef::steal(PyObject_GetAttrString(bound.get(), "__doc__"));
        std::_Exit(unready && works && still_unready && doc.get() == Py_None && type.tp_dict != nullptr ? 0 : 1);
    };
    EXPECT_EXIT(exercise(), ::testing::ExitedWithCode(0), "");
}
