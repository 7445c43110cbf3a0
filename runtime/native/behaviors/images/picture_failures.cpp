// Failures of the image backend as managed exceptions; see picture_failures.h.
#include "runtime/native/behaviors/images/picture_failures.h"

#include "runtime/native/core/boundary.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::Failure;

void throw_picture_error(const imagework::PictureError& error, const std::string& subject) {
    std::string text = subject.empty() ? error.what() : subject + ": " + error.what() + ".";
    switch (error.kind()) {
        case Failure::kDamaged:
            throw ManagedException("ImageLoadException", text);
        case Failure::kUnsupported:
            throw ManagedException("NotSupportedException", text);
        case Failure::kArgument:
            throw_out_of_range(error.parameter(), text);
        case Failure::kTooLarge:
            throw ManagedException("OutOfMemoryException", text);
        case Failure::kEncoding:
            throw ManagedException("ImageSaveException", text);
        case Failure::kInternal:
            break;
    }
    throw ManagedException("ImageException", text);
}

namespace {

const ExceptionTranslator translator([] {
    try {
        throw;
    } catch (const imagework::PictureError& error) {
        throw_picture_error(error);
    } catch (...) {
        return;  // of another kind: the exception stays in flight
    }
});

}  // namespace

}  // namespace zelmor::embed
