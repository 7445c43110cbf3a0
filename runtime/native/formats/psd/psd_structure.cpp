// Walking over the sections of a PSD file; see psd_structure.h.
#include "runtime/native/formats/psd/psd_structure.h"

#include <algorithm>
#include <cassert>
#include <string>
#include <string_view>

#include "runtime/native/formats/psd/psd_cursor.h"
#include "runtime/native/formats/psd/psd_layers.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}
[[noreturn]] void unsupported(const PsdFile& file, const std::string& text) {
    throw PictureError(Failure::kUnsupported,
                       std::string("this is a ") + (file.large ? "PSB" : "PSD") + " with " + text);
}

// Whether the first channel behind the colors is called "Transparency".
bool named_transparency(ByteSource& bytes, const PsdResource* names) {
    constexpr std::string_view kName = "\x0cTransparency";  // with its length in front
    return names != nullptr && names->data.size >= kName.size() && ByteReader(bytes).starts_with(names->data.at, kName);
}

void choose_form(PsdFile& file) {
    const auto require_depth = [&](bool fits) {
        if (!fits) {
            unsupported(file, std::to_string(file.depth) + " bits per channel in " + psd_mode_name(file.mode) +
                                  " mode, which the format does not define");
        }
    };
    PixelForm& form = file.form;
    require_depth(file.depth == 8 || file.depth == 16 || file.depth == 32 ||
                  (file.depth == 1 && file.mode == PsdColorMode::kBitmap));
    switch (file.mode) {
        case PsdColorMode::kBitmap:
            require_depth(file.depth == 1);
            form.color = ColorModel::kGray;
            break;
        case PsdColorMode::kGray:
        case PsdColorMode::kDuotone:
            form.color = ColorModel::kGray;
            break;
        case PsdColorMode::kIndexed:
            require_depth(file.depth == 8);
            form.color = ColorModel::kIndexed;
            break;
        case PsdColorMode::kRgb:
            form.color = ColorModel::kRgb;
            break;
        case PsdColorMode::kCmyk:
            form.color = ColorModel::kCmyk;
            break;
        case PsdColorMode::kMultichannel:
            if (file.channels > 4) {
                unsupported(
                    file, std::to_string(file.channels) + " channels in Multichannel mode, of which up to 4 are read");
            }
            form.color = file.channels == 1 ? ColorModel::kGray : ColorModel::kCmyk;
            break;
        case PsdColorMode::kLab:
            require_depth(file.depth != 32);
            form.color = ColorModel::kLab;
            break;
        default:
            unsupported(file, "color mode " + std::to_string(static_cast<int>(file.mode)) +
                                  ", which the format does not define");
    }
    form.sample = file.depth == 16 ? SampleType::kUint16 : file.depth == 32 ? SampleType::kFloat : SampleType::kUint8;
    form.bits = file.depth;
    file.planes = file.mode == PsdColorMode::kMultichannel ? file.channels : form.color_bands();
    if (file.channels < file.planes) {
        damaged("the file has " + std::to_string(file.channels) + " channels, too few for " + psd_mode_name(file.mode) +
                " mode");
    }
}

}  // namespace

const PsdResource* PsdFile::find(uint16_t id) const {
    const auto found = std::find_if(blocks.begin(), blocks.end(), [&](const PsdResource& one) { return one.id == id; });
    return found == blocks.end() ? nullptr : &*found;
}

const char* psd_mode_name(PsdColorMode mode) {
    switch (mode) {
        case PsdColorMode::kBitmap:
            return "Bitmap";
        case PsdColorMode::kGray:
            return "Grayscale";
        case PsdColorMode::kIndexed:
            return "Indexed";
        case PsdColorMode::kRgb:
            return "RGB";
        case PsdColorMode::kCmyk:
            return "CMYK";
        case PsdColorMode::kMultichannel:
            return "Multichannel";
        case PsdColorMode::kDuotone:
            return "Duotone";
        case PsdColorMode::kLab:
            return "Lab";
        case PsdColorMode::kAuto:
            break;
    }
    return "unknown";
}

bool is_psd(std::span<const uint8_t> start) {
    const ByteReader in(start, true);
    const uint16_t version = in.u16(4);
    return in.starts_with(0, "8BPS") && in.ok() && (version == 1 || version == 2);
}

std::vector<PsdResource> walk_psd_resources(ByteSource& bytes, const PsdRange& range) {
    constexpr std::string_view kMarks[] = {"8BIM", "MeSa", "AgHg", "PHUT", "DCSR"};
    constexpr size_t kMostBlocks = size_t{1} << 16;
    std::vector<PsdResource> blocks;
    PsdCursor in(bytes, range, false);
    while (in.left() >= 12 && blocks.size() < kMostBlocks) {
        if (std::none_of(std::begin(kMarks), std::end(kMarks), [&](auto mark) { return in.starts_with(mark); })) {
            break;
        }
        PsdResource block;
        block.block.at = in.at();
        in.skip(4);
        block.id = static_cast<uint16_t>(in.take(2));
        in.skip(even_size(1 + in.take(1)) - 1);  // the name
        block.data.size = in.take(4);
        block.data.at = in.at();
        in.skip(block.data.size);
        if (!in.ok()) {
            break;
        }
        in.skip(std::min(in.left(), block.data.size % 2));
        block.block.size = in.at() - block.block.at;
        blocks.push_back(block);
    }
    return blocks;
}

