// Documents by cairo.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_DOCUMENT_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_DOCUMENT_H

#include <memory>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::drawwork {

std::unique_ptr<Document> make_pdf(const DocumentSettings& settings, imagework::ByteSink& out);

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_DOCUMENT_H
