// Errors of libjpeg; see jpeg_errors.h.
#include "runtime/native/formats/jpeg/jpeg_errors.h"

#include <jerror.h>

#include <cassert>
#include <new>
#include <utility>

namespace zelmor::imagework {
namespace {

// The file makes sense, but the library has no code for it.
bool is_lack_of_feature(int code) {
    switch (code) {
        case JERR_ARITH_NOTIMPL:
        case JERR_BAD_PRECISION:
        case JERR_CCIR601_NOTIMPL:
        case JERR_COMPONENT_COUNT:
        case JERR_CONVERSION_NOTIMPL:
        case JERR_FRACT_SAMPLE_NOTIMPL:
        case JERR_IMAGE_TOO_BIG:
        case JERR_NOTIMPL:
        case JERR_NOT_COMPILED:
        case JERR_SOF_UNSUPPORTED:
            return true;
        default:
            return false;
    }
}

}  // namespace

JpegErrors::JpegErrors(Failure kind) : m_kind(kind) {
    jpeg_std_error(&m_manager);
    m_manager.error_exit = &on_error;
    m_manager.emit_message = &on_message;
}

void JpegErrors::fail() {
    if (m_thrown != nullptr) {
        const std::exception_ptr thrown = std::exchange(m_thrown, nullptr);
        std::rethrow_exception(thrown);
    }
    if (m_manager.msg_code == JERR_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    const bool lacks = m_kind == Failure::kDamaged && is_lack_of_feature(m_manager.msg_code);
    throw PictureError(lacks ? Failure::kUnsupported : m_kind, m_text.data());
}

void JpegErrors::leave_with(j_common_ptr codec, int code) {
    m_manager.msg_code = code;
    on_error(codec);
}

// Called by the library, which expects no return.
void JpegErrors::on_error(j_common_ptr codec) {
    auto* self = static_cast<JpegErrors*>(codec->client_data);
    assert(self != nullptr);
    self->m_manager.format_message(codec, self->m_text.data());
    self->leave();
}

// Levels below zero are warnings, others tell how the work goes on.
void JpegErrors::on_message(j_common_ptr codec, int level) {
    auto* self = static_cast<JpegErrors*>(codec->client_data);
    assert(self != nullptr);
    if (level < 0) {
        self->m_manager.num_warnings++;
        self->warned(self->m_manager.msg_code);
    }
}

}  // namespace zelmor::imagework
