// Steps that the encoders of single pictures, of frames and of palettes share.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_SUPPORT_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_SUPPORT_H

#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {

// Runs a saver of the library, such as "pngsave_buffer"; takes the options over.
EncodedBytes save_with_library(const vips::VImage& image, const char* saver, vips::VOption* options);

// Refuses pictures that are larger than the format holds.
void check_sides(const Picture& picture, Format format);

// Applies the settings that all formats share to the pixels: a transparent color, a background, a palette.
void prepare_for_encoding(Picture& picture, const Encoding& encoding);

// Throws PictureError(kEncoding).
[[noreturn]] void unfit(const std::string& text);

// While a frame is written: lets its pixels go afterwards, if they were decoded for that alone.
class DecodedToWrite {
 public:
    explicit DecodedToWrite(const Picture& picture) : m_picture(picture), m_stays(picture.is_decoded()) {}
    DecodedToWrite(const DecodedToWrite&) = delete;
    DecodedToWrite& operator=(const DecodedToWrite&) = delete;
    ~DecodedToWrite() {
        if (!m_stays) {
            m_picture.let_go();
        }
    }

 private:
    const Picture& m_picture;
    bool m_stays;
};

// Writes the picture with a codec that says which rows it takes.
void encode_rows(const FormatCodec& codec, VipsPicture& picture, const Encoding& encoding, ByteSink& out);

// The form of 8 bits a channel in the color model given, with alpha where the picture has it.
PixelForm form_of_8_bits(ColorModel color, const VipsPicture& picture);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_SUPPORT_H
