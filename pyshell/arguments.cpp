// Parsing of arguments: the direct way for positional calls, and the interpreter's own for everything else.
#include "pyshell/arguments.h"

#include <array>
#include <cassert>
#include <cstdint>

#include "pyshell/overload.h"
#include "pyshell/remembered_texts.h"

namespace zelmor {
namespace {

constexpr const char* kNoNames[] = {nullptr};

// "O&" for each of the most parameters; the format for fewer is a tail of it.
constexpr std::array<char, 2 * kMostParameters + 1> all_formats() {
    std::array<char, 2 * kMostParameters + 1> text{};
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        text[i] = i % 2 == 0 ? 'O' : '&';
    }
    return text;
}

constexpr auto kFormats = all_formats();

const char* format_of(Py_ssize_t count) {
    return kFormats.data() + 2 * (kMostParameters - count);
}

// The literal parse. The function reads no more of what follows the keywords than its format tells it to, so that one
// call serves every number of parameters.
bool parse_literally(PyObject* args, PyObject* kwargs, const char* const* names, const Reader* readers,
                     Py_ssize_t count) {
    std::array<Reader, kMostParameters> r{};
    for (Py_ssize_t i = 0; i < count; ++i) {
        r[static_cast<size_t>(i)] = readers[i];
    }
#define ZELMOR_READER(i) r[i].convert, r[i].slot
#define ZELMOR_SIX_READERS(i)                                                                                 \
    ZELMOR_READER(i), ZELMOR_READER(i + 1), ZELMOR_READER(i + 2), ZELMOR_READER(i + 3), ZELMOR_READER(i + 4), \
        ZELMOR_READER(i + 5)
    static_assert(kMostParameters == 12);
    return PyArg_ParseTupleAndKeywords(args, kwargs, format_of(count), const_cast<char**>(names), ZELMOR_SIX_READERS(0),
                                       ZELMOR_SIX_READERS(6)) != 0;
#undef ZELMOR_SIX_READERS
#undef ZELMOR_READER
}

int accept_anything(PyObject*, void*) {
    return 1;
}

// What the literal parse says of `given` positional arguments where `names` asks for another number: a new reference,
// or null with an exception set (memory).
PyObject* count_message(const char* const* names, Py_ssize_t count, Py_ssize_t given) {
    PyObject* args = PyTuple_New(given);
    if (args == nullptr) {
        return nullptr;
    }
    for (Py_ssize_t i = 0; i < given; ++i) {
        PyTuple_SET_ITEM(args, i, Py_NewRef(Py_None));
    }
    std::array<Reader, kMostParameters> readers;
    readers.fill({&accept_anything, nullptr});
    [[maybe_unused]] const bool parsed = parse_literally(args, nullptr, names, readers.data(), count);
    assert(!parsed);
    Py_DECREF(args);
    PyObject *type = nullptr, *value = nullptr, *traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    if (value == nullptr || !PyUnicode_CheckExact(value)) {
        PyErr_Restore(type, value, traceback);  // no memory for the message
        return nullptr;
    }
    Py_XDECREF(type);
    Py_XDECREF(traceback);
    return value;
}

struct CountKey {
    const char* const* names;
    Py_ssize_t given;
    bool operator==(const CountKey&) const = default;
};

RememberedTexts<CountKey, 256> count_messages;

// The same as a borrowed reference, or null with an exception set.
PyObject* remembered_count_message(const char* const* names, Py_ssize_t count, Py_ssize_t given) {
    return count_messages.get({names, given}, hash_of_address(names) * 7 + static_cast<size_t>(given),
                              [=] { return count_message(names, count, given); });
}

// The outcomes of the direct way.
enum class Positional { kParsed, kRefused, kMiscounted };

inline Positional parse_positional(const CallArguments& arguments, const Reader* readers, Py_ssize_t count) {
    const Py_ssize_t given = arguments.count;
    if (given > count) {
        return Positional::kMiscounted;
    }
    // Where arguments are missing, those that are there are converted all the same.
    for (Py_ssize_t i = 0; i < given; ++i) {
        if (readers[i].convert(arguments.items[i], readers[i].slot) == 0) {
            complain_about(i);
            return Positional::kRefused;
        }
    }
    return given == count ? Positional::kParsed : Positional::kMiscounted;
}

}  // namespace

// What the literal parse leaves behind a converter that refuses: the converter's exception, or its own complaint that
// there is none.
void complain_about(Py_ssize_t index) {
    if (PyErr_Occurred() == nullptr) {
        PyErr_Format(PyExc_SystemError, "argument %zd (unspecified)", index + 1);
    }
}

void keep_complaint_about(Py_ssize_t index, PyObject** refusal) {
    complain_about(index);
    keep_parse_error(refusal);
}

bool parse_arguments(const CallArguments& arguments, const char* const* names, const Reader* readers,
                     Py_ssize_t count) {
    if (arguments.kwargs != nullptr) {
        return parse_literally(arguments.args, arguments.kwargs, names, readers, count);
    }
    const Positional outcome = parse_positional(arguments, readers, count);
    if (outcome == Positional::kMiscounted) [[unlikely]] {
        if (PyObject* text = remembered_count_message(names, count, arguments.count)) {
            PyErr_SetObject(PyExc_TypeError, text);
        }
    }
    return outcome == Positional::kParsed;
}

bool parse_overload(const CallArguments& arguments, const char* const* names, const Reader* readers, Py_ssize_t count,
                    PyObject** refusal) {
    if (arguments.kwargs != nullptr) {
        if (parse_literally(arguments.args, arguments.kwargs, names, readers, count)) {
            return true;
        }
    } else {
        switch (parse_positional(arguments, readers, count)) {
            case Positional::kParsed:
                return true;
            case Positional::kMiscounted:
                if (PyObject* text = remembered_count_message(names, count, arguments.count)) {
                    *refusal = Py_NewRef(text);
                    return false;
                }
                break;
            case Positional::kRefused:
                break;
        }
    }
    keep_parse_error(refusal);
    return false;
}

bool parse_no_arguments(const CallArguments& arguments) {
    return parse_arguments(arguments, kNoNames, nullptr, 0);
}

bool parse_no_arguments(const CallArguments& arguments, PyObject** refusal) {
    return parse_overload(arguments, kNoNames, nullptr, 0, refusal);
}

}  // namespace zelmor
