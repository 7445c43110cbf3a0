// The streams there are: a Python file, memory, a file on disk.
#include "runtime/native/core/stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "exchange/wire/tags.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

const TypeInfo& stream_type() {
    static const TypeInfo& type = intern_type("System.IO.Stream");
    return type;
}

int chunk(size_t count) {
    return static_cast<int>(std::min<size_t>(count, INT_MAX));
}

// A Python file. It is held for as long as the stream lives, so that a container may keep it beyond the call.
class PyFileStream final : public ManagedStream {
 public:
    explicit PyFileStream(PyObject* file)
        : ManagedStream(intern_type("Zelmor.WrpGen.Interop.PyFileStream", TypeKind::kClass, &stream_type())),
          file_(PyHeld::borrow(file)) {}

    bool can_read() const override { return capability(io().readable, "readable()"); }
    bool can_write() const override { return capability(io().writable, "writable()"); }
    bool can_seek() const override { return capability(io().seekable, "seekable()"); }
    int64_t length() override {
        const int64_t length = io().length(file_.get());
        if (length == -1) throw_python_error("Finding out the length of the stream");
        if (length == -2) throw_no_seek();
        if (length == -3) throw_disposed(type().full_name);
        return length;
    }
    int64_t position() override { return checked(io().tell(file_.get()), "tell()"); }
    int64_t seek(int64_t offset, SeekFrom from) override {
        return checked(io().seek(file_.get(), offset, static_cast<int>(from)), "seek()");
    }
    void set_length(int64_t) override { throw_not_supported("Setting the length of a Python file"); }
    size_t read(std::span<std::byte> into) override {
        if (into.empty()) return 0;
        const int asked = chunk(into.size());
        const int count = io().read(file_.get(), into.data(), asked);
        if (count < 0) throw_python_error("readinto() of the stream");
        if (count > asked) throw ManagedException("IOException", "readinto() answered more bytes than it was given.");
        return static_cast<size_t>(count);
    }
    void write(std::span<const std::byte> from) override {
        while (!from.empty()) {
            const int count = io().write(file_.get(), from.data(), chunk(from.size()));
            if (count < 0) throw_python_error("write() of the stream");
            if (count == 0) throw_nothing_taken();
            from = from.subspan(std::min(from.size(), static_cast<size_t>(count)));
        }
    }
    // Unlike a block, a single byte tells a file that has nothing yet from one that is at its end.
    int read_byte() override {
        const int byte = io().readbyte(file_.get());
        if (byte == -2) throw_python_error("readinto() of the stream");
        return byte;
    }
    void write_byte(uint8_t value) override {
        const int count = io().write_byte(file_.get(), value);
        if (count < 0) throw_python_error("write() of the stream");
        if (count == 0) throw_nothing_taken();
    }
    void flush() override {
        if (io().flush(file_.get()) < 0) throw_python_error("flush() of the stream");
    }
    void on_dispose() override { io().close(file_.get()); }
    PyObject* python_file() const override { return file_.get(); }

 private:
    static const PyRawIoCallbacks& io() { return *tables().rawio; }
    bool capability(int (*ask)(PyObject*), const char* name) const {
        const int answer = ask(file_.get());
        if (answer < 0) throw_python_error(name);
        return answer != 0;
    }
    static int64_t checked(int64_t result, const char* name) {
        if (result < 0) throw_python_error(name);
        return result;
    }
    [[noreturn]] static void throw_nothing_taken() {
        throw ManagedException("IOException", "The stream took no bytes: its write() answered 0.");
    }
    [[noreturn]] static void throw_no_seek() {
        throw ManagedException("NotSupportedException", "The stream does not support seeking.");
    }

    PyHeld file_;
};

int64_t moved(int64_t base, int64_t offset) {
    int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) {
        throw ManagedException("IOException",
                               "An attempt was made to move the position before the beginning of the "
                               "stream (offset " +
                                   std::to_string(offset) + ").");
    }
    return target;
}

