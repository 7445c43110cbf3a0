// Construction by array beside `type.__call__`: the same instances, the same exceptions in the same words, the same
// converters run in the same order, whichever way a call comes.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "fixture.h"
#include "pyshell/class_recipe.h"
#include "pyshell/overload.h"

using zelmor::CallArguments;
using zelmor::PyRef;

namespace {

// What a converter was called with, and what became of the guard and the instances.
std::vector<std::string> journal;
bool refused_by_guard = false;

int guard() {
    journal.emplace_back("guard");
    if (refused_by_guard) {
        PyErr_SetString(PyExc_TypeError, "not initialized");
        return 1;
    }
    return 0;
}

// A number is taken, a text is refused with it as the message, None is refused without a word, True interrupts.
int convert(PyObject* value, long* slot) {
    journal.push_back(text_of(value));
    if (value == Py_None) {
        return 0;
    }
    if (value == Py_True) {
        PyErr_SetNone(PyExc_KeyboardInterrupt);
        return 0;
    }
    if (PyUnicode_Check(value)) {
        PyErr_SetObject(PyExc_ValueError, value);
        return 0;
    }
    *slot = PyLong_AsLong(value);
    return static_cast<int>(*slot != -1 || PyErr_Occurred() == nullptr);
}

void note_instance(PyObject* self, const char* overload, long first, long second) {
    journal.push_back(std::string(overload) + " " + std::to_string(first) + " " + std::to_string(second));
    zelmor::set_handle(self, nullptr);
}

int take_two(PyObject* self, const CallArguments& arguments, PyObject** error_slot) {
    long first{};
    long second{};
    static const char* const kKeywords[] = {"first", "second", nullptr};
    const zelmor::Reader readers[] = {zelmor::reader(&convert, &first), zelmor::reader(&convert, &second)};
    if (!zelmor::parse_overload(arguments, kKeywords, readers, error_slot)) {
        return -1;
    }
    note_instance(self, "two", first, second);
    if (second == 13) {
        PyErr_SetString(PyExc_RuntimeError, "the managed side raised");
    }
    return PyErr_Occurred() != nullptr ? -1 : 0;
}

int take_one(PyObject* self, const CallArguments& arguments, PyObject** error_slot) {
    long only{};
    static const char* const kKeywords[] = {"only", nullptr};
    const zelmor::Reader readers[] = {zelmor::reader(&convert, &only)};
    if (!zelmor::parse_overload(arguments, kKeywords, readers, error_slot)) {
        return -1;
    }
    note_instance(self, "one", only, 0);
    return 0;
}

int take_none(PyObject* self, const CallArguments& arguments, PyObject** error_slot) {
    if (!zelmor::parse_no_arguments(arguments, error_slot)) {
        return -1;
    }
    note_instance(self, "none", 0, 0);
    return 0;
}

int construct_overloaded(PyObject* self, const CallArguments& arguments) {
    return zelmor::dispatch<&take_two, &take_one, &take_none>(self, arguments);
}

int construct_single(PyObject* self, const CallArguments& arguments) {
    long a{};
    long b{};
    long c{};
    static const char* const kKeywords[] = {"a", "b", "c", nullptr};
    const zelmor::Reader readers[] = {zelmor::reader(&convert, &a), zelmor::reader(&convert, &b),
                                      zelmor::reader(&convert, &c)};
    if (!zelmor::parse_arguments(arguments, kKeywords, readers)) {
        return -1;
    }
    note_instance(self, "single", a, b * 1000 + c);
    return 0;
}

PyObject* guarded_new(PyTypeObject* type, PyObject*, PyObject*) {
    return guard() != 0 ? nullptr : zelmor::make_empty_wrapper(type);
}

// The literal recipe, as it would be written for one type by hand.
bool parse_literally(PyObject* args, PyObject* kwargs, const char* format, std::vector<const char*> names, long* slots,
                     PyObject** error) {
    names.push_back(nullptr);
    if (PyArg_ParseTupleAndKeywords(args, kwargs, format, const_cast<char**>(names.data()), &convert, slots, &convert,
                                    slots + 1, &convert, slots + 2) != 0) {
        return true;
    }
    if (error != nullptr) {
        zelmor::keep_parse_error(error);
    }
    return false;
}

int init_overloaded(PyObject* self, PyObject* args, PyObject* kwargs) {
    struct Way {
        const char* name;
        const char* format;
        std::vector<const char*> keywords;
    };
    const Way ways[] = {{"two", "O&O&", {"first", "second"}}, {"one", "O&", {"only"}}, {"none", "", {}}};
    PyObject* errors[3] = {};
    for (size_t i = 0; i < 3; ++i) {
        long slots[3] = {};
        const bool parsed = parse_literally(args, kwargs, ways[i].format, ways[i].keywords, slots, &errors[i]);
        if (parsed) {
            note_instance(self, ways[i].name, slots[0], slots[1]);
            if (i == 0 && slots[1] == 13) {
                PyErr_SetString(PyExc_RuntimeError, "the managed side raised");
            }
        }
        if (errors[i] == nullptr) {
            zelmor::drop_parse_errors(errors, i);
            return PyErr_Occurred() != nullptr ? -1 : 0;
        }
    }
    zelmor::raise_no_overload(errors, 3);
    return -1;
}

int init_single(PyObject* self, PyObject* args, PyObject* kwargs) {
    long slots[3] = {};
    if (!parse_literally(args, kwargs, "O&O&O&", {"a", "b", "c"}, slots, nullptr)) {
        return -1;
    }
    note_instance(self, "single", slots[0], slots[1] * 1000 + slots[2]);
    return 0;
}

template <int (*Construct)(PyObject*, const CallArguments&)>
int init_by_recipe(PyObject* self, PyObject* args, PyObject* kwargs) {
    return Construct(self, CallArguments::of(args, kwargs));
}

PyTypeObject record(const char* name, initproc init, vectorcallfunc vectorcall) {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
    type.tp_name = name;
    type.tp_basicsize = sizeof(PyClrObject);
    type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
    type.tp_init = init;
    type.tp_new = guarded_new;
    type.tp_vectorcall = vectorcall;
    return type;
}

PyTypeObject literal_types[] = {record("m.Overloaded", init_overloaded, nullptr),
                                record("m.Single", init_single, nullptr)};
PyTypeObject types[] = {
    record("m.Overloaded", init_by_recipe<&construct_overloaded>,
           &zelmor::construct_by_vectorcall<&guard, &construct_overloaded>),
    record("m.Single", init_by_recipe<&construct_single>, &zelmor::construct_by_vectorcall<&guard, &construct_single>)};

PyObject* object_of(PyTypeObject* type) {
    return reinterpret_cast<PyObject*>(type);
}

// The ways in which a call reaches a type.
enum class Way { kArray, kTupleAndDictionary, kTypeCall, kNewAndInit, kLast = kNewAndInit };

struct Outcome {
    std::string made;    // the name of the instance's type, empty for none
    std::string raised;  // the exception with all that it says
    std::vector<std::string> journal;
    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    out << "made " << outcome.made << ", raised " << outcome.raised << ", journal";
    for (const std::string& line : outcome.journal) {
        out << " [" << line << "]";
    }
    return out;
}

class Construction : public PyShellTest {
 protected:
    std::mt19937 random{20261122};

