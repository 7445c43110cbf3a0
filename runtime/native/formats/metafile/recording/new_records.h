// Making records and their objects by the names of their classes.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_NEW_RECORDS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_NEW_RECORDS_H

#include <string>
#include <vector>

#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/metafile/player/device_objects.h"
#include "runtime/native/formats/metafile/player/fields.h"

namespace zelmor::embed::metafile {

Ref<ManagedObject> new_emf_record(const char* name);
Ref<ManagedObject> new_emf_object(const char* name);
Ref<ManagedObject> new_wmf_object(const char* name);

// Values of properties; numbers are rounded.
Value whole_value(double number);
Value point_value(PointD point);
Value size_value(PointD size);
Value rect_value(const RectD& rect);
Value matrix_value(const Affine& map);
Value bytes_value(const FileBytes& bytes);
// A list as the property declares it.
void set_list(ManagedObject& object, const char* name, const std::vector<Value>& values);

// A bitmap of 32 bits a pixel, with alpha that the colors are multiplied by, or of 24 bits.
Ref<ManagedObject> new_bitmap(const Pixels& pixels, bool with_alpha);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_NEW_RECORDS_H
