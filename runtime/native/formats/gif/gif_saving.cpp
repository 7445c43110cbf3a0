// Saving GIF images; see gif_saving.h.
#include "runtime/native/formats/gif/gif_saving.h"

#include "runtime/native/behaviors/formats/gif_blocks.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/gif/gif_details.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

bool is_xmp(std::span<const uint8_t> block) {
    constexpr std::string_view kMark{"\x21\xFF\x0BXMP DataXMP", 14};
    return ByteReader(block).starts_with(0, kMark);
}

std::vector<std::vector<uint8_t>> bytes_of(const std::vector<GifExtension>& extensions) {
    std::vector<std::vector<uint8_t>> result;
    for (const GifExtension& extension : extensions) {
        if (is_gif_block(*extension.block, GifLabel::kControl)) {
            continue;  // which the frame has taken over
        }
        auto said = bytes_of_gif_block(*extension.block);
        if (is_xmp(said)) {
            continue;  // the image's packet is written
        }
        if (!extension.bytes.empty() && said == extension.as_read) {
            said = extension.bytes;
        }
        result.push_back(std::move(said));
    }
    return result;
}

// What the control block of a frame says; of an image, that of its active frame.
GifFrame controlled_frame(ImageObject& image) {
    ImageObject& frame =
        image.is_container() && !image.frames().empty() ? *image.frames()[image.active_index()] : image;
    take_control_block(frame);
    GifFrame gif;
    gif.control = frame.gif.control;
    gif.sets_transparent = frame.gif.control.transparent != frame.gif.transparent_of_file;
    return gif;
}

// What a GIF file says of a frame.
GifFrame gif_frame_of(const ImageObject& image, ImageObject& frame, bool last) {
    GifFrame gif = controlled_frame(frame);
    gif.part = frame.gif.part;
    gif.left = frame.left;
    gif.top = frame.top;
    gif.blocks_before = bytes_of(frame.gif.blocks_before);
    if (last) {
        gif.blocks_behind = bytes_of(image.gif.blocks_behind);
    }
    return gif;
}

}  // namespace

void encode_gif_image(ImageObject& image, ByteSink& out) {
    const FrameRange objects = image.frames();
    if (objects.empty()) {
        throw_invalid_operation("The image has no frames.");
    }
    const int32_t usual = usual_duration(image, nullptr);
    std::vector<Encoding> encodings;
    std::vector<FrameToWrite> frames;
    bool as_in_file = true;
    for (size_t i = 0; i < objects.size(); ++i) {
        ImageObject& frame = *objects[i];
        const FrameOrigin origin = frame.offered_palette().empty() ? frame.origin() : FrameOrigin{};
        // A new frame may still have the pixels of a file, even of another format.
        as_in_file = as_in_file && !frame.gif.part && origin.source && origin.index == i &&
                     (i == 0 || origin.source == frames[0].origin.source);
        encodings.push_back(encoding_for(frame, Format::kGif, image));
        as_in_file = as_in_file && !encodings.back().transparent_color && !encodings.back().flatten;
        GifFrame gif = gif_frame_of(image, frame, i + 1 == objects.size());
        const bool timed = frame.duration > 0 || origin.source || objects.size() == 1;
        frames.push_back({nullptr, timed ? frame.duration : usual, nullptr, std::move(gif), origin});
    }
    std::vector<std::unique_ptr<Picture>> pictures;
    for (size_t i = 0; i < frames.size(); ++i) {
        encodings[i].copies_frames = as_in_file;
        frames[i].encoding = &encodings[i];
        if (!as_in_file) {
            frames[i].picture = pictures.emplace_back(objects[i]->picture().copy()).get();
        }
    }
    image_backend().encode_frames(frames, out);
}

bool is_described_gif_frame(ImageObject& source) {
    return source.facts().format == Format::kGif && controlled_frame(source).sets_transparent;
}

void describe_gif_frame(ImageObject& image, ImageObject& source, bool last, FrameToWrite& frame) {
    if (source.facts().format == Format::kGif) {
        frame.gif = controlled_frame(source);
    }
    frame.gif.blocks_before = bytes_of(source.gif.blocks_before);
    if (last) {
        frame.gif.blocks_behind = bytes_of(image.gif.blocks_behind);
    }
}

}  // namespace zelmor::embed
