// Checks of arguments; see arguments.h.
#include "runtime/native/behaviors/images/arguments.h"

#include <string>

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

ImageObject& required_image(ImageObject* image, const char* parameter) {
    if (image == nullptr) {
        throw_argument_null(parameter);
    }
    image->require_live();
    return *image;
}

const Record& required_options(const Record* options, const char* parameter) {
    if (options == nullptr) {
        throw_argument_null(parameter);
    }
    return *options;
}

void require_positive(int32_t value, const char* parameter) {
    if (value <= 0) {
        throw_out_of_range(parameter, "The value " + std::to_string(value) + " is not positive.");
    }
}

}  // namespace zelmor::embed
