// Checking what a crop takes off; see edge_shifts.h.
#include "runtime/native/behaviors/images/edge_shifts.h"

#include <string>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

void EdgeShifts::require_valid() const {
    struct Shift {
        int32_t value;
        const char* parameter;
    };
    for (const Shift& shift : {Shift{left, "left_shift"}, Shift{right, "right_shift"}, Shift{top, "top_shift"},
                               Shift{bottom, "bottom_shift"}}) {
        if (shift.value < 0) {
            throw_out_of_range(shift.parameter, "The value " + std::to_string(shift.value) + " is negative.");
        }
    }
}

RectangleValue EdgeShifts::rest_of(int64_t width, int64_t height) const {
    const int64_t rest_width = width - left - right;
    const int64_t rest_height = height - top - bottom;
    if (rest_width <= 0 || rest_height <= 0) {
        throw_out_of_range(rest_width <= 0 ? "right_shift" : "bottom_shift",
                           "Nothing of the image of " + size_text(width, height) + " pixels would be left.");
    }
    return {left, top, static_cast<int32_t>(rest_width), static_cast<int32_t>(rest_height)};
}

}  // namespace zelmor::embed
