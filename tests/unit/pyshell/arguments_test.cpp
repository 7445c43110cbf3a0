// The direct parse of positional calls beside the interpreter's own parser, for every list of keywords that the API
// has: the same verdict, the same exception, the same converters run in the same order, the same slots filled.
#include "pyshell/arguments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <utility>
#include <vector>

#include "fixture.h"

using zelmor::PyRef;
using zelmor::Reader;

namespace {

const std::vector<std::vector<const char*>> keyword_lists = {
#include "keyword_lists.inc"
};

// What a converter does with an argument is told by the argument: a number is taken, a text is refused with it as the
// message, None is refused without a word, True raises an exception without a value.
std::vector<std::pair<PyObject*, void*>> journal;

int convert(PyObject* value, void* slot) {
    journal.emplace_back(value, slot);
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
    *static_cast<long*>(slot) = PyLong_AsLong(value);
    return 2;  // anything but 0 is a success
}

using Slots = std::array<long, zelmor::kMostParameters>;

// The reference: the literal recipe.
bool parse_by_recipe(PyObject* args, PyObject* kwargs, const char* const* names, size_t count, Slots& s) {
    std::string format;
    for (size_t i = 0; i < count; ++i) {
        format += "O&";
    }
    return PyArg_ParseTupleAndKeywords(args, kwargs, format.c_str(), const_cast<char**>(names), &convert, &s[0],
                                       &convert, &s[1], &convert, &s[2], &convert, &s[3], &convert, &s[4], &convert,
                                       &s[5], &convert, &s[6], &convert, &s[7], &convert, &s[8], &convert, &s[9],
                                       &convert, &s[10], &convert, &s[11]) != 0;
}

struct Outcome {
    bool parsed;
    PyRef type, value;  // of the exception, as it was raised
    std::vector<std::pair<PyObject*, void*>> converted;
    Slots slots;
};

Outcome outcome_of(bool parsed, const Slots& slots) {
    PyObject *type = nullptr, *value = nullptr, *traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    Py_XDECREF(traceback);
    return {parsed, PyRef::steal(type), PyRef::steal(value), std::exchange(journal, {}), slots};
}

using zelmor::CallArguments;

// Both parses as generated code runs them, whose lists of readers have a fixed length; `form` says in which form the
// arguments are given.
enum class Form { kTuple, kTupleOfFixedList, kItems, kItemsOfFixedList };

template <size_t N>
bool parse_fixed(const CallArguments& arguments, const char* const* names, const std::vector<Reader>& readers,
                 PyObject** refusal) {
    if constexpr (N == 0) {
        return refusal != nullptr ? zelmor::parse_no_arguments(arguments, refusal)
                                  : zelmor::parse_no_arguments(arguments);
    } else {
        Reader list[N];
        std::copy(readers.begin(), readers.end(), list);
        return refusal != nullptr ? zelmor::parse_overload(arguments, names, list, refusal)
                                  : zelmor::parse_arguments(arguments, names, list);
    }
}

template <size_t... N>
bool parse_fixed(std::index_sequence<N...>, const CallArguments& arguments, const char* const* names,
                 const std::vector<Reader>& readers, PyObject** refusal) {
    bool parsed = false;
    (void)((readers.size() == N && (parsed = parse_fixed<N>(arguments, names, readers, refusal), true)) || ...);
    return parsed;
}

bool parse(Form form, PyObject* args, PyObject* kwargs, const char* const* names, const std::vector<Reader>& readers,
           PyObject** refusal) {
    CallArguments arguments = CallArguments::of(args, kwargs);
    if ((form == Form::kItems || form == Form::kItemsOfFixedList) && arguments.kwargs == nullptr) {
        arguments = CallArguments::by_position(arguments.items, arguments.count);
    }
    if (form == Form::kTupleOfFixedList || form == Form::kItemsOfFixedList) {
        return parse_fixed(std::make_index_sequence<zelmor::kMostParameters + 1>(), arguments, names, readers, refusal);
    }
    const auto count = static_cast<Py_ssize_t>(readers.size());
    return refusal != nullptr ? zelmor::parse_overload(arguments, names, readers.data(), count, refusal)
                              : zelmor::parse_arguments(arguments, names, readers.data(), count);
}

class Arguments : public PyShellTest {
 protected:
    std::mt19937 random{20261122};

    size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(random); }

    PyRef value() {
        switch (below(12)) {
            case 0:
                return PyRef::borrow(Py_None);
            case 1:
                return PyRef::borrow(Py_True);
            case 2:
                return PyRef::steal(PyUnicode_FromFormat("refused %zu", below(3)));
            default:
                return PyRef::steal(PyLong_FromSize_t(below(1000)));
        }
    }

    // Values for some of the names, and now and then for one that is none of them.
    PyRef keywords(const std::vector<const char*>& names) {
        if (below(3) != 0) {
            return below(2) == 0 ? PyRef() : PyRef::steal(PyDict_New());
        }
        PyRef made = PyRef::steal(PyDict_New());
        for (const char* name : names) {
            if (name != nullptr && below(2) == 0) {
                PyDict_SetItemString(made.get(), name, value().get());
            }
        }
        if (below(6) == 0) {
            PyDict_SetItemString(made.get(), "no_such_name", value().get());
        }
        return made;
    }

