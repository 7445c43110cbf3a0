// Choosing pages of vector images; see page_choice.h.
#include "runtime/native/behaviors/vector/page_choice.h"

#include "runtime/native/behaviors/formats/interrupt_monitor.h"
#include "runtime/native/behaviors/images/page_selection.h"
#include "runtime/native/behaviors/vector/page_layout.h"
#include "runtime/native/collections/collection.h"

namespace zelmor::embed {

namespace {

// The options of each chosen page, in the order of the choice; null where there are none.
std::vector<Ref<ManagedObject>> layout_options(const Record* options, const ManagedObject* choice, size_t count) {
    std::vector<Ref<ManagedObject>> result(count);
    if (options == nullptr) {
        return result;
    }
    for (Ref<ManagedObject>& each : result) {
        each = property_object(*options, "VectorRasterizationOptions");
    }
    const Ref<ManagedObject> own =
        choice != nullptr ? property_object(*choice, "PageRasterizationOptions") : Ref<ManagedObject>();
    if (!own) {
        return result;
    }
    const auto& list = cast_object<ManagedList>(*own);
    for (size_t i = 0; i < count && i < list.size(); ++i) {
        const Value value = list.get(i);
        const auto* object = std::get_if<Ref<ManagedObject>>(&value);
        if (object != nullptr && *object) {
            result[i] = *object;
        }
    }
    return result;
}

}  // namespace

std::vector<DrawnPage> chosen_pages(VectorImageObject& image, const Record* options, const RectangleValue* bounds,
                                    bool several) {
    const std::vector<Ref<VectorImageObject>> all = image.shown_pages();
    const Ref<ManagedObject> choice =
        options != nullptr ? property_object(*options, "MultiPageOptions") : Ref<ManagedObject>();
    std::vector<size_t> indices{0};
    std::optional<RectangleValue> area;
    if (choice) {
        indices = selected_pages(image, *choice);
        area = export_area(*choice);
    } else if (several) {
        for (size_t i = 1; i < all.size(); ++i) {
            indices.push_back(i);
        }
    }
    if (bounds != nullptr) {
        area = *bounds;
    }
    const std::vector<Ref<ManagedObject>> layouts = layout_options(options, choice.get(), indices.size());
    std::vector<DrawnPage> pages;
    for (size_t i = 0; i < indices.size(); ++i) {
        require_uninterrupted(image);
        DrawnPage page = laid_out(*all[indices[i]], layouts[i].get());
        pages.push_back(area ? cut_to(std::move(page), *area) : std::move(page));
    }
    return pages;
}

}  // namespace zelmor::embed
