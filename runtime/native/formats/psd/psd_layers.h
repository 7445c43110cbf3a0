// The section of layers, as far as it tells how the composite is to be read.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_LAYERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_LAYERS_H

#include "runtime/native/formats/psd/psd_structure.h"

namespace zelmor::imagework {

// Whether the section says that the composite has transparency. Finds the only layer, if that is the picture, and the
// block of the text engine, and puts both into the structure, whose form is known. The search ends at damage: the
// pixels of the composite need no layer.
bool read_psd_layers(ByteSource& bytes, PsdFile& file);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_LAYERS_H