    static void SetUpTestSuite() {
        for (size_t i = 0; i < 2; ++i) {
            ASSERT_EQ(PyType_Ready(&types[i]), 0);
            ASSERT_EQ(PyType_Ready(&literal_types[i]), 0);
        }
    }

    void SetUp() override {
        PyShellTest::SetUp();
        refused_by_guard = false;
    }

    size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(random); }

    PyRef value() {
        switch (below(10)) {
            case 0:
                return PyRef::borrow(Py_None);
            case 1:
                return PyRef::borrow(Py_True);
            case 2:
                return PyRef::steal(PyUnicode_FromFormat("refused %zu", below(3)));
            default:
                return PyRef::steal(PyLong_FromSize_t(below(20)));
        }
    }

    PyRef positional() {
        const auto count = static_cast<Py_ssize_t>(below(5));
        PyRef args = PyRef::steal(PyTuple_New(count));
        for (Py_ssize_t i = 0; i < count; ++i) {
            PyTuple_SET_ITEM(args.get(), i, value().release());
        }
        return args;
    }

    // Null, empty, or some of the names and now and then a wrong one.
    PyRef keywords() {
        if (below(2) == 0) {
            return below(2) == 0 ? PyRef() : PyRef::steal(PyDict_New());
        }
        PyRef kwargs = PyRef::steal(PyDict_New());
        for (const char* name : {"first", "second", "only", "a", "b", "c", "wrong"}) {
            if (below(4) == 0) {
                PyDict_SetItemString(kwargs.get(), name, value().get());
            }
        }
        return kwargs;
    }