class MemoryStream final : public ManagedStream {
 public:
    explicit MemoryStream(std::vector<std::byte> content)
        : ManagedStream(intern_type("System.IO.MemoryStream", TypeKind::kClass, &stream_type())),
          content_(std::move(content)) {}

    bool can_read() const override { return !disposed(); }
    bool can_write() const override { return !disposed(); }
    bool can_seek() const override { return !disposed(); }
    int64_t length() override {
        require_live();
        return static_cast<int64_t>(content_.size());
    }
    int64_t position() override {
        require_live();
        return position_;
    }
    int64_t seek(int64_t offset, SeekFrom from) override {
        require_live();
        const int64_t base = from == SeekFrom::kBegin ? 0 : from == SeekFrom::kCurrent ? position_ : length();
        return position_ = moved(base, offset);
    }
    void set_length(int64_t length) override {
        require_live();
        if (length < 0) throw_out_of_range("value", "The length " + std::to_string(length) + " is negative.");
        content_.resize(static_cast<size_t>(length));
        position_ = std::min(position_, length);
    }
    size_t read(std::span<std::byte> into) override {
        require_live();
        if (position_ >= length()) return 0;
        const size_t count = std::min(into.size(), content_.size() - static_cast<size_t>(position_));
        std::copy_n(content_.begin() + position_, count, into.begin());
        position_ += static_cast<int64_t>(count);
        return count;
    }
    void write(std::span<const std::byte> from) override {
        require_live();
        const size_t end = static_cast<size_t>(position_) + from.size();
        if (end > content_.size()) content_.resize(end);
        std::copy(from.begin(), from.end(), content_.begin() + position_);
        position_ += static_cast<int64_t>(from.size());
    }
    void flush() override {}

 private:
    std::vector<std::byte> content_;
    int64_t position_ = 0;
};

[[noreturn]] void throw_file_error(const std::string& path, int error) {
    const std::string quoted = "'" + path + "'";
    switch (error) {
        case ENOENT: {
            const auto slash = path.rfind('/');
            const std::string parent = slash == std::string::npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
            struct stat info {};
            if (stat(parent.c_str(), &info) != 0) {
                throw ManagedException("DirectoryNotFoundException",
                                       "Could not find a part of the path " + quoted + ".");
            }
            throw ManagedException("FileNotFoundException", "Could not find file " + quoted + ".");
        }
        case ENOTDIR:
            throw ManagedException("DirectoryNotFoundException", "Could not find a part of the path " + quoted + ".");
        case EACCES:
        case EPERM:
        case EISDIR:
        case EROFS:
            throw ManagedException("UnauthorizedAccessException", "Access to the path " + quoted + " is denied.");
        case ENAMETOOLONG:
            throw ManagedException("PathTooLongException", "The path " + quoted + " is too long.");
        default:
            throw ManagedException("IOException", std::string(std::strerror(error)) + ": " + quoted);
    }
}

class FileStream final : public ManagedStream {
 public:
    FileStream(std::string path, FileUse use)
        : ManagedStream(intern_type("System.IO.FileStream", TypeKind::kClass, &stream_type())),
          path_(std::move(path)),
          writable_(use != FileUse::kRead) {
        const int flags = use == FileUse::kRead        ? O_RDONLY
                          : use == FileUse::kReadWrite ? O_RDWR
                                                       : O_RDWR | O_CREAT | O_TRUNC;
        descriptor_ = ::open(path_.c_str(), flags | O_CLOEXEC, 0666);
        if (descriptor_ < 0) throw_file_error(path_, errno);
        struct stat info {};
        if (::fstat(descriptor_, &info) == 0 && S_ISDIR(info.st_mode)) {
            close_descriptor();
            throw_file_error(path_, EISDIR);
        }
    }
    ~FileStream() override { close_descriptor(); }

