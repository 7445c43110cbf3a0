// Sources over open files, and the register of them; see data_source.h and open_files.h.
//
// There must be one register in a process. The runtime and the backend are two libraries, so only the runtime is linked
// with this source: it opens the files, and the backend reads them through the interface.
#include "runtime/native/imagework/pixels/open_files.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void throw_unreadable(const char* what, int error) {
    throw PictureError(Failure::kDamaged, std::string(what) + ": " + std::strerror(error));
}

[[noreturn]] void throw_no_room(const char* what, int error) {
    throw PictureError(Failure::kInternal, std::string(what) + ": " + std::strerror(error));
}

struct stat status_of(int descriptor) {
    struct stat found {};
    if (::fstat(descriptor, &found) != 0) {
        throw_unreadable("the file cannot be looked at", errno);
    }
    return found;
}

bool is_same_time(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// The bytes there; fewer where the file ends before.
size_t read_from(int descriptor, uint64_t offset, std::span<uint8_t> out) {
    size_t done = 0;
    while (done < out.size()) {
        const ssize_t count =
            ::pread(descriptor, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
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
    return done;
}

// A descriptor that is closed in the end.
class OwnDescriptor {
 public:
    explicit OwnDescriptor(int number) : m_number(number) {}
    ~OwnDescriptor() {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }
    OwnDescriptor(OwnDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    OwnDescriptor& operator=(OwnDescriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    OwnDescriptor(const OwnDescriptor&) = delete;
    OwnDescriptor& operator=(const OwnDescriptor&) = delete;
    int get() const { return m_number; }
    bool is_open() const { return m_number >= 0; }

 private:
    int m_number;
};

// A file without a name: in memory, or on the disk where there is more of it.
OwnDescriptor nameless_file(uint64_t size) {
    if (size <= limits::kKeptFileBytes) {
        OwnDescriptor in_memory(::memfd_create("zelmor-picture", MFD_CLOEXEC));
        if (in_memory.is_open()) {
            return in_memory;
        }
    }
    const char* folder = std::getenv("TMPDIR");
    std::string name = std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/zelmor-XXXXXX";
    OwnDescriptor on_disk(::mkostemp(name.data(), O_CLOEXEC));
    if (!on_disk.is_open()) {
        throw_no_room("a temporary file cannot be made", errno);
    }
    ::unlink(name.c_str());
    return on_disk;
}

void write_all(int descriptor, std::span<const uint8_t> data) {
    while (!data.empty()) {
        const ssize_t count = ::write(descriptor, data.data(), data.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw_no_room("a copy cannot be written", errno);
        }
        data = data.subspan(static_cast<size_t>(count));
    }
}

OwnDescriptor copy_of(int descriptor, uint64_t size) {
    constexpr size_t kPiece = size_t{1} << 20;
    OwnDescriptor copy = nameless_file(size);
    std::vector<uint8_t> piece(static_cast<size_t>(std::min<uint64_t>(size, kPiece)));
    for (uint64_t at = 0; at < size;) {
        const size_t count = read_from(descriptor, at, std::span(piece).first(std::min<uint64_t>(kPiece, size - at)));
        if (count == 0) {
            break;  // it was cut off: the caller sees that it has changed
        }
        write_all(copy.get(), std::span(piece).first(count));
        at += count;
    }
    return copy;
}

class FileSource;

// The sources that exist, by their files.
class Register {
 public:
    void add(const FileIdentity& file, const std::shared_ptr<const FileSource>& source) {
        const std::lock_guard lock(m_mutex);
        m_sources.emplace(file, std::pair(source.get(), source));
    }
    void remove(const FileIdentity& file, const FileSource* source) {
        const std::lock_guard lock(m_mutex);
        const auto [first, last] = m_sources.equal_range(file);
        const auto found = std::find_if(first, last, [&](const auto& entry) { return entry.second.first == source; });
        if (found != last) {
            m_sources.erase(found);
        }
    }
    // Those that nobody is about to destroy.
    std::vector<std::shared_ptr<const FileSource>> sources_of(const FileIdentity& file) {
        const std::lock_guard lock(m_mutex);
        std::vector<std::shared_ptr<const FileSource>> found;
        const auto [first, last] = m_sources.equal_range(file);
        for (auto entry = first; entry != last; ++entry) {
            if (auto source = entry->second.second.lock()) {
                found.push_back(std::move(source));
            }
        }
        return found;
    }
    size_t count() {
        const std::lock_guard lock(m_mutex);
        return m_sources.size();
    }
    std::mutex& mutex() { return m_mutex; }

 private:
    std::mutex m_mutex;
    std::multimap<FileIdentity, std::pair<const FileSource*, std::weak_ptr<const FileSource>>> m_sources;
};

// Never destroyed: sources may live longer than the static objects of the library. A process that forks gets the
// register in a state in which no other thread was changing it.
Register& open_sources() {
    static Register* const all = [] {
        static auto* made = new Register;
        ::pthread_atfork([] { made->mutex().lock(); }, [] { made->mutex().unlock(); }, [] { made->mutex().unlock(); });
        return made;
    }();
    return *all;
}

class FileSource final : public DataSource {
 public:
    explicit FileSource(int descriptor) : m_file(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {
        if (!m_file.is_open()) {
            throw_unreadable("the file cannot be kept open", errno);
        }
        m_opened = settled_status();
    }
    ~FileSource() override { open_sources().remove(FileIdentity(m_opened), this); }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    FileIdentity identity() const { return FileIdentity(m_opened); }
    uint64_t size() const override { return static_cast<uint64_t>(m_opened.st_size); }

    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        if (offset >= size()) {
            return 0;
        }
        const auto wanted = out.first(static_cast<size_t>(std::min<uint64_t>(out.size(), size() - offset)));
        for (;;) {
            const bool was_copy = is_copy(status_of(m_file.get()));
            const size_t done = read_from(m_file.get(), offset, wanted);
            // After the read: a change before it or during it shows then.
            const struct stat now = status_of(m_file.get());
            if (was_copy) {
                return done;
            }
            if (!is_copy(now)) {
                require_unchanged(now);
                return done;
            }
            // The copy has taken the file's place meanwhile: what came before may be the new content.
        }
    }

    // Reads a copy from now on; makes it if no other source has made one. A source whose file was changed already has
    // nothing to keep.
    void keep_bytes(OwnDescriptor& copy) const {
        if (const struct stat now = status_of(m_file.get()); is_copy(now) || is_changed(now)) {
            return;
        }
        if (!copy.is_open()) {
            OwnDescriptor made = copy_of(m_file.get(), size());
            if (is_changed(status_of(m_file.get()))) {
                return;
            }
            copy = std::move(made);
        }
        // One step for all threads that read: the number of the descriptor stays the same.
        if (::dup3(copy.get(), m_file.get(), O_CLOEXEC) < 0) {
            throw_no_room("the copy cannot take the place of the file", errno);
        }
    }

 private:
    bool is_copy(const struct stat& now) const { return FileIdentity(now) != FileIdentity(m_opened); }
    bool is_changed(const struct stat& now) const {
        return now.st_size != m_opened.st_size || !is_same_time(now.st_mtim, m_opened.st_mtim);
    }
    void require_unchanged(const struct stat& now) const {
        if (is_changed(now)) {
            throw PictureError(Failure::kDamaged, "the file was changed after the image was loaded from it");
        }
    }

    // The clock that stamps files goes on in steps of some milliseconds. A file that was written in this very step
    // could be written again and have the same stamp, so that the end of the step is waited for.
    struct stat settled_status() const {
        constexpr int kTries = 50;
        constexpr struct timespec kPause {
            .tv_sec = 0, .tv_nsec = 1'000'000
        };
        struct stat found = status_of(m_file.get());
        struct timespec now {};
        for (int i = 0;
             i < kTries && ::clock_gettime(CLOCK_REALTIME_COARSE, &now) == 0 && is_same_time(found.st_mtim, now); ++i) {
            ::nanosleep(&kPause, nullptr);
            found = status_of(m_file.get());
        }
        return found;
    }

    OwnDescriptor m_file;
    struct stat m_opened {};
};

}  // namespace

SharedSource file_source(int descriptor) {
    assert(descriptor >= 0);
    auto source = std::make_shared<const FileSource>(descriptor);
    open_sources().add(source->identity(), source);
    return source;
}

void keep_bytes_of(const FileIdentity& file) {
    OwnDescriptor copy(-1);
    for (const auto& source : open_sources().sources_of(file)) {
        source->keep_bytes(copy);
    }
}

size_t open_file_count() {
    return open_sources().count();
}

}  // namespace zelmor::imagework
