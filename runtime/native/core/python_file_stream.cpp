// A Python file behind a managed stream, worked on through the raw-IO callbacks.
//
// Files are user code: they may raise, and they may lie. What they raise becomes a managed exception with its text;
// an answer that cannot be true is refused and never used to count with.
#include <algorithm>
#include <climits>
#include <string>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

int chunk(size_t count) {
    return static_cast<int>(std::min<size_t>(count, INT_MAX));
}

// A Python file. It is held for as long as the stream lives, so that a container may keep it beyond the call.
class PyFileStream final : public ManagedStream {
 public:
    explicit PyFileStream(PyObject* file)
        : ManagedStream(intern_type("Zelmor.WrpGen.Interop.PyFileStream", TypeKind::kClass, &stream_type())),
          m_file(PyHeld::borrow(file)) {}

    bool can_read() const override { return capability(io().readable, "readable()"); }
    bool can_write() const override { return capability(io().writable, "writable()"); }
    bool can_seek() const override { return capability(io().seekable, "seekable()"); }
    int64_t length() override {
        const int64_t length = io().length(m_file.get());
        if (length == -2) {
            throw_no_seek();
        }
        if (length == -3) {
            throw_disposed(type().full_name);
        }
        return checked(length, "Finding out the length of the stream");
    }
    int64_t position() override { return checked(io().tell(m_file.get()), "tell() of the stream"); }
    int64_t seek(int64_t offset, api::SeekOrigin origin) override {
        return checked(io().seek(m_file.get(), offset, static_cast<int>(origin)), "seek() of the stream");
    }
    // There is no callback for it. A file grows by being written to; making one shorter is up to its owner.
    void set_length(int64_t length) override {
        if (length < 0) {
            throw_out_of_range("value", "The length " + std::to_string(length) + " is negative.");
        }
        const int64_t had = this->length();
        if (length < had) {
            throw ManagedException("NotSupportedException",
                                   "Setting the length of a Python file to less than it has is not possible from here: "
                                   "call its truncate() instead.");
        }
        const int64_t kept = std::min(position(), length);
        if (length > had) {
            // A file fills the gap before what is written behind its end with zeros, and refuses at once if it cannot.
            constexpr std::byte kZero{};
            set_position(length - 1);
            write(std::span(&kZero, 1));
        }
        set_position(kept);
    }
    size_t read(std::span<std::byte> into) override {
        if (into.empty()) {
            return 0;
        }
        const int asked = chunk(into.size());
        return checked_count(io().read(m_file.get(), into.data(), asked), asked, "readinto() of the stream");
    }
    void write(std::span<const std::byte> from) override {
        while (!from.empty()) {
            const int given = chunk(from.size());
            from = from.subspan(taken(io().write(m_file.get(), from.data(), given), given));
        }
    }
    // Unlike a block, a single byte tells a file that has nothing yet from one that is at its end.
    int read_byte() override {
        const int byte = io().readbyte(m_file.get());
        if (byte == -2) {
            throw_python_error("readinto() of the stream");
        }
        return byte;
    }
    void write_byte(uint8_t value) override { taken(io().write_byte(m_file.get(), value), 1); }
    void flush() override {
        if (io().flush(m_file.get()) < 0) {
            throw_python_error("flush() of the stream");
        }
    }
    void on_dispose() override { io().close(m_file.get()); }
    PyObject* python_file() const override { return m_file.get(); }

 private:
    static const PyRawIoCallbacks& io() { return *tables().rawio; }
    bool capability(int (*ask)(PyObject*), const char* name) const {
        const int answer = ask(m_file.get());
        if (answer < 0) {
            throw_python_error(name);
        }
        return answer != 0;
    }
    // What a file answers is taken at its word only where it can be true. -1 is how a callback says that it failed.
    static int64_t checked(int64_t answer, const char* call) {
        if (answer == -1) {
            throw_python_error(call);
        }
        if (answer < 0) {
            throw_impossible(call, answer, "a position or length is never negative");
        }
        return answer;
    }
    static size_t checked_count(int answer, int most, const char* call) {
        if (answer == -1) {
            throw_python_error(call);
        }
        if (answer < 0 || answer > most) {
            throw_impossible(call, answer, "it had " + std::to_string(most) + " bytes to work on");
        }
        return static_cast<size_t>(answer);
    }
    static size_t taken(int answer, int given) {
        const size_t count = checked_count(answer, given, "write() of the stream");
        if (count == 0) {
            throw ManagedException("IOException", "The stream took no bytes: its write() answered 0 or None.");
        }
        return count;
    }
    [[noreturn]] static void throw_impossible(const char* call, int64_t answer, const std::string& why) {
        throw ManagedException("IOException",
                               std::string(call) + " answered " + std::to_string(answer) + ", but " + why + ".");
    }
    [[noreturn]] static void throw_no_seek() {
        throw ManagedException("NotSupportedException", "The stream does not support seeking.");
    }

    PyHeld m_file;
};

}  // namespace

Ref<ManagedStream> make_python_file_stream(PyObject* file) {
    return make_ref<PyFileStream>(file);
}

}  // namespace zelmor::embed
