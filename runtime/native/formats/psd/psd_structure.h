// The structure of a PSD or PSB file: where its sections, resources and planes are. It decodes no pixel and needs no
// library.
//
// A file has five sections: the header, color mode data (a palette, or the curves of a duotone), *resources* (numbered
// blocks: resolution, profile, metadata, thumbnail, ...), layers, and the *composite*: the whole picture, plane after
// plane. A *plane* is one channel: rows of samples of one color, or of transparency.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_STRUCTURE_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "runtime/native/formats/psd/psd_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/pixel_form.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// Numbers of resources.
constexpr uint16_t kPsdResolution = 1005;
constexpr uint16_t kPsdAlphaNames = 1006;
constexpr uint16_t kPsdDisplayInfo = 1007;
constexpr uint16_t kPsdLayerState = 1024;
constexpr uint16_t kPsdLayerGroups = 1026;
constexpr uint16_t kPsdIptc = 1028;
constexpr uint16_t kPsdOldThumbnail = 1033;
constexpr uint16_t kPsdThumbnail = 1036;
constexpr uint16_t kPsdProfile = 1039;
constexpr uint16_t kPsdUnicodeAlphaNames = 1045;
constexpr uint16_t kPsdPaletteCount = 1046;
constexpr uint16_t kPsdTransparentIndex = 1047;
constexpr uint16_t kPsdSlices = 1050;
constexpr uint16_t kPsdAlphaIds = 1053;
constexpr uint16_t kPsdVersionInfo = 1057;
constexpr uint16_t kPsdExif = 1058;
constexpr uint16_t kPsdExif3 = 1059;
constexpr uint16_t kPsdXmp = 1060;
constexpr uint16_t kPsdLayerComps = 1065;
constexpr uint16_t kPsdAlternateSpotColors = 1067;
constexpr uint16_t kPsdSelectedLayers = 1069;
constexpr uint16_t kPsdEnabledGroups = 1072;
constexpr uint16_t kPsdDisplayInfo3 = 1077;

constexpr int32_t kPsdMostSide = 30'000;
constexpr int32_t kPsbMostSide = 300'000;
constexpr int kPsdMostChannels = 56;
constexpr uint64_t kPsdHeaderSize = 26;

// A range of bytes of a file.
struct PsdRange {
    uint64_t at = 0;
    uint64_t size = 0;
    uint64_t end() const { return at + size; }
};

struct PsdResource {
    uint16_t id = 0;
    PsdRange data;   // within the file
    PsdRange block;  // the same with its mark, number, name and padding
};

// A channel of a layer: its compression and the plane behind it.
struct PsdLayerPlane {
    int16_t id = 0;  // 0 and up: the colors; -1: transparency
    PsdRange data;
};

struct PsdFile {
    bool large{};  // set by the reader
    int channels = 0;
    int32_t width = 0;
    int32_t height = 0;
    int depth = 0;
    PsdColorMode mode = PsdColorMode::kRgb;
    PsdRange color_data;
    PsdRange resources;
    std::vector<PsdResource> blocks;
    PsdRange layers;       // behind its length
    PsdRange text_engine;  // the block of the text engine inside of it, with its mark; empty where there is none
    PsdRange image;        // from the compression to the end of the file
    PsdCompression compression = PsdCompression::kRaw;

    PixelForm form;  // of the composite
    // Color planes of the file. A multichannel file can have fewer than its form has bands: it has so many of the inks
    // cyan, magenta, yellow and black.
    int planes = 0;
    // A negative count of layers, or a block, says that the composite has transparency. The format's own programs mix
    // its colors with white there.
    bool marked = false;
    bool on_white = false;  // the rows that are read are such colors
    // The planes of the only layer, in the order of the form's bands, where the layer is the picture: it covers it, and
    // neither a mask nor an effect changes it. Its colors are not mixed with white.
    std::vector<PsdLayerPlane> layer;

    size_t row_bytes() const {
        return depth == 1 ? (static_cast<size_t>(width) + 7) / 8
                          : static_cast<size_t>(width) * static_cast<size_t>(depth / 8);
    }
    const PsdResource* find(uint16_t id) const;
};

bool is_psd(std::span<const uint8_t> start);

// PictureError: kDamaged for a file whose sections do not fit into it, kUnsupported for one that this code does not
// read, with the reason ("this is a PSD with 5 channels in Multichannel mode, ...").
PsdFile read_psd_structure(ByteSource& bytes, uint64_t file_size);

// What the resources tell of the picture.
std::optional<Resolution> psd_resolution(const PsdFile& file, ByteSource& bytes);
// All 256 colors of the file with the transparent one among them.
std::vector<Argb> psd_palette(const PsdFile& file, ByteSource& bytes);
// How many of them the file says to be in use.
size_t psd_used_colors(const PsdFile& file, ByteSource& bytes);

const char* psd_mode_name(PsdColorMode mode);

// Resources of a sequence of such blocks, as it stands in other formats too. The walk ends at damage.
std::vector<PsdResource> walk_psd_resources(ByteSource& bytes, const PsdRange& range);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_STRUCTURE_H
