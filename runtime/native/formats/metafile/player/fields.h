// Reading the properties of records by their names, as drawing needs them: null counts as zero or as nothing.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FIELDS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FIELDS_H

#include <string>
#include <vector>

#include "runtime/native/drawwork/canvas.h"
#include "runtime/native/formats/metafile/metafile_object.h"

namespace zelmor::embed::metafile {

using drawwork::Affine;
using drawwork::Argb;
using drawwork::PointD;
using drawwork::RectD;

int64_t whole_in(const ManagedObject& object, const char* name);
inline bool flag_in(const ManagedObject& object, const char* name) {
    return whole_in(object, name) != 0;
}
double number_in(const ManagedObject& object, const char* name);
Argb color_in(const ManagedObject& object, const char* name);
PointD point_in(const ManagedObject& object, const char* name);  // of a size its width and height
RectD rect_in(const ManagedObject& object, const char* name);
Affine map_in(const ManagedObject& object, const char* name);  // the identity for null
std::u16string text_in(const ManagedObject& object, const char* name);
FileBytes bytes_in(const ManagedObject& object, const char* name);
Ref<ManagedObject> object_in(const ManagedObject& object, const char* name);

std::vector<PointD> points_in(const ManagedObject& object, const char* name);
std::vector<RectD> rects_in(const ManagedObject& object, const char* name);
std::vector<double> numbers_in(const ManagedObject& object, const char* name);
std::vector<Argb> colors_in(const ManagedObject& object, const char* name);
std::vector<Ref<ManagedObject>> objects_in(const ManagedObject& object, const char* name);

// Multiplies by the fractions XNum / XDenom and YNum / YDenom of a record, where the denominators are not zero.
void scale_extent(PointD& extent, const ManagedObject& record);

// The bytes of a field that has no property, by its name in the layout: "_triangles".
FileBytes kept_in(const ManagedObject& object, const char* name);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FIELDS_H
