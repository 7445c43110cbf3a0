// The pixels of pictures that fills repeat, as rows of colors for the API.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PATTERNS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PATTERNS_H

#include <map>
#include <string_view>
#include <vector>

#include "runtime/native/core/value.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::embed {

class OdPatterns {
 public:
    // The document has to outlive this.
    OdPatterns(const OdDocument& document, imagework::SharedBudget budget)
        : m_document(document), m_budget(std::move(budget)) {}

    // An int[][] of the colors 0xAARRGGBB, from the top. All fills with one picture share it. Null for a picture that
    // the document does not have, or that is none of pixels. PictureError(kTooLarge) beyond the budget.
    Value rows(std::string_view fill_image);

 private:
    const OdDocument& m_document;
    imagework::SharedBudget m_budget;
    std::map<const OdNode*, Value> m_rows;
    std::vector<imagework::MemoryShare> m_shares;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PATTERNS_H
