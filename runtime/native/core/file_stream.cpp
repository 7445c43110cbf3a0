// A stream over a file on disk, or over what else has a name there: a pipe, a device.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/file_changes.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

using api::SeekOrigin;

// The numbers of the enumeration are those of the system.
static_assert(static_cast<int>(SeekOrigin::kBegin) == SEEK_SET && static_cast<int>(SeekOrigin::kCurrent) == SEEK_CUR &&
              static_cast<int>(SeekOrigin::kEnd) == SEEK_END);

class FileStream final : public ManagedStream {
 public:
    FileStream(std::string path, FileUse use, const char* doing)
        : ManagedStream(intern_type("System.IO.FileStream", TypeKind::kClass, &stream_type())),
          m_path(std::move(path)),
          m_writable(use != FileUse::kRead) {
        const int flags = use == FileUse::kRead ? O_RDONLY : use == FileUse::kReadWrite ? O_RDWR : O_RDWR | O_CREAT;
        m_descriptor = ::open(m_path.c_str(), flags | O_CLOEXEC, 0666);
        if (m_descriptor < 0) {
            throw_file_error(m_path, errno, doing);
        }
        struct stat info {};
        if (::fstat(m_descriptor, &info) != 0 || S_ISDIR(info.st_mode)) {
            const int error = S_ISDIR(info.st_mode) ? EISDIR : errno;
            close_descriptor();
            throw_file_error(m_path, error, doing);
        }
        if (use == FileUse::kCreate) {
            empty_file(info);
        }
    }
    ~FileStream() override { close_descriptor(); }

    bool can_read() const override { return !disposed(); }
    bool can_write() const override { return m_writable && !disposed(); }
    bool can_seek() const override { return !disposed() && ::lseek(m_descriptor, 0, SEEK_CUR) >= 0; }
    int64_t length() override {
        require_seeking();
        struct stat info {};
        if (::fstat(open_descriptor(), &info) != 0) {
            throw_file_error(m_path, errno, "use");
        }
        return info.st_size;
    }
    int64_t position() override {
        require_seeking();
        return checked(::lseek(open_descriptor(), 0, SEEK_CUR));
    }
    int64_t seek(int64_t offset, SeekOrigin origin) override {
        require_seeking();
        return checked(::lseek(open_descriptor(), offset, static_cast<int>(origin)));
    }
    void set_length(int64_t length) override {
        if (length < 0) {
            throw_out_of_range("value", "The length " + std::to_string(length) + " is negative.");
        }
        require_seeking();
        require_writable();
        announce_change(open_descriptor());
        checked(::ftruncate(open_descriptor(), length));
        if (position() > length) {
            set_position(length);
        }
    }
    size_t read(std::span<std::byte> into) override {
        return static_cast<size_t>(checked(retried(::read, into.data(), into.size())));
    }
    void write(std::span<const std::byte> from) override {
        require_live();
        require_writable();
        announce_change(m_descriptor);
        while (!from.empty()) {
            from = from.subspan(static_cast<size_t>(checked(retried(::write, from.data(), from.size()))));
        }
    }
    void flush() override { open_descriptor(); }
    int descriptor() const override { return m_descriptor; }
    void on_dispose() override { close_descriptor(); }

 private:
    int open_descriptor() const {
        require_live();
        return m_descriptor;
    }
    // A pipe has no length and no position.
    void require_seeking() const {
        require_live();
        if (!can_seek()) {
            throw ManagedException("NotSupportedException", "The stream of '" + m_path + "' does not support seeking.");
        }
    }
    void require_writable() const {
        if (!m_writable) {
            throw ManagedException("NotSupportedException", "The stream of '" + m_path + "' is read-only.");
        }
    }
    int64_t checked(int64_t result) const {
        if (result < 0) {
            throw_file_error(m_path, errno, "use");
        }
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
    // As opening with O_TRUNC does it: what is no regular file has nothing to lose.
    void empty_file(const struct stat& info) {
        try {
            if (S_ISREG(info.st_mode) && info.st_size > 0) {
                announce_change(m_descriptor);
                checked(::ftruncate(m_descriptor, 0));
            }
        } catch (...) {
            close_descriptor();  // there will be no destructor
            throw;
        }
    }
    void close_descriptor() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
        m_descriptor = -1;
    }

    std::string m_path;
    bool m_writable;
    int m_descriptor = -1;
};

}  // namespace

Ref<ManagedStream> open_file_stream(const std::string& path, FileUse use, const char* doing) {
    return make_ref<FileStream>(path, use, doing);
}

}  // namespace zelmor::embed
