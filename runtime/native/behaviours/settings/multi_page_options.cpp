// MultiPageOptions: which pages of a document are meant, as numbers, ranges of numbers or titles.
//
// Mode follows from what the options were made of.
#include "runtime/native/behaviours/collections/int_range.h"
#include "runtime/native/core/collection.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr char kMulti[] = "Zelmor.Imaging.ImageOptions.MultiPageOptions";
constexpr char kDjvu[] = "Zelmor.Imaging.ImageOptions.DjvuMultiPageOptions";
constexpr const char* kRange = "Zelmor.Imaging.IntRange";
enum Mode : int64_t { kPages = 0, kTitles = 1, kRangeMode = 2 };

std::vector<int32_t> pages_of_ranges(const VariantArg* ranges) {
    static const ElementType& element = element_of(Wire::kClass, kRange);
    std::vector<int32_t> pages;
    for (const Value& value : read_elements(ranges, element, "ranges")) {
        const auto& range = std::get<Ref<ManagedObject>>(value);
        if (!range) throw_argument_null("ranges");
        const std::vector<int32_t> numbers = numbers_of_range(*range);
        pages.insert(pages.end(), numbers.begin(), numbers.end());
    }
    return pages;
}

std::vector<int32_t> pages_of_range(const Record* range) {
    if (!range) throw_argument_null("range");
    return numbers_of_range(*range);
}

void set_pages(ManagedObject& options, std::vector<int32_t> pages, Mode mode) {
    set_property(options, "Pages", Ref<ManagedObject>(make_array(std::move(pages))));
    set_property(options, "Mode", static_cast<int64_t>(mode));
}

Ref<ManagedObject> made(const char* type, std::vector<int32_t> pages, Mode mode,
                        const RectangleValue* export_area = nullptr) {
    auto options = make_instance(type);
    set_pages(*options, std::move(pages), mode);
    if (export_area) set_property(*options, "ExportArea", box(*export_area));
    return options;
}

template <const char* Type>
struct Constructors {
    static Ref<ManagedObject> pages(const VariantArg* pages) {
        return made(Type, read_array<int32_t>(pages, "pages"), kPages);
    }
    static Ref<ManagedObject> pages_area(const VariantArg* pages, const RectangleValue& export_area) {
        return made(Type, read_array<int32_t>(pages, "pages"), kPages, &export_area);
    }
    static Ref<ManagedObject> ranges(const VariantArg* ranges) {
        return made(Type, pages_of_ranges(ranges), kRangeMode);
    }
    static Ref<ManagedObject> ranges_area(const VariantArg* ranges, const RectangleValue& export_area) {
        return made(Type, pages_of_ranges(ranges), kRangeMode, &export_area);
    }
    static Ref<ManagedObject> range(Record* range) { return made(Type, pages_of_range(range), kRangeMode); }
    static Ref<ManagedObject> range_area(Record* range, const RectangleValue& export_area) {
        return made(Type, pages_of_range(range), kRangeMode, &export_area);
    }
    static Ref<ManagedObject> page(int32_t page) { return made(Type, {page}, kPages); }
    static Ref<ManagedObject> page_area(int32_t page, const RectangleValue& export_area) {
        return made(Type, {page}, kPages, &export_area);
    }
};

Ref<ManagedObject> titles(const VariantArg* page_titles) {
    static const ElementType& element = element_of(Wire::kString);
    const auto list = read_list(page_titles, element);
    if (!list) throw_argument_null("page_titles");
    auto options = make_instance(kMulti);
    set_property(*options, "PageTitles", Ref<ManagedObject>(list));
    set_property(*options, "Mode", static_cast<int64_t>(kTitles));
    return options;
}
Ref<ManagedObject> titles_area(const VariantArg* page_titles, const RectangleValue& export_area) {
    auto options = titles(page_titles);
    set_property(*options, "ExportArea", box(export_area));
    return options;
}

void init_pages(Record& self, const VariantArg* ranges) {
    set_pages(self, pages_of_ranges(ranges), kRangeMode);
}

using Multi = Constructors<kMulti>;
using Djvu = Constructors<kDjvu>;
const Behaviour kMembers[] = {
    {kMulti, "ctor_001_MultiPageOptions", entry<&Multi::pages>()},
    {kMulti, "ctor_002_MultiPageOptions", entry<&Multi::pages_area>()},
    {kMulti, "ctor_003_MultiPageOptions", entry<&titles>()},
    {kMulti, "ctor_004_MultiPageOptions", entry<&titles_area>()},
    {kMulti, "ctor_005_MultiPageOptions", entry<&Multi::ranges>()},
    {kMulti, "ctor_006_MultiPageOptions", entry<&Multi::ranges_area>()},
    {kMulti, "ctor_007_MultiPageOptions", entry<&Multi::range>()},
    {kMulti, "ctor_008_MultiPageOptions", entry<&Multi::range_area>()},
    {kMulti, "ctor_009_MultiPageOptions", entry<&Multi::page>()},
    {kMulti, "ctor_010_MultiPageOptions", entry<&Multi::page_area>()},
    {kMulti, "call_000_InitPages", entry<&init_pages>()},
    {kDjvu, "ctor_001_DjvuMultiPageOptions", entry<&Djvu::pages>()},
    {kDjvu, "ctor_002_DjvuMultiPageOptions", entry<&Djvu::pages_area>()},
    {kDjvu, "ctor_003_DjvuMultiPageOptions", entry<&Djvu::range>()},
    {kDjvu, "ctor_004_DjvuMultiPageOptions", entry<&Djvu::range_area>()},
    {kDjvu, "ctor_005_DjvuMultiPageOptions", entry<&Djvu::ranges>()},
    {kDjvu, "ctor_006_DjvuMultiPageOptions", entry<&Djvu::ranges_area>()},
    {kDjvu, "ctor_007_DjvuMultiPageOptions", entry<&Djvu::page>()},
    {kDjvu, "ctor_008_DjvuMultiPageOptions", entry<&Djvu::page_area>()},
};
const BehaviourTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed
