// Python files that lie, against every callback: codes, messages, chained errors, and references as before.
//
// What a conversion refuses is refused in the words of that conversion, which is asked here too.
#include <functional>
#include <vector>

#include "bridge_test.h"
#include "convert/scalars.h"
#include "exchange/callbacks.h"

using zelmor::PyRef;

namespace {

// Every callback but that of closing, on four bytes of memory.
struct Callback {
    const char* method;
    std::function<long(PyObject*)> call;
    long failed = -1;
    bool counts = false;     // answers an int32
    bool positions = false;  // answers an int64
    bool asks = false;       // answers a bool
};

const std::vector<Callback>& callbacks() {
    static char memory[4];
    static const std::vector<Callback> all = {
        {"write", [](PyObject* file) { return long{fn_clbk_rawio_write(file, memory, 4)}; }, -1, true},
        {"write", [](PyObject* file) { return long{fn_clbk_rawio_write_byte(file, 65)}; }, -1, true},
        {"readinto", [](PyObject* file) { return long{fn_clbk_rawio_read(file, memory, 4)}; }, -1, true},
        {"readinto", [](PyObject* file) { return long{fn_clbk_rawio_readbyte(file)}; }, -2, true},
        {"seek", [](PyObject* file) { return fn_clbk_rawio_seek(file, 3, 1); }, -1, false, true},
        {"flush", [](PyObject* file) { return long{fn_clbk_rawio_flush(file)}; }},
        {"readable", [](PyObject* file) { return long{fn_clbk_rawio_readable(file)}; }, -1, false, false, true},
        {"writable", [](PyObject* file) { return long{fn_clbk_rawio_writable(file)}; }, -1, false, false, true},
        {"seekable", [](PyObject* file) { return long{fn_clbk_rawio_seekable(file)}; }, -1, false, false, true},
        {"tell", [](PyObject* file) { return fn_clbk_rawio_tell(file); }, -1, false, true},
    };
    return all;
}

// A file whose methods are all the given function.
PyRef file_answering(PyObject* function) {
    const PyRef names = run(
        "class Lies:\n    closed = False\n    def __init__(self, function):\n        for name in 'write readinto seek "
        "flush readable writable seekable tell close'.split():\n            setattr(self, name, function)\n");
    return PyRef::steal(PyObject_CallOneArg(entry_of(names, "Lies"), function));
}

// A file whose methods all give this object. Nothing but the names that come back keeps it alive.
PyRef file_giving(PyObject* answer) {
    const PyRef names = run("def giving(answer): return lambda *arguments: answer\n");
    const PyRef function = PyRef::steal(PyObject_CallOneArg(entry_of(names, "giving"), answer));
    return file_answering(function.get());
}

// A file that can seek, and answers any seek with this object.
PyRef file_seeking_to(PyObject* answer) {
    const PyRef names =
        run("def make(answer):\n    class Lies:\n        closed = False\n        seekable = lambda self: True\n"
            "        seek = lambda self, *arguments: answer\n    return Lies()\n");
    return PyRef::steal(PyObject_CallOneArg(entry_of(names, "make"), answer));
}

// The type and text of the pending error, which is cleared.
std::pair<PyObject*, std::string> pending() {
    const PyRef error = take_error();
    if (!error) {
        return {nullptr, ""};
    }
    return {reinterpret_cast<PyObject*>(Py_TYPE(error.get())), text_of(error.get())};
}

// What the conversion of a callback's answer makes of an object.
bool converts(const Callback& callback, PyObject* answer, long* value) {
    if (callback.counts) {
        int count = 0;
        const bool converted = fn_conv_py_long_to_clr_int32(answer, &count) != 0;
        *value = count;
        return converted;
    }
    if (callback.positions) {
        return fn_conv_py_long_to_clr_int64(answer, value) != 0;
    }
    bool truth = false;
    const bool converted = fn_conv_py_bool_to_clr_bool(answer, &truth) != 0;
    *value = static_cast<long>(truth);
    return converted;
}

constexpr const char* kAnswers[] = {"True",   "False",    "'3'",     "b'3'",          "3.0",    "[]",        "object()",
                                    "2**31",  "-2**31-1", "2**63",   "-2**63-1",      "2**200", "-2**200",   "0",
                                    "1",      "-1",       "-5",      "2**31 - 1",     "-2**31", "2**63 - 1", "-2**63",
                                    "Five()", "()",       "Index()", "NotImplemented"};

class LyingFiles : public BridgeTest {};

TEST_F(LyingFiles, AnAnswerIsConvertedOrRefusedInTheConversionsWords) {
    const PyRef names =
        run("class Five(int):\n    def __new__(cls): return int.__new__(cls, 5)\n"
            "class Index:\n    def __index__(self): return 3\n");
    for (const char* text : kAnswers) {
        const PyRef answer = evaluate(text, {{"Five", entry_of(names, "Five")}, {"Index", entry_of(names, "Index")}});
        ASSERT_TRUE(answer) << text;
        const PyRef file = file_giving(answer.get());
        for (const Callback& callback : callbacks()) {
            if (std::string(callback.method) == "flush") {
                continue;
            }
            long expected = 0;
            const bool converted = converts(callback, answer.get(), &expected);
            const auto reason = pending();
            const RefCountWatch file_count(file.get());
            const RefCountWatch answer_count(answer.get());
            const long code = callback.call(file.get());
            EXPECT_EQ(pending(), reason) << callback.method << " answering " << text;
            EXPECT_EQ(file_count.change(), 0) << callback.method << " answering " << text;
            EXPECT_EQ(answer_count.change(), 0) << callback.method << " answering " << text;
            if (!converted) {
                EXPECT_EQ(code, callback.failed) << callback.method << " answering " << text;
            } else if (callback.failed == -2) {
                // A single byte is there for every count but 0; nothing was written to it here.
                EXPECT_EQ(code, expected == 0 ? -1 : 0) << text;
            } else {
                EXPECT_EQ(code, expected) << callback.method << " answering " << text;
            }
        }
    }
}

TEST_F(LyingFiles, TheResultOfFlushIsIgnored) {
    for (const char* text : {"None", "'x'", "object()", "-1"}) {
        const PyRef answer = evaluate(text);
        const PyRef file = file_giving(answer.get());
        const RefCountWatch count(answer.get());
        EXPECT_EQ(fn_clbk_rawio_flush(file.get()), 0);
        EXPECT_EQ(count.change(), 0);
    }
}

TEST_F(LyingFiles, NoneIsNothingForDataAndRefusedElsewhere) {
    constexpr int kMany = 1000;
    const PyRef file = file_giving(Py_None);
    for (const Callback& callback : callbacks()) {
        const std::string method = callback.method;
        if (method == "flush") {
            continue;
        }
        const bool kept = method == "readinto" && callback.failed == -1;
        long code = 0;
        std::pair<PyObject*, std::string> error;
        const Py_ssize_t before = Py_REFCNT(Py_None);
        for (int i = 0; i < kMany; ++i) {
            code = callback.call(file.get());
            error = pending();
        }
        // The interpreter has business of its own with None.
        EXPECT_NEAR(static_cast<double>(Py_REFCNT(Py_None) - before), kept ? kMany : 0, 50) << method;
        if (kept) {
            EXPECT_EQ(code, 0);
            EXPECT_EQ(error.first, nullptr);
            continue;
        }
        if (method == "write") {
            EXPECT_EQ(code, 0);
            EXPECT_EQ(error.first, nullptr);
        } else if (method == "readinto") {
            EXPECT_EQ(code, -2);
            EXPECT_EQ(error, std::make_pair(PyExc_OSError, std::string("no bytes are available for reading")));
        } else {
            EXPECT_EQ(code, -1) << method;
            EXPECT_EQ(error.first, PyExc_TypeError) << method;
        }
    }
}

TEST_F(LyingFiles, AMethodThatRaisesIsAFailureWithThatVeryError) {
    const PyRef names =
        run("error = KeyError('broken')\ndef fail(*arguments): raise error\n"
            "stop = StopIteration(3)\ndef end(*arguments): raise stop\n"
            "interrupt = KeyboardInterrupt()\ndef interrupted(*arguments): raise interrupt\n");
    const std::pair<const char*, const char*> raised[] = {
        {"error", "fail"}, {"stop", "end"}, {"interrupt", "interrupted"}};
    for (const auto& [error, function] : raised) {
        const PyRef file = file_answering(entry_of(names, function));
        for (const Callback& callback : callbacks()) {
            EXPECT_EQ(callback.call(file.get()), callback.failed) << callback.method;
            const PyRef taken = take_error();
            EXPECT_EQ(taken.get(), entry_of(names, error)) << callback.method;
            EXPECT_EQ(PyRef::steal(PyException_GetCause(taken.get())).get(), nullptr) << callback.method;
        }
    }
}

TEST_F(LyingFiles, AMethodThatIsMissingOrNoneIsAFailure) {
    const PyRef bare = evaluate("type('Bare', (), {'closed': False})()");
    const PyRef uncallable = file_answering(Py_None);
    for (const Callback& callback : callbacks()) {
        EXPECT_EQ(callback.call(bare.get()), callback.failed) << callback.method;
        expect_error_of(PyExc_AttributeError);
        EXPECT_EQ(callback.call(uncallable.get()), callback.failed) << callback.method;
        expect_error_of(PyExc_TypeError);
    }
    EXPECT_EQ(fn_clbk_rawio_length(bare.get()), -1);
    const PyRef error = take_error();
    EXPECT_EQ(text_of(error.get()), "While calculating the length of the stream, an error occurred.");
    const PyRef cause = PyRef::steal(PyException_GetCause(error.get()));
    EXPECT_TRUE(Py_IS_TYPE(cause.get(), reinterpret_cast<PyTypeObject*>(PyExc_AttributeError)));
}

TEST_F(LyingFiles, AClosedThatIsNoBoolIsChained) {
    const PyRef names =
        run("class Raises:\n    @property\n    def closed(self): raise KeyError('broken')\n"
            "class Lacks: pass\nclass One:\n    closed = 1\nclass Nothing:\n    closed = None\n"
            "class Method:\n    def closed(self): return False\n"
            "files = Raises(), Lacks(), One(), Nothing(), Method()\n");
    PyObject* const causes[] = {PyExc_KeyError, PyExc_AttributeError, PyExc_TypeError, PyExc_TypeError,
                                PyExc_TypeError};
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(entry_of(names, "files")); ++i) {
        PyObject* file = PyTuple_GET_ITEM(entry_of(names, "files"), i);
        const RefCountWatch count(file);
        const std::function<long(PyObject*)> asking[] = {fn_clbk_rawio_readable, fn_clbk_rawio_writable,
                                                         fn_clbk_rawio_seekable, fn_clbk_rawio_length};
        for (const auto& ask : asking) {
            EXPECT_EQ(ask(file), -1);
            const PyRef error = take_error();
            ASSERT_TRUE(error);
            EXPECT_EQ(text_of(error.get()), "An error occurred while checking if the stream is closed");
            const PyRef cause = PyRef::steal(PyException_GetCause(error.get()));
            const PyRef context = PyRef::steal(PyException_GetContext(error.get()));
            EXPECT_EQ(reinterpret_cast<PyObject*>(Py_TYPE(cause.get())), causes[i]);
            EXPECT_EQ(cause.get(), context.get());
        }
        EXPECT_LE(count.change(), 1) << "a traceback may still hold the file";
    }
}

TEST_F(LyingFiles, TheLengthIsWhateverTheSecondSeekReturns) {
    // The length is the answer of the second seek, whatever it is, so long as it is an integer of 64 bits.
    for (const char* text : {"-7", "2**62", "0"}) {
        const PyRef answer = evaluate(text);
        const PyRef file = file_seeking_to(answer.get());
        EXPECT_EQ(fn_clbk_rawio_length(file.get()), PyLong_AsLong(answer.get())) << text;
        EXPECT_EQ(PyErr_Occurred(), nullptr);
    }
    for (const char* text : {"True", "2**63", "None", "1.0"}) {
        const PyRef answer = evaluate(text);
        const PyRef file = file_seeking_to(answer.get());
        const RefCountWatch count(answer.get());
        EXPECT_EQ(fn_clbk_rawio_length(file.get()), -1) << text;
        const PyRef error = take_error();
        EXPECT_EQ(text_of(error.get()), "While calculating the length of the stream, an error occurred.");
        EXPECT_TRUE(PyRef::steal(PyException_GetCause(error.get())));
        if (answer.get() != Py_None) {
            EXPECT_EQ(count.change(), 0) << text;
        }
    }
}

TEST_F(LyingFiles, AViewThatIsKeptStaysAnObject) {
    const PyRef names =
        run("kept = []\ndef keep(view):\n    kept.append(view)\n    return 1\n"
            "class Keeps:\n    closed = False\n    readinto = write = staticmethod(keep)\nkeeps = Keeps()\n");
    PyObject* file = entry_of(names, "keeps");
    char memory[4] = "abc";
    EXPECT_EQ(fn_clbk_rawio_read(file, memory, 4), 1);
    EXPECT_EQ(fn_clbk_rawio_write(file, memory, 4), 1);
    EXPECT_EQ(fn_clbk_rawio_write_byte(file, 7), 1);
    EXPECT_EQ(fn_clbk_rawio_readbyte(file), 0);
    PyObject* kept = entry_of(names, "kept");
    ASSERT_EQ(PyList_GET_SIZE(kept), 4);
    for (Py_ssize_t i = 0; i < 4; ++i) {
        // One reference is the list's, the other is the one that the callback does not drop.
        EXPECT_EQ(Py_REFCNT(PyList_GET_ITEM(kept, i)), 2);
        for (Py_ssize_t other = 0; other < i; ++other) {
            EXPECT_NE(PyList_GET_ITEM(kept, i), PyList_GET_ITEM(kept, other)) << "views are made anew";
        }
    }
}

TEST_F(LyingFiles, CloseIgnoresTheResultAndReportsAnErrorAsUnraisable) {
    const UnraisableWatch watch;
    PyErr_SetString(PyExc_ValueError, "older");
    const PyRef missing = [] {
        PyObject* type;
        PyObject* value;
        PyObject* traceback;
        PyErr_Fetch(&type, &value, &traceback);
        PyRef made = evaluate("object()");
        PyErr_Restore(type, value, traceback);
        return made;
    }();
    fn_clbk_rawio_close(missing.get());
    expect_error(PyExc_ValueError, "older");
    EXPECT_NE(watch.reports().find("AttributeError"), std::string::npos);
    const PyRef answer = evaluate("object()");
    const PyRef file = file_giving(answer.get());
    const RefCountWatch count(answer.get());
    fn_clbk_rawio_close(file.get());
    EXPECT_EQ(count.change(), 0);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

}  // namespace
