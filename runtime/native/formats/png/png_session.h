// A session of libpng: its structures, and the way from its errors to exceptions.
//
// The library reports an error by a jump to the place that called it last. Between that place and the library stand
// only steps whose objects need no destructor, and callbacks that throw nothing through the library's code.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_SESSION_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_SESSION_H

#include <png.h>

#include <array>
#include <csetjmp>
#include <exception>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

class PngSession {
 public:
    enum class Use : uint8_t { kRead, kWrite };

    explicit PngSession(Use use);
    PngSession(const PngSession&) = delete;
    PngSession& operator=(const PngSession&) = delete;
    ~PngSession();

    png_structp png() { return m_png; }
    png_infop info() { return m_info; }

    // Runs a step that calls the library. The step owns nothing that has a destructor.
    template <class Step>
    void run(Step&& step) {
        if (setjmp(png_jmpbuf(m_png)) != 0) {
            fail();
        }
        step();
    }

    // For a callback of the library, as its last act: the step ends with the exception given, or with the text.
    void keep(std::exception_ptr error) { m_thrown = std::move(error); }

 private:
    [[noreturn]] void fail();
    static void on_error(png_structp png, png_const_charp text);
    static void on_warning(png_structp png, png_const_charp text);

    Use m_use;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    std::array<char, 200> m_text{};
    std::exception_ptr m_thrown;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_SESSION_H
