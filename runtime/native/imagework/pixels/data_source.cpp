// The two kinds of sources; see data_source.h.
#include "runtime/native/imagework/pixels/data_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <string>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

class MemorySource final : public DataSource {
 public:
    explicit MemorySource(std::vector<uint8_t> bytes) : m_owned(std::move(bytes)), m_bytes(m_owned) {}
    explicit MemorySource(std::span<const uint8_t> borrowed) : m_bytes(borrowed) {}

    uint64_t size() const override { return m_bytes.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        if (offset >= m_bytes.size()) {
            return 0;
        }
        const size_t count = std::min<uint64_t>(out.size(), m_bytes.size() - offset);
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
        return count;
    }
    std::span<const uint8_t> in_memory() const override { return m_bytes; }

 private:
    std::vector<uint8_t> m_owned;
    std::span<const uint8_t> m_bytes;
};

[[noreturn]] void throw_unreadable(const char* what, int error) {
    throw PictureError(Failure::kDamaged, std::string(what) + ": " + std::strerror(error));
}

class FileSource final : public DataSource {
 public:
    explicit FileSource(int descriptor) : m_descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {
        if (m_descriptor < 0) {
            throw_unreadable("the file cannot be kept open", errno);
        }
        m_opened = status();
    }
    ~FileSource() override { ::close(m_descriptor); }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    uint64_t size() const override { return static_cast<uint64_t>(m_opened.st_size); }

    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        size_t done = 0;
        while (done < out.size() && offset + done < size()) {
            const ssize_t count =
                ::pread(m_descriptor, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                throw_unreadable("the file cannot be read", errno);
            }
            if (count == 0) {
                break;
            }
            done += static_cast<size_t>(count);
        }
        require_unchanged();
        return std::min<size_t>(done, offset < size() ? size() - offset : 0);
    }

 private:
    struct stat status() const {
        struct stat found {};
        if (::fstat(m_descriptor, &found) != 0) {
            throw_unreadable("the file cannot be looked at", errno);
        }
        return found;
    }

    // After the read: a change before it or during it shows then.
    void require_unchanged() const {
        const struct stat now = status();
        if (now.st_size != m_opened.st_size || now.st_mtim.tv_sec != m_opened.st_mtim.tv_sec ||
            now.st_mtim.tv_nsec != m_opened.st_mtim.tv_nsec) {
            throw PictureError(Failure::kDamaged, "the file was changed after the image was loaded from it");
        }
    }

    int m_descriptor;
    struct stat m_opened {};
};

}  // namespace

SharedSource memory_source(std::vector<uint8_t> bytes) {
    return std::make_shared<const MemorySource>(std::move(bytes));
}

SharedSource borrowed_source(std::span<const uint8_t> bytes) {
    return std::make_shared<const MemorySource>(bytes);
}

SharedSource file_source(int descriptor) {
    assert(descriptor >= 0);
    return std::make_shared<const FileSource>(descriptor);
}

std::vector<uint8_t> all_bytes(const DataSource& source) {
    const auto held = source.in_memory();
    if (!held.empty()) {
        return {held.begin(), held.end()};
    }
    std::vector<uint8_t> bytes(source.size());
    bytes.resize(source.read_at(0, bytes));
    return bytes;
}

}  // namespace zelmor::imagework
