// The way from libjpeg's errors to exceptions.
//
// The library reports an error by a call that must not return: it jumps to the place that called the library last.
// Between that place and the library stand only steps whose objects need no destructor, and callbacks that throw
// nothing through the library's code.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ERRORS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ERRORS_H

#include <cstdio>  // which the library's header takes for granted

#include <jpeglib.h>

#include <array>
#include <csetjmp>
#include <exception>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

// The error manager of one structure of the library, whose `client_data` points to it.
class JpegErrors {
 public:
    // Errors of the library are failures of that kind, unless the library has no memory or lacks a feature.
    explicit JpegErrors(Failure kind);
    JpegErrors(const JpegErrors&) = delete;
    JpegErrors& operator=(const JpegErrors&) = delete;

    // Runs a step that calls the library. The step owns nothing that has a destructor.
    template <class Step>
    void run(Step&& step) {
        if (setjmp(m_jump) != 0) {
            fail();
        }
        step();
    }

 protected:
    ~JpegErrors() = default;

    jpeg_error_mgr* manager() { return &m_manager; }
    // Called with the code of each warning, by which the library tells of damage that it goes on behind.
    virtual void warned([[maybe_unused]] int code) {}

    // For callbacks of the library, as their last act: the running step ends with the exception that was kept,
    void keep(std::exception_ptr error) { m_thrown = std::move(error); }
    [[noreturn]] void leave() { std::longjmp(m_jump, 1); }
    // or with the library's error of that code.
    [[noreturn]] void leave_with(j_common_ptr codec, int code);

 private:
    [[noreturn]] void fail();
    [[noreturn]] static void on_error(j_common_ptr codec);
    static void on_message(j_common_ptr codec, int level);

    Failure m_kind;
    jpeg_error_mgr m_manager{};
    std::jmp_buf m_jump{};
    std::array<char, JMSG_LENGTH_MAX> m_text{};
    std::exception_ptr m_thrown;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ERRORS_H
