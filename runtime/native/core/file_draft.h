// A draft: a file beside the target of a save that is moved there when it is complete.
//
// The draft has no name if the file system can do without; then nothing is left of a program that is killed. Otherwise
// its name follows from that of the target, and the next save of the target removes it.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_FILE_DRAFT_H
#define ZELMOR_RUNTIME_NATIVE_CORE_FILE_DRAFT_H

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

namespace zelmor::embed {

// An open file that is closed with this object.
class Descriptor {
 public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_number; }
    bool is_open() const { return m_number >= 0; }
    // Tells of an error that only closing brings to light.
    int close() {
        const int result = ::close(m_number);
        m_number = -1;
        return result;
    }

 private:
    int m_number;
};

// A system call, made again where a signal ended it.
template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Both answer with an error number, or 0.
int write_all(int descriptor, std::span<const uint8_t> data);
// Brings what was written to the disk.
int flush_file(int descriptor);

// ".zelmor-0123456789abcdef.part", beside the target. The number is a hash (FNV-1a) of the target's name, so that the
// names of one file are found without a search.
std::string name_beside(const std::string& target, const std::string& suffix);

// All functions answer with an error number, or 0.
class FileDraft {
 public:
    explicit FileDraft(std::string target);
    // Removes the draft unless it was moved into place.
    ~FileDraft();
    FileDraft(const FileDraft&) = delete;
    FileDraft& operator=(const FileDraft&) = delete;

    int create();
    // Of the draft once it is made, for reading and writing.
    int descriptor() const { return m_file.get(); }
    const std::string& target() const { return m_target; }
    // The content is on the disk, and then under the target's name; `replaces` says that there is a file of that name.
    int move_into_place(bool replaces);

 private:
    int give_name(const std::function<int(const std::string& name)>& make);
    int lock() const;
    int link_to(const std::string& name) const;

    std::string m_target;
    std::string m_name;  // while the draft has one
    Descriptor m_file;
    bool m_nameless = false;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_FILE_DRAFT_H
