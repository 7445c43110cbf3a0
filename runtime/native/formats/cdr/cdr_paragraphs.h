// The texts of a CDR drawing: paragraphs with their characters and the styles of these.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_PARAGRAPHS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_PARAGRAPHS_H

#include <cstdint>
#include <functional>

#include "runtime/native/formats/cdr/cdr_styles.h"

namespace zelmor::embed {

// Fills a CdrText, which `add` makes, for each paragraph of a chunk of the versions 6 to 15, and for a chunk without
// any one of no characters. A chunk that ends early gives what it has. The number of the text, the same for all
// paragraphs: that of the last frame that they flow through.
int32_t take_cdr_paragraphs(CdrNumbers in, uint32_t version, CdrStyles& styles,
                            const std::function<Ref<ManagedObject>()>& add);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_PARAGRAPHS_H
