// Playing whole lists of records: which of two kinds of records are drawn, and on which device.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLAY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLAY_H

#include <functional>

#include "runtime/native/formats/metafile/metafile_file.h"
#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

// By the numbers of EmfRenderMode and WmfRenderMode.
enum class EmfMode { kAuto, kEmf, kEmfPlus, kBoth };
enum class WmfMode { kRecords, kEmbedded, kBoth, kAuto };

// How a picture is played. The canvas may be one part of the picture.
struct Playing {
    Affine placing;  // from the picture's own space to the canvas
    Rendering rendering;
    EmfMode emf = EmfMode::kAuto;
    WmfMode wmf = WmfMode::kAuto;
    int depth = 0;  // of metafiles in metafiles
};

// What the header of an enhanced metafile says of its picture: the space is that of the device's pixels.
struct EmfFrame {
    RectD bounds;
    PointD pixels_per_mm;
    double width = 0, height = 0;  // in pixels, 96 to the inch
};
EmfFrame emf_frame(const ManagedObject* header);

// Of a Windows metafile: the rectangle of its units that the picture shows, and how many of them make an inch. The
// space of the picture is that of pixels, 96 to the inch.
struct WmfFrame {
    RectD window;
    double inch = 96;
    double width() const { return std::abs(window.width) * 96 / inch; }
    double height() const { return std::abs(window.height) * 96 / inch; }
};

using Records = std::vector<Ref<ManagedObject>>;

// The window that the records themselves set, in a file without a frame; empty where they set none.
RectD window_of(const Records& records);

void play_emf(Canvas& canvas, const Records& records, const EmfFrame& frame, const Playing& playing);
void play_wmf(Canvas& canvas, const Records& records, const WmfFrame& frame, const Playing& playing);

// The enhanced metafile that the comments of a Windows metafile have in parts; empty where there is none, or not all.
FileBytes embedded_emf(const Records& records);

// Calls the function with each EMF+ record of a comment.
void for_plus_records(const ManagedObject& comment, const std::function<void(const ManagedObject&)>& use);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLAY_H
