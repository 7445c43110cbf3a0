// Decoding the pictures of fills; see od_patterns.h.
#include "runtime/native/formats/opendocument/od_patterns.h"

#include <utility>

#include "runtime/native/collections/collection.h"
#include "runtime/native/formats/opendocument/od_page_drawing.h"

namespace zelmor::embed {

extern template Ref<ManagedList> make_array<int32_t>(std::vector<int32_t>);

Value OdPatterns::rows(std::string_view fill_image) {
    const OdNode* image = m_document.named("draw:fill-image", fill_image);
    if (image == nullptr) {
        return Ref<ManagedObject>();
    }
    const auto [found, is_new] = m_rows.try_emplace(image, Ref<ManagedObject>());
    if (!is_new) {
        return found->second;
    }
    const auto picture = od_picture(m_document.picture(*image));
    if (picture == nullptr) {
        return found->second;
    }
    const auto width = static_cast<size_t>(picture->width);
    const auto height = static_cast<size_t>(picture->height);
    constexpr uint64_t kRow = sizeof(ManagedList) + sizeof(Value);
    m_shares.emplace_back(m_budget, height * (kRow + width * sizeof(int32_t)));
    std::vector<Value> rows;
    rows.reserve(height);
    for (size_t y = 0; y < height; y++) {
        const auto first = picture->pixels.begin() + static_cast<ptrdiff_t>(y * width);
        rows.emplace_back(
            Ref<ManagedObject>(make_array(std::vector<int32_t>(first, first + static_cast<ptrdiff_t>(width)))));
    }
    const ElementType& row = element_of(CollectionInfo{CollectionShape::kArray, "DAF680C1"});
    found->second = Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, row, std::move(rows)));
    return found->second;
}

}  // namespace zelmor::embed
