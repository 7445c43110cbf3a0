// The registered conversion operators.
#include "runtime/native/core/conversions.h"

#include <string_view>

#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

const ConversionRegistration*& conversion_chain() {
    static const ConversionRegistration* first = nullptr;  // complete once the library is loaded
    return first;
}

}  // namespace

ConversionRegistration::ConversionRegistration(const char* from, const char* to, Convert convert)
    : from(from), to(to), convert(convert), next(conversion_chain()) {
    conversion_chain() = this;
}

ConversionRegistration::Convert find_conversion(const TypeInfo& from, const TypeInfo& to) {
    for (const TypeInfo* type = &from; type != nullptr; type = base_of(*type)) {
        for (const auto* entry = conversion_chain(); entry != nullptr; entry = entry->next) {
            if (std::string_view(entry->from) == type->full_name && std::string_view(entry->to) == to.full_name) {
                return entry->convert;
            }
        }
    }
    return nullptr;
}

}  // namespace zelmor::embed