    PyRef positional(size_t names) {
        const size_t given = below(3) == 0 ? below(names + 4) : names;
        PyRef made = PyRef::steal(PyTuple_New(static_cast<Py_ssize_t>(given)));
        for (size_t i = 0; i < given; ++i) {
            PyTuple_SET_ITEM(made.get(), static_cast<Py_ssize_t>(i), value().release());
        }
        return made;
    }

    // Compares one call in every form with the reference.
    void compare(const std::vector<const char*>& names, PyObject* args, PyObject* kwargs, bool overload) {
        for (const Form form : {Form::kTuple, Form::kTupleOfFixedList, Form::kItems, Form::kItemsOfFixedList}) {
            compare(form, names, args, kwargs, overload);
            if (HasFatalFailure()) {
                return;
            }
        }
    }

    // Slots are compared with their base taken away.
    void compare(Form form, const std::vector<const char*>& names, PyObject* args, PyObject* kwargs, bool overload) {
        const size_t count = names.size() - 1;
        Slots slots{}, by_recipe{};
        std::vector<Reader> readers;
        for (size_t i = 0; i < count; ++i) {
            readers.push_back(zelmor::reader(&convert, &slots[i]));
        }

        const Outcome expected = outcome_of(parse_by_recipe(args, kwargs, names.data(), count, by_recipe), by_recipe);
        PyObject* refusal = nullptr;
        const bool parsed = parse(form, args, kwargs, names.data(), readers, overload ? &refusal : nullptr);
        Outcome found = outcome_of(parsed, slots);

        ASSERT_EQ(found.parsed, expected.parsed);
        ASSERT_EQ(found.slots, expected.slots);
        ASSERT_EQ(found.converted.size(), expected.converted.size());
        for (size_t i = 0; i < found.converted.size(); ++i) {
            ASSERT_EQ(found.converted[i].first, expected.converted[i].first);
            ASSERT_EQ(static_cast<long*>(found.converted[i].second) - slots.data(),
                      static_cast<long*>(expected.converted[i].second) - by_recipe.data());
        }
        if (overload && refusal != nullptr) {
            ASSERT_FALSE(found.type) << "both kept and raised";
            found.value = PyRef::steal(refusal);
            if (!expected.value) {
                return;  // what an exception without a value is kept as is the dispatcher's affair
            }
        } else {
            ASSERT_EQ(found.type.get(), expected.type.get());
        }
        ASSERT_EQ(static_cast<bool>(found.value), static_cast<bool>(expected.value));
        if (found.value) {
            ASSERT_EQ(text_of(found.value.get()), text_of(expected.value.get()));
        }
    }
};

TEST_F(Arguments, FollowTheInterpretersParserForEveryListOfKeywords) {
    ASSERT_GT(keyword_lists.size(), 300u);
    for (const auto& names : keyword_lists) {
        SCOPED_TRACE(names.front() != nullptr ? names.front() : "no parameters");
        for (int round = 0; round < 60; ++round) {
            const PyRef args = positional(names.size() - 1);
            const PyRef kwargs = keywords(names);
            SCOPED_TRACE(text_of(args.get()) + " " + (kwargs ? text_of(kwargs.get()) : "null"));
            compare(names, args.get(), kwargs.get(), round % 2 == 0);
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST_F(Arguments, EveryWrongCountHasTheInterpretersMessage) {
    for (const auto& names : keyword_lists) {
        for (size_t given = 0; given < names.size() + 3; ++given) {
            const PyRef args = PyRef::steal(PyTuple_New(static_cast<Py_ssize_t>(given)));
            for (size_t i = 0; i < given; ++i) {
                PyTuple_SET_ITEM(args.get(), static_cast<Py_ssize_t>(i), PyLong_FromSize_t(i));
            }
            for (int again = 0; again < 2; ++again) {
                compare(names, args.get(), nullptr, true);
                compare(names, args.get(), nullptr, false);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST_F(Arguments, AWrongCountMakesItsMessageOnce) {
    const auto& names = keyword_lists.back();
    const PyRef args = PyRef::steal(PyTuple_New(0));
    std::vector<Reader> readers(names.size() - 1, Reader{&convert, nullptr});
    PyObject* first = nullptr;
    PyObject* second = nullptr;
    const auto count = static_cast<Py_ssize_t>(readers.size());
    ASSERT_GT(count, 0);
    const CallArguments arguments = CallArguments::of(args.get(), nullptr);
    EXPECT_FALSE(zelmor::parse_overload(arguments, names.data(), readers.data(), count, &first));
    EXPECT_FALSE(zelmor::parse_overload(arguments, names.data(), readers.data(), count, &second));
    EXPECT_EQ(first, second);
    Py_XDECREF(first);
    Py_XDECREF(second);
}

TEST_F(Arguments, NoParameters) {
    const PyRef none = PyRef::steal(PyTuple_New(0));
    const PyRef one = PyRef::steal(PyTuple_Pack(1, Py_None));
    EXPECT_TRUE(zelmor::parse_no_arguments(CallArguments::of(none.get(), nullptr)));
    EXPECT_FALSE(zelmor::parse_no_arguments(CallArguments::of(one.get(), nullptr)));
    expect_error(PyExc_TypeError, "function takes at most 0 arguments (1 given)");
}

}  // namespace
