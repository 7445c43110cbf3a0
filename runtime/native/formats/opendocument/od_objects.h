// The elements of an OpenDocument drawing as objects of the API.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_OBJECTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_OBJECTS_H

#include "runtime/native/core/records.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_patterns.h"

namespace zelmor::embed {

// An OdPage for each page, with its shapes as items. Lengths are pixels of 96 to the inch, angles degrees.
// PictureError(kTooLarge) from the patterns.
std::vector<Value> od_pages(const OdDocument& document, OdPatterns& patterns);
// An OdMetadata object, with nothing in it where the file has no metadata.
Ref<ManagedObject> od_metadata(const OdDocument& document);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_OBJECTS_H
