// Parsing of arguments: the direct way for positional calls, and the interpreter's own for everything else.
#include "pyshell/arguments.h"

#include <array>
#include <cassert>
#include <cstdint>

#include "pyshell/overload.h"

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

// Messages about the number of arguments that were needed lately. A wrong number is an everyday event where a name has
// several overloads. Guarded by the interpreter lock; the texts live as long as the process.
struct CountMessage {
    const char* const* names;
    Py_ssize_t given;
    PyObject* text;
};

std::array<CountMessage, 256> count_messages;

// The same as a borrowed reference, or null with an exception set.
PyObject* remembered_count_message(const char* const* names, Py_ssize_t count, Py_ssize_t given) {
    const size_t place =
        (reinterpret_cast<uintptr_t>(names) / sizeof(void*) * 7 + static_cast<size_t>(given)) % count_messages.size();
    CountMessage& message = count_messages[place];
    if (message.names != names || message.given != given || message.text == nullptr) {
        PyObject* text = count_message(names, count, given);
        if (text == nullptr) {
            return nullptr;
        }
        Py_XDECREF(message.text);
        message = {names, given, text};
    }
    return message.text;
}

// What the literal parse leaves behind a converter that refuses: the converter's exception, or its own complaint that
// there is none.
[[gnu::cold]] void complain_about(Py_ssize_t index) {
    if (!PyErr_Occurred()) {
        PyErr_Format(PyExc_SystemError, "argument %zd (unspecified)", index + 1);
    }
}

// The outcomes of the direct way.
enum class Positional { kParsed, kRefused, kMiscounted };

inline Positional parse_positional(PyObject* args, const Reader* readers, Py_ssize_t count) {
    const Py_ssize_t given = PyTuple_GET_SIZE(args);
    if (given > count) {
        return Positional::kMiscounted;
    }
    // Where arguments are missing, those that are there are converted all the same.
    for (Py_ssize_t i = 0; i < given; ++i) {
        if (readers[i].convert(PyTuple_GET_ITEM(args, i), readers[i].slot) == 0) {
            complain_about(i);
            return Positional::kRefused;
        }
    }
    return given == count ? Positional::kParsed : Positional::kMiscounted;
}

inline bool has_keywords(PyObject* kwargs) {
    return kwargs != nullptr && PyDict_GET_SIZE(kwargs) != 0;
}

}  // namespace

bool parse_arguments(PyObject* args, PyObject* kwargs, const char* const* names, const Reader* readers,
                     Py_ssize_t count) {
    assert(PyTuple_Check(args) && (kwargs == nullptr || PyDict_Check(kwargs)));
    if (has_keywords(kwargs)) {
        return parse_literally(args, kwargs, names, readers, count);
    }
    const Positional outcome = parse_positional(args, readers, count);
    if (outcome == Positional::kMiscounted) [[unlikely]] {
        if (PyObject* text = remembered_count_message(names, count, PyTuple_GET_SIZE(args))) {
            PyErr_SetObject(PyExc_TypeError, text);
        }
    }
    return outcome == Positional::kParsed;
}

bool parse_overload(PyObject* args, PyObject* kwargs, const char* const* names, const Reader* readers, Py_ssize_t count,
                    PyObject** refusal) {
    assert(PyTuple_Check(args) && (kwargs == nullptr || PyDict_Check(kwargs)));
    if (has_keywords(kwargs)) {
        if (parse_literally(args, kwargs, names, readers, count)) {
            return true;
        }
    } else {
        switch (parse_positional(args, readers, count)) {
            case Positional::kParsed:
                return true;
            case Positional::kMiscounted:
                if (PyObject* text = remembered_count_message(names, count, PyTuple_GET_SIZE(args))) {
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

bool parse_no_arguments(PyObject* args, PyObject* kwargs) {
    return parse_arguments(args, kwargs, kNoNames, nullptr, 0);
}

bool parse_no_arguments(PyObject* args, PyObject* kwargs, PyObject** refusal) {
    return parse_overload(args, kwargs, kNoNames, nullptr, 0, refusal);
}

}  // namespace zelmor
