// From files to pictures, of all formats. The format is found from the first bytes, never from a name, and only the one
// decoder that belongs to it sees the data.
#include "runtime/native/imagework/vips/decode.h"

#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/probe/probe.h"
#include "runtime/native/imagework/vips/deferred_rows.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

const FormatCodec& reading_codec(Format format) {
    const FormatCodec* codec = codec_of(format);
    if (codec == nullptr || codec->open == nullptr) {
        throw PictureError(Failure::kUnsupported,
                           std::string("there is no codec that reads ") + format_name(format) + " data");
    }
    return *codec;
}

// What is said of damage in a picture of the format.
std::string damage_of(Format format, const DecodeOptions& options = {}) {
    const char* damage =
        options.recovery != Recovery::kNone ? reading_codec(format).damage_of_recovery : "is damaged or incomplete";
    return std::string("the ") + format_name(format) + " data " + damage;
}

// A frame whose rows are not decoded yet. Opening one of an animation has composed it, and it can be let go until its
// rows are wanted. A recovery finds out what is lost.
std::unique_ptr<VipsPicture> opened_picture(const SharedFrames& frames, size_t index, const DecodeOptions& options,
                                            const std::string& damage) {
    auto reader = frames->open(index);
    if (options.recovery != Recovery::kNone) {
        return read_picture(*reader, options);
    }
    const RowsHeader header = reader->header();
    return std::make_unique<VipsPicture>(DeferredRows::of_frame(frames, index, std::move(reader), options, damage),
                                         header);
}

}  // namespace

SharedFrames open_frames(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    settle_after_fork();
    require_decodable(facts, options);
    return labeled(damage_of(facts.format), [&] { return reading_codec(facts.format).open(source, facts, options); });
}

std::unique_ptr<Picture> decode_frame(const SharedFrames& frames, size_t index, const DecodeOptions& options) {
    settle_after_fork();
    const FrameHeader header = frames->header(index);
    const FileFacts& facts = header.facts;
    const std::string damage = damage_of(facts.format, options);
    return labeled(damage, [&] {
        auto picture = opened_picture(frames, index, options, damage);
        const bool covers = header.area == Rect{0, 0, picture->width(), picture->height()};
        const bool clear = header.control && header.control->transparent;
        if (options.recovery != Recovery::kNone && reading_codec(facts.format).control_tells_transparency && covers &&
            !clear) {
            picture->flatten(options.background);  // no pixel of such a frame is transparent but what was lost
        }
        picture->apply_profiles(options);
        picture->forget_changes();
        picture->set_origin({frames, index});
        return std::unique_ptr<Picture>(std::move(picture));
    });
}

std::unique_ptr<Picture> picture_of_rows(const SharedFrames& frames, const DecodeOptions& options) {
    settle_after_fork();
    auto reader = frames->open(0);
    const RowsHeader header = reader->header();
    return std::make_unique<VipsPicture>(DeferredRows::of_frame(frames, 0, std::move(reader), options, "the drawing"),
                                         header);
}

std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options) {
    settle_after_fork();
    const FileFacts facts = probe(data);
    require_decodable(facts, options);
    const SharedFrames frames = labeled(damage_of(facts.format, options), [&] {
        const FormatCodec& codec = reading_codec(facts.format);
        const auto open = facts.has_still && codec.open_still != nullptr ? codec.open_still : codec.open;
        return open(borrowed_source(data), facts, options);
    });
    auto picture = decode_frame(frames, 0, options);
    picture->decode();
    static_cast<VipsPicture&>(*picture).set_origin({});  // the data go with the caller
    return picture;
}

}  // namespace zelmor::imagework
