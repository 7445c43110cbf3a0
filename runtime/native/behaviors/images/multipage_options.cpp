// MultiPageOptions and the ranges of numbers that it takes.
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed {

namespace {

using api::ImageOptions::MultiPageMode;
using DjvuMultiPageOptionsApi = api::ImageOptions::DjvuMultiPageOptions;
using IntRangeApi = api::IntRange;
using MultiPageOptionsApi = api::ImageOptions::MultiPageOptions;

Ref<ManagedObject> numbers(std::vector<int32_t> items) {
    return Ref<ManagedObject>(make_array(std::move(items)));
}

// `count` numbers from `start` on, each by `delta` more than the one before.
std::vector<int32_t> stepped(int32_t start, int32_t count, int32_t delta) {
    if (count < 0) {
        throw_out_of_range("count", "The value " + std::to_string(count) + " is negative.");
    }
    const int64_t last = start + int64_t{count - 1} * delta;
    if (count > 0 && (last > INT32_MAX || last < INT32_MIN)) {
        throw ManagedException("OverflowException", "The last number of the range is outside 32 bits.");
    }
    if (count > imagework::limits::kPageNumbers) {
        throw_out_of_range("count", "The value " + std::to_string(count) + " is too large.");
    }
    std::vector<int32_t> result;
    for (int32_t i = 0; i < count; ++i) {
        result.push_back(static_cast<int32_t>(start + int64_t{i} * delta));
    }
    return result;
}

// ---- IntRange

Ref<ManagedObject> make_range(std::vector<int32_t> items) {
    Ref<ManagedObject> range = make_instance(IntRangeApi::kType.name);
    set_property(*range, "Range", numbers(std::move(items)));
    return range;
}
Ref<ManagedObject> range_of_count(int32_t start, int32_t count) {
    return make_range(stepped(start, count, 1));
}
Ref<ManagedObject> range_of_steps(int32_t start, int32_t count, int32_t delta) {
    return make_range(stepped(start, count, delta));
}
Ref<ManagedObject> range_of_numbers(const VariantArg* range) {
    return make_range(read_array<int32_t>(range, "range"));
}
Collection get_range(int32_t start, int32_t count, int32_t delta) {
    return {numbers(stepped(start, count, delta))};
}

std::vector<int32_t> items_of(const ManagedObject& range) {
    std::vector<int32_t> result;
    for (const int64_t number : numbers_of(range, "Range").value_or(std::vector<int64_t>{})) {
        result.push_back(static_cast<int32_t>(number));
    }
    return result;
}

// The number at an index, alone in an array.
Collection one_item(Record& self, int32_t index) {
    const std::vector<int32_t> items = items_of(self);
    if (index < 0 || static_cast<size_t>(index) >= items.size()) {
        throw_out_of_range("index", "The value " + std::to_string(index) + " is not the index of one of the range's " +
                                        std::to_string(items.size()) + " numbers.");
    }
    return {numbers({items[static_cast<size_t>(index)]})};
}

// ---- MultiPageOptions

Ref<ManagedObject> made(const TypeName& type, MultiPageMode mode, const char* property, Value value,
                        const RectangleValue* area = nullptr) {
    Ref<ManagedObject> options = make_instance(type.name);
    set_property(*options, "Mode", mode);
    if (property != nullptr) {
        set_property(*options, property, std::move(value));
    }
    if (area != nullptr) {
        set_property(*options, "ExportArea", box(*area));
    }
    return options;
}

std::vector<int32_t> joined(const VariantArg* ranges) {
    static const ElementType& element = element_of(Wire::kClass, IntRangeApi::kType.name);
    std::vector<int32_t> result;
    for (const Value& value : read_elements(ranges, element, "ranges")) {
        if (is_null(value)) {
            throw_argument_null("ranges");
        }
        for (const int32_t number : items_of(*std::get<Ref<ManagedObject>>(value))) {
            result.push_back(number);
        }
    }
    return result;
}

// The constructors of one class by the arguments that there are.
template <const TypeName& kType>
struct Made {
    static Ref<ManagedObject> all() { return made(kType, MultiPageMode::kAllPages, nullptr, {}); }
    static Ref<ManagedObject> by_pages(const VariantArg* pages) {
        return made(kType, MultiPageMode::kPages, "Pages", numbers(read_array<int32_t>(pages, "pages")));
    }
    static Ref<ManagedObject> by_pages_area(const VariantArg* pages, const RectangleValue& export_area) {
        return made(kType, MultiPageMode::kPages, "Pages", numbers(read_array<int32_t>(pages, "pages")), &export_area);
    }
    static Value titles(const VariantArg* page_titles) {
        static const ElementType& element = element_of(Wire::kString);
        if (page_titles->value == nullptr) {
            throw_argument_null("page_titles");
        }
        return Ref<ManagedObject>(read_list(page_titles, element));
    }
    static Ref<ManagedObject> by_titles(const VariantArg* page_titles) {
        return made(kType, MultiPageMode::kTitles, "PageTitles", titles(page_titles));
    }
    static Ref<ManagedObject> by_titles_area(const VariantArg* page_titles, const RectangleValue& export_area) {
        return made(kType, MultiPageMode::kTitles, "PageTitles", titles(page_titles), &export_area);
    }
    static Ref<ManagedObject> by_ranges(const VariantArg* ranges) {
        return made(kType, MultiPageMode::kRange, "Pages", numbers(joined(ranges)));
    }
    static Ref<ManagedObject> by_ranges_area(const VariantArg* ranges, const RectangleValue& export_area) {
        return made(kType, MultiPageMode::kRange, "Pages", numbers(joined(ranges)), &export_area);
    }
    static Ref<ManagedObject> by_range(Record* range) {
        if (range == nullptr) {
            throw_argument_null("range");
        }
        return made(kType, MultiPageMode::kRange, "Pages", numbers(items_of(*range)));
    }
    static Ref<ManagedObject> by_range_area(Record* range, const RectangleValue& export_area) {
        if (range == nullptr) {
            throw_argument_null("range");
        }
        return made(kType, MultiPageMode::kRange, "Pages", numbers(items_of(*range)), &export_area);
    }
    static Ref<ManagedObject> by_page(int32_t page) {
        return made(kType, MultiPageMode::kPages, "Pages", numbers({page}));
    }
    static Ref<ManagedObject> by_page_area(int32_t page, const RectangleValue& export_area) {
        return made(kType, MultiPageMode::kPages, "Pages", numbers({page}), &export_area);
    }
};

using Plain = Made<MultiPageOptionsApi::kType>;
using Djvu = Made<DjvuMultiPageOptionsApi::kType>;

void init_pages(Record& self, const VariantArg* ranges) {
    set_property(self, "Pages", numbers(joined(ranges)));
    set_property(self, "Mode", MultiPageMode::kRange);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&range_of_count, IntRangeApi::ctor_000_IntRange>(),
    behavior<&range_of_steps, IntRangeApi::ctor_001_IntRange>(),
    behavior<&range_of_numbers, IntRangeApi::ctor_002_IntRange>(),
    behavior<&get_range, IntRangeApi::call_000_GetRange>(),
    behavior<&one_item, IntRangeApi::call_000_GetArrayOneItemFromIndex>(),
    behavior<&Plain::all, MultiPageOptionsApi::ctor_000_MultiPageOptions>(),
    behavior<&Plain::by_pages, MultiPageOptionsApi::ctor_001_MultiPageOptions>(),
    behavior<&Plain::by_pages_area, MultiPageOptionsApi::ctor_002_MultiPageOptions>(),
    behavior<&Plain::by_titles, MultiPageOptionsApi::ctor_003_MultiPageOptions>(),
    behavior<&Plain::by_titles_area, MultiPageOptionsApi::ctor_004_MultiPageOptions>(),
    behavior<&Plain::by_ranges, MultiPageOptionsApi::ctor_005_MultiPageOptions>(),
    behavior<&Plain::by_ranges_area, MultiPageOptionsApi::ctor_006_MultiPageOptions>(),
    behavior<&Plain::by_range, MultiPageOptionsApi::ctor_007_MultiPageOptions>(),
    behavior<&Plain::by_range_area, MultiPageOptionsApi::ctor_008_MultiPageOptions>(),
    behavior<&Plain::by_page, MultiPageOptionsApi::ctor_009_MultiPageOptions>(),
    behavior<&Plain::by_page_area, MultiPageOptionsApi::ctor_010_MultiPageOptions>(),
    behavior<&init_pages, MultiPageOptionsApi::call_000_InitPages>(),
    behavior<&Djvu::all, DjvuMultiPageOptionsApi::ctor_000_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_pages, DjvuMultiPageOptionsApi::ctor_001_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_pages_area, DjvuMultiPageOptionsApi::ctor_002_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_range, DjvuMultiPageOptionsApi::ctor_003_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_range_area, DjvuMultiPageOptionsApi::ctor_004_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_ranges, DjvuMultiPageOptionsApi::ctor_005_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_ranges_area, DjvuMultiPageOptionsApi::ctor_006_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_page, DjvuMultiPageOptionsApi::ctor_007_DjvuMultiPageOptions>(),
    behavior<&Djvu::by_page_area, DjvuMultiPageOptionsApi::ctor_008_DjvuMultiPageOptions>(),
});

}  // namespace

}  // namespace zelmor::embed