    static PyRef call_with_array(PyObject* type, PyObject* args, PyObject* kwargs) {
        std::vector<PyObject*> items;
        for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(args); ++i) {
            items.push_back(PyTuple_GET_ITEM(args, i));
        }
        const size_t count = items.size();
        const PyRef names = PyRef::steal(kwargs != nullptr ? PyDict_Keys(kwargs) : PyList_New(0));
        const PyRef tuple = PyRef::steal(PyList_AsTuple(names.get()));
        for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple.get()); ++i) {
            items.push_back(PyDict_GetItem(kwargs, PyTuple_GET_ITEM(tuple.get(), i)));
        }
        return PyRef::steal(PyObject_Vectorcall(type, items.data(), count, kwargs != nullptr ? tuple.get() : nullptr));
    }

    static PyRef call(Way way, PyObject* type, PyObject* args, PyObject* kwargs) {
        switch (way) {
            case Way::kArray:
                return call_with_array(type, args, kwargs);
            case Way::kTupleAndDictionary:
                return PyRef::steal(PyObject_Call(type, args, kwargs));
            case Way::kTypeCall:
                return PyRef::steal(PyType_Type.tp_call(type, args, kwargs));
            case Way::kNewAndInit:
                break;
        }
        auto* record = reinterpret_cast<PyTypeObject*>(type);
        PyRef self = PyRef::steal(record->tp_new(record, args, kwargs));
        return self && record->tp_init(self.get(), args, kwargs) == 0 ? std::move(self) : PyRef();
    }

    static Outcome outcome_of(Way way, PyObject* type, PyObject* args, PyObject* kwargs) {
        journal.clear();
        const PyRef made = call(way, type, args, kwargs);
        Outcome outcome{made ? Py_TYPE(made.get())->tp_name : "", "", std::exchange(journal, {})};
        if (PyErr_Occurred() != nullptr) {
            EXPECT_FALSE(made) << "an instance and an exception";
            const PyRef error = take_error();
            outcome.raised = text_of(PyRef::steal(PyObject_Repr(error.get())).get());
        } else {
            EXPECT_TRUE(made) << "neither an instance nor an exception";
        }
        return outcome;
    }
};

TEST_F(Construction, ByArrayIsTheSameAsByTheLiteralRecipe) {
    for (int round = 0; round < 20000; ++round) {
        const size_t which = below(2);
        const PyRef args = positional();
        const PyRef kwargs = keywords();
        refused_by_guard = below(50) == 0;
        SCOPED_TRACE(text_of(args.get()) + " " + (kwargs ? text_of(kwargs.get()) : "null"));
        const Outcome expected = outcome_of(Way::kTypeCall, object_of(&literal_types[which]), args.get(), kwargs.get());
        for (int way = 0; way <= static_cast<int>(Way::kLast); ++way) {
            ASSERT_EQ(outcome_of(static_cast<Way>(way), object_of(&types[which]), args.get(), kwargs.get()), expected)
                << "way " << way;
        }
    }
}