    bool can_read() const override { return !disposed(); }
    bool can_write() const override { return writable_ && !disposed(); }
    bool can_seek() const override { return !disposed() && ::lseek(descriptor_, 0, SEEK_CUR) >= 0; }
    int64_t length() override {
        struct stat info {};
        if (::fstat(open_descriptor(), &info) != 0) throw_file_error(path_, errno);
        return info.st_size;
    }
    int64_t position() override { return checked(::lseek(open_descriptor(), 0, SEEK_CUR)); }
    int64_t seek(int64_t offset, SeekFrom from) override {
        return checked(::lseek(open_descriptor(), offset, static_cast<int>(from)));
    }
    void set_length(int64_t length) override {
        if (length < 0) throw_out_of_range("value", "The length " + std::to_string(length) + " is negative.");
        checked(::ftruncate(open_descriptor(), length));
    }
    size_t read(std::span<std::byte> into) override {
        return static_cast<size_t>(checked(retried(::read, into.data(), into.size())));
    }
    void write(std::span<const std::byte> from) override {
        if (!writable_) throw ManagedException("NotSupportedException", "The stream of '" + path_ + "' is read-only.");
        while (!from.empty()) {
            from = from.subspan(static_cast<size_t>(checked(retried(::write, from.data(), from.size()))));
        }
    }
    void flush() override { open_descriptor(); }
    void on_dispose() override { close_descriptor(); }

 private:
    int open_descriptor() const {
        require_live();
        return descriptor_;
    }
    int64_t checked(int64_t result) const {
        if (result < 0) throw_file_error(path_, errno);
        return result;
    }
    template <class Call, class Data>
    int64_t retried(Call call, Data data, size_t count) const {
        int64_t result;
        do {
            result = call(open_descriptor(), data, count);
        } while (result < 0 && errno == EINTR);
        return result;
    }
    void close_descriptor() {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = -1;
    }

    std::string path_;
    bool writable_;
    int descriptor_ = -1;
};

}  // namespace

std::vector<std::byte> ManagedStream::read_to_end() {
    std::vector<std::byte> all;
    if (can_seek()) all.reserve(static_cast<size_t>(std::max<int64_t>(0, length() - position())));
    constexpr size_t kBlock = 64 * 1024;
    for (;;) {
        const size_t filled = all.size();
        all.resize(std::max(filled + kBlock, all.capacity()));
        const size_t count = read(std::span(all).subspan(filled));
        all.resize(filled + count);
        if (count == 0) return all;
    }
}

int ManagedStream::read_byte() {
    std::byte byte;
    return read({&byte, 1}) == 1 ? static_cast<int>(byte) : -1;
}

void ManagedStream::write_byte(uint8_t value) {
    const std::byte byte{value};
    write({&byte, 1});
}

void ManagedStream::read_exactly(std::span<std::byte> into) {
    while (!into.empty()) {
        const size_t count = read(into);
        if (count == 0) {
            throw ManagedException("EndOfStreamException", "The stream ended " + std::to_string(into.size()) +
                                                               " bytes before the end of the data.");
        }
        into = into.subspan(count);
    }
}

Ref<ManagedStream> read_stream_or_null(const VariantArg* arg) {
    switch (arg->tag) {
        case kHandleObject:
            return Ref<ManagedStream>(target_or_null<ManagedStream>(arg->value));
        case kHandlePyObject:
            return make_ref<PyFileStream>(static_cast<PyObject*>(arg->value));
        default:
            throw_invalid_cast("a value with tag " + std::to_string(arg->tag), ManagedStream::kManagedName);
    }
}

Ref<ManagedStream> read_stream(const VariantArg* arg, const char* parameter) {
    auto stream = read_stream_or_null(arg);
    if (!stream) throw_argument_null(parameter);
    return stream;
}

void write_stream(const Ref<ManagedStream>& stream, PyCollectionArg* out) {
    *out = {};
    if (!stream) return;
    if (PyObject* file = stream->python_file()) {
        out->kind = kCollectionPyObject;
        out->value = file;
        return;
    }
    out->kind = kCollectionObject;
    out->type_id = type_id(stream->type());
    out->value = make_handle(stream);
}

Ref<ManagedStream> make_memory_stream(std::vector<std::byte> content) {
    return make_ref<MemoryStream>(std::move(content));
}

Ref<ManagedStream> open_file_stream(const std::string& path, FileUse use) {
    return make_ref<FileStream>(path, use);
}

}  // namespace zelmor::embed
