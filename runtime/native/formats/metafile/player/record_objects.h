// From the objects of records to those that a device selects.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_RECORD_OBJECTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_RECORD_OBJECTS_H

#include "runtime/native/formats/metafile/player/device_objects.h"
#include "runtime/native/formats/metafile/player/fields.h"

namespace zelmor::embed::metafile {

// Of EmfLogPen and WmfCreatePenInDirect.
DevicePen pen_of(const ManagedObject& log_pen);
// Of EmfLogPenEx; the bitmap of its pattern or null.
DevicePen extended_pen_of(const ManagedObject& log_pen, const ManagedObject* bitmap, std::span<const Argb> palette);
// Of EmfLogBrushEx and WmfCreateBrushInDirect, by the names of their properties for the color.
DeviceBrush brush_of(const ManagedObject& log_brush, const char* color_name);
// Of EmfLogFont and WmfCreateFontInDirect.
DeviceFont font_of(const ManagedObject& log_font);
std::vector<DevicePalette::Entry> palette_entries(const ManagedObject& record);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_RECORD_OBJECTS_H
