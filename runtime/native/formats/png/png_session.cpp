// Sessions of libpng; see png_session.h.
#include "runtime/native/formats/png/png_session.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>

namespace zelmor::imagework {

PngSession::PngSession(Use use) : m_use(use) {
    m_png = use == Use::kRead ? png_create_read_struct(PNG_LIBPNG_VER_STRING, this, &on_error, &on_warning)
                              : png_create_write_struct(PNG_LIBPNG_VER_STRING, this, &on_error, &on_warning);
    if (m_png == nullptr) {
        throw std::bad_alloc();
    }
    m_info = png_create_info_struct(m_png);
    if (m_info == nullptr) {
        use == Use::kRead ? png_destroy_read_struct(&m_png, nullptr, nullptr)
                          : png_destroy_write_struct(&m_png, nullptr);
        throw std::bad_alloc();
    }
}

PngSession::~PngSession() {
    m_use == Use::kRead ? png_destroy_read_struct(&m_png, &m_info, nullptr) : png_destroy_write_struct(&m_png, &m_info);
}

void PngSession::fail() {
    if (m_thrown != nullptr) {
        const std::exception_ptr thrown = std::exchange(m_thrown, nullptr);
        std::rethrow_exception(thrown);
    }
    throw PictureError(m_use == Use::kRead ? Failure::kDamaged : Failure::kEncoding, m_text.data());
}

// Called by the library, which expects no return.
void PngSession::on_error(png_structp png, png_const_charp text) {
    auto* session = static_cast<PngSession*>(png_get_error_ptr(png));
    assert(session != nullptr);
    const size_t length = std::min(std::strlen(text), session->m_text.size() - 1);
    std::memcpy(session->m_text.data(), text, length);
    session->m_text[length] = '\0';
    png_longjmp(png, 1);
}

// Warnings are about chunks that are left out, or values that are brought into their range.
void PngSession::on_warning(png_structp, png_const_charp) {}

}  // namespace zelmor::imagework