TEST_F(Construction, AClassDerivedInPythonGoesTheLongWay) {
    for (PyTypeObject* type : {&types[0], &literal_types[0]}) {
        const PyRef derived = evaluate(
            "type('Derived', (base,), {'__init__': lambda self, *a, **k: seen.append((a, k)),"
            "'__new__': lambda cls, *a, **k: base.__new__(cls)})",
            {{"base", object_of(type)}, {"seen", PyRef::steal(PyList_New(0)).get()}});
        ASSERT_TRUE(derived);
        EXPECT_EQ(reinterpret_cast<PyTypeObject*>(derived.get())->tp_vectorcall, nullptr);
    }
    const PyRef seen = PyRef::steal(PyList_New(0));
    const PyRef told = evaluate(
        "[type('Derived', (base,), {'__init__': lambda self, *a, **k: seen.append((a, k)) or base.__init__(self, 1, "
        "2)})"
        "('any', thing=3) is not None, seen]",
        {{"base", object_of(&types[0])}, {"seen", seen.get()}});
    ASSERT_TRUE(told) << text_of(take_error().get());
    EXPECT_EQ(text_of(told.get()), "[True, [(('any',), {'thing': 3})]]");
}

TEST_F(Construction, AStaticallyDerivedTypeDoesNotInheritTheShortWay) {
    static PyTypeObject derived = record("m.Derived", init_single, nullptr);
    derived.tp_base = &types[0];
    ASSERT_EQ(PyType_Ready(&derived), 0);
    EXPECT_EQ(derived.tp_vectorcall, nullptr);
    const PyRef args = PyRef::steal(Py_BuildValue("(iii)", 1, 2, 3));
    EXPECT_EQ(outcome_of(Way::kArray, object_of(&derived), args.get(), nullptr).journal.back(), "single 1 2003");
}

TEST_F(Construction, ADeepCallIsRefusedInTheSameWords) {
    const char* const descend =
        "import sys\n"
        "def deepest(make):\n"
        "    'The words in which the first refused call is refused, and how many calls that depth leaves.'\n"
        "    def descend(level):\n"
        "        try:\n"
        "            make()\n"
        "        except RecursionError as error:\n"
        "            return level, error\n"
        "        return descend(level + 1)\n"
        "    limit = sys.getrecursionlimit()\n"
        "    sys.setrecursionlimit(200)\n"
        "    try:\n"
        "        return descend(0)\n"
        "    finally:\n"
        "        sys.setrecursionlimit(limit)\n";
    const PyRef program = run(descend);
    ASSERT_TRUE(program) << text_of(take_error().get());
    PyObject* deepest = PyDict_GetItemString(program.get(), "deepest");
    std::string told[2];
    for (int i = 0; i < 2; ++i) {
        PyTypeObject* type = i == 0 ? &types[0] : &literal_types[0];
        const PyRef found = PyRef::steal(PyObject_CallOneArg(deepest, object_of(type)));
        ASSERT_TRUE(found) << text_of(take_error().get());
        told[i] = text_of(found.get());
    }
    EXPECT_EQ(told[0], told[1]);
    EXPECT_NE(told[0].find("maximum recursion depth exceeded while calling a Python object"), std::string::npos)
        << told[0];
}

TEST_F(Construction, ARefusedInstanceIsReleased) {
    const PyRef args = PyRef::steal(Py_BuildValue("(ii)", 1, 13));
    const Py_ssize_t before = Py_REFCNT(PyTuple_GET_ITEM(args.get(), 1));
    for (int way = 0; way <= static_cast<int>(Way::kLast); ++way) {
        EXPECT_EQ(outcome_of(static_cast<Way>(way), object_of(&types[0]), args.get(), nullptr).raised,
                  "RuntimeError('the managed side raised')");
    }
    EXPECT_EQ(Py_REFCNT(PyTuple_GET_ITEM(args.get(), 1)), before);
}

TEST_F(Construction, AKeywordThatIsNoTextIsRefusedByTheInterpreter) {
    const PyRef args = PyRef::steal(PyTuple_New(0));
    const PyRef kwargs = PyRef::steal(Py_BuildValue("{i:i}", 1, 2));
    EXPECT_EQ(outcome_of(Way::kTupleAndDictionary, object_of(&types[0]), args.get(), kwargs.get()).raised,
              "TypeError('keywords must be strings')");
}

}  // namespace
