// Parsing of arguments: the direct way for positional calls, and the interpreter's own for everything else.
#include "pyshell/arguments.h"

#include <array>
#include <cassert>
#include <cstdint>

#include "pyshell/overload.h"
#include "pyshell/pending_error.h"
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

// The literal parse: one call for each number of parameters, since the function takes them one by one.
bool parse_literally(PyObject* args, PyObject* kwargs, const char* const* names, const Reader* readers,
                     Py_ssize_t count) {
#define ZELMOR_READER(i) , readers[i].convert, readers[i].slot
#define ZELMOR_READERS_1 ZELMOR_READER(0)
#define ZELMOR_READERS_2 ZELMOR_READERS_1 ZELMOR_READER(1)
#define ZELMOR_READERS_3 ZELMOR_READERS_2 ZELMOR_READER(2)
#define ZELMOR_READERS_4 ZELMOR_READERS_3 ZELMOR_READER(3)
#define ZELMOR_READERS_5 ZELMOR_READERS_4 ZELMOR_READER(4)
#define ZELMOR_READERS_6 ZELMOR_READERS_5 ZELMOR_READER(5)
#define ZELMOR_READERS_7 ZELMOR_READERS_6 ZELMOR_READER(6)
#define ZELMOR_READERS_8 ZELMOR_READERS_7 ZELMOR_READER(7)
#define ZELMOR_READERS_9 ZELMOR_READERS_8 ZELMOR_READER(8)
#define ZELMOR_READERS_10 ZELMOR_READERS_9 ZELMOR_READER(9)
#define ZELMOR_READERS_11 ZELMOR_READERS_10 ZELMOR_READER(10)
#define ZELMOR_READERS_12 ZELMOR_READERS_11 ZELMOR_READER(11)
#define ZELMOR_CASE(n) \
    case n:            \
        return PyArg_ParseTupleAndKeywords(args, kwargs, format, keywords ZELMOR_READERS_##n) != 0;
    const char* const format = format_of(count);
    char** const keywords = const_cast<char**>(names);
    static_assert(kMostParameters == 12);
    switch (count) {
        case 0:
            return PyArg_ParseTupleAndKeywords(args, kwargs, format, keywords) != 0;
            ZELMOR_CASE(1)
            ZELMOR_CASE(2)
            ZELMOR_CASE(3)
            ZELMOR_CASE(4)
            ZELMOR_CASE(5)
            ZELMOR_CASE(6)
            ZELMOR_CASE(7)
            ZELMOR_CASE(8)
            ZELMOR_CASE(9)
            ZELMOR_CASE(10)
            ZELMOR_CASE(11)
            ZELMOR_CASE(12)
        default:
            break;
    }
#undef ZELMOR_CASE
#undef ZELMOR_READERS_12
#undef ZELMOR_READERS_11
#undef ZELMOR_READERS_10
#undef ZELMOR_READERS_9
#undef ZELMOR_READERS_8
#undef ZELMOR_READERS_7
#undef ZELMOR_READERS_6
#undef ZELMOR_READERS_5
#undef ZELMOR_READERS_4
#undef ZELMOR_READERS_3
#undef ZELMOR_READERS_2
#undef ZELMOR_READERS_1
#undef ZELMOR_READER
    Py_FatalError("a parse with more parameters than there can be");
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
    PendingError error = PendingError::take();
    if (error.value() == nullptr || !PyUnicode_CheckExact(error.value())) {
        error.restore();  // no memory for the message
        return nullptr;
    }
    return error.take_value().release();
}

struct CountKey {
    const char* const* names;
    Py_ssize_t given;
    bool operator==(const CountKey&) const = default;
};

RememberedTexts<CountKey, 256> count_messages;  // used under the interpreter lock

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
        if (PyObject* text = remembered_count_message(names, count, arguments.count); text != nullptr) {
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
                if (PyObject* text = remembered_count_message(names, count, arguments.count); text != nullptr) {
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
