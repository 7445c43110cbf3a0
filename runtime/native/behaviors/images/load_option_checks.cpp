// Checks of load options; see load_option_checks.h.
#include "runtime/native/behaviors/images/load_option_checks.h"

#include <string_view>

#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/behaviors/metadata/containers/png_checks.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using imagework::Failure;
using imagework::PictureError;

void require_load_options(const Record& load_options, const imagework::FileFacts& facts,
                          const imagework::SharedSource& file) {
    require_effective_options(load_options);
    if (facts.format == imagework::Format::kPng && has_property(load_options, "StrictMode") &&
        property_bool(load_options, "StrictMode")) {
        if (const std::string fault = png_fault(file); !fault.empty()) {
            throw PictureError(Failure::kDamaged, fault + ", which PngLoadOptions.StrictMode refuses");
        }
    }
}

}  // namespace zelmor::embed