PsdFile read_psd_structure(ByteSource& bytes, uint64_t file_size) {
    const ByteReader in(bytes, true);
    if (!in.starts_with(0, "8BPS")) {
        damaged("this is no PSD file");
    }
    PsdFile file;
    const uint16_t version = in.u16(4);
    file.large = version == 2;
    file.channels = in.u16(12);
    const uint32_t height = in.u32(14);
    const uint32_t width = in.u32(18);
    file.depth = in.u16(22);
    file.mode = static_cast<PsdColorMode>(in.u16(24));
    if (!in.ok()) {
        damaged("the file ends in its header");
    }
    if (version != 1 && version != 2) {
        throw PictureError(Failure::kUnsupported, "this is a PSD of version " + std::to_string(version) +
                                                      ", which the format does not define");
    }
    if (width == 0 || height == 0 || width > kPsbMostSide || height > kPsbMostSide || file.channels == 0 ||
        file.channels > kPsdMostChannels) {
        damaged("the header tells " + std::to_string(width) + " by " + std::to_string(height) + " pixels and " +
                std::to_string(file.channels) + " channels");
    }
    file.width = static_cast<int32_t>(width);
    file.height = static_cast<int32_t>(height);
    choose_form(file);

    uint64_t at = kPsdHeaderSize;
    const auto section = [&](const char* name, bool long_length) {
        const uint64_t digits = long_length ? 8 : 4;
        PsdRange range{at + digits, long_length ? in.u64(at) : in.u32(at)};
        if (!in.ok() || range.size > file_size - range.at) {
            damaged(std::string("the file ends in its ") + name);
        }
        at = range.end();
        return range;
    };
    file.color_data = section("color mode data", false);
    file.resources = section("resources", false);
    file.layers = section("layers", file.large);
    if (file.mode == PsdColorMode::kIndexed && file.color_data.size < 768) {
        damaged("the file has no palette");
    }
    file.image = {at, file_size - at};
    const uint16_t compression = in.u16(at);
    if (!in.ok()) {
        damaged("the file ends before its pixels");
    }
    if (compression > static_cast<uint16_t>(PsdCompression::kZipWithPrediction)) {
        unsupported(file, "compression " + std::to_string(compression) + ", which the format does not define");
    }
    file.compression = static_cast<PsdCompression>(compression);
    if (file.compression == PsdCompression::kZipWithPrediction && file.depth == 1) {
        unsupported(file, "prediction of 1-bit samples, which the format does not define");
    }
    file.blocks = walk_psd_resources(bytes, file.resources);

    file.marked = file.layers.size > 0 && read_psd_layers(bytes, file);
    const bool can_be_transparent = file.mode != PsdColorMode::kBitmap && file.mode != PsdColorMode::kIndexed &&
                                    file.mode != PsdColorMode::kMultichannel && file.channels > file.planes;
    if (can_be_transparent) {
        // Channels behind the colors are transparency or selections that a user kept. Where the file says nothing of
        // either, another program than the format's own wrote it, and those write their transparency there.
        const bool silent = file.layers.size == 0 && file.find(kPsdAlphaNames) == nullptr &&
                            file.find(kPsdUnicodeAlphaNames) == nullptr && file.find(kPsdAlphaIds) == nullptr;
        file.form.alpha = file.marked || silent || named_transparency(bytes, file.find(kPsdAlphaNames));
    }
    if (!file.form.alpha || file.depth == 1) {
        file.layer.clear();
    }
    file.on_white = file.marked && file.form.alpha && file.layer.empty();
    return file;
}

std::optional<Resolution> psd_resolution(const PsdFile& file, ByteSource& bytes) {
    const PsdResource* found = file.find(kPsdResolution);
    if (found == nullptr || found->data.size < 12) {
        return std::nullopt;
    }
    // 16 bits before the point and 16 behind it, in dots per inch; the units beside are those that a user is shown.
    const ByteReader in(bytes, true);
    const double horizontal = in.u32(found->data.at) / 65536.0;
    const double vertical = in.u32(found->data.at + 8) / 65536.0;
    constexpr double kLeast = 0.01;  // some programs write the least number there is where they know nothing
    if (!in.ok() || horizontal < kLeast || vertical < kLeast) {
        return std::nullopt;
    }
    return Resolution{horizontal, vertical};
}

std::vector<Argb> psd_palette(const PsdFile& file, ByteSource& bytes) {
    assert(file.mode == PsdColorMode::kIndexed && file.color_data.size >= 768);
    const auto table = bytes.at(file.color_data.at, 768);
    if (table.size() != 768) {
        damaged("the file ends in its palette");
    }
    std::vector<Argb> palette(256);
    for (size_t i = 0; i < palette.size(); i++) {
        palette[i] = kBlack | Argb{table[i]} << 16 | Argb{table[256 + i]} << 8 | table[512 + i];
    }
    if (const PsdResource* found = file.find(kPsdTransparentIndex); found != nullptr && found->data.size >= 2) {
        const uint16_t index = ByteReader(bytes, true).u16(found->data.at);
        if (index < palette.size()) {
            palette[index] &= 0xFFFFFF;
        }
    }
    return palette;
}

size_t psd_used_colors(const PsdFile& file, ByteSource& bytes) {
    size_t used = 256;
    const ByteReader in(bytes, true);
    if (const PsdResource* found = file.find(kPsdPaletteCount); found != nullptr && found->data.size >= 2) {
        const size_t count = in.u16(found->data.at);
        used = count > 0 && count < used ? count : used;
    }
    if (const PsdResource* found = file.find(kPsdTransparentIndex); found != nullptr && found->data.size >= 2) {
        const size_t index = in.u16(found->data.at);
        used = index < 256 ? std::max(used, index + 1) : used;
    }
    return used;
}

}  // namespace zelmor::imagework
