// Checks of load options; see load_option_checks.h.
#include "runtime/native/behaviors/images/load_option_checks.h"

#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/option_rules.h"

namespace zelmor::embed {

void require_load_options(const Record& load_options, const imagework::FileFacts& facts,
                          const imagework::SharedSource& file) {
    require_effective_options(load_options);
    if (const FormatMembers* members = members_of(facts.format);
        members != nullptr && members->check_load_options != nullptr) {
        members->check_load_options(load_options, file);
    }
}

void take_load_options(const Record& load_options, const imagework::FileFacts& facts,
                       imagework::DecodeOptions& options) {
    if (const FormatMembers* members = members_of(facts.format);
        members != nullptr && members->take_load_options != nullptr) {
        members->take_load_options(load_options, options);
    }
}

}  // namespace zelmor::embed
