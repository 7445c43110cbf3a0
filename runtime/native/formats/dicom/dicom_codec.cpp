// The codec of DICOM in the image backend.
#include "runtime/native/formats/dicom/dicom_codec.h"

#include <algorithm>
#include <cassert>
#include <utility>
#include <vector>

#include "runtime/native/formats/dicom/dicom_writer.h"
#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/lossless_frame.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

// Loads the library of JPEG 2000 when the first such frame is met.
const FormatCodec& jpeg2000_codec() {
    const FormatCodec* codec = codec_of(Format::kJpeg2000);
    assert(codec != nullptr);
    return *codec;
}

SharedFrames open_jpeg2000_frame(const SharedSource& frame, const DecodeOptions& options) {
    return jpeg2000_codec().open(frame, {}, options);
}

SharedFrames open_dicom(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_dicom(source, options, {&open_jpeg2000_frame});
}

bool is_lossless_jpeg(const DicomEncoding& dicom) {
    return dicom.compression == DicomCompression::kJpeg && dicom.jpeg.is_lossless;
}

// The form that a picture is brought to.
PixelForm wanted_form(const VipsPicture& picture, const DicomEncoding& dicom) {
    switch (dicom.samples) {
        case DicomSamples::kGray8:
            return {ColorModel::kGray};
        case DicomSamples::kGray16:
            return {ColorModel::kGray, SampleType::kUint16, 16, false};
        case DicomSamples::kRgb24:
            return {ColorModel::kRgb};
        case DicomSamples::kAuto:
            break;
    }
    PixelForm form = picture.form();
    const bool lossless_jpeg = is_lossless_jpeg(dicom);
    const bool bytes_only = dicom.compression == DicomCompression::kJpeg && !lossless_jpeg;
    const bool is_jpeg = bytes_only || dicom.compression == DicomCompression::kJpeg2000;
    form.alpha = false;
    if (form.color == ColorModel::kIndexed) {
        return is_jpeg || picture.has_alpha() ? PixelForm{ColorModel::kRgb} : form;
    }
    if (form.color != ColorModel::kGray) {
        form.color = ColorModel::kRgb;
    }
    if (bytes_only) {
        return {form.color};
    }
    if (!form.is_integer() || (lossless_jpeg && sample_size(form.sample) > 2)) {
        form.sample = SampleType::kUint16;
        form.bits = 16;
    }
    form.bits = static_cast<int>(8 * sample_size(form.sample));
    return form;
}

// The deeper of two forms, and the one with colors.
PixelForm joined(const PixelForm& a, const PixelForm& b) {
    if (a == b) {
        return a;
    }
    PixelForm form;
    const auto is_color = [](const PixelForm& each) { return each.color != ColorModel::kGray; };
    form.color = is_color(a) || is_color(b) ? ColorModel::kRgb : ColorModel::kGray;
    const size_t size = std::max(sample_size(a.sample), sample_size(b.sample));
    form.sample = size == 1 ? SampleType::kUint8 : size == 2 ? SampleType::kUint16 : SampleType::kUint32;
    form.bits = static_cast<int>(8 * size);
    return form;
}

void bring_to(VipsPicture& picture, const PixelForm& form, const Encoding& encoding) {
    if (form.color == ColorModel::kIndexed) {
        return;
    }
    picture.to_srgb();
    picture.lose_alpha(encoding);
    picture.to_form(form);
}

// Keeps the rows of one frame.
class FrameRows final : public RowWriter {
 public:
    explicit FrameRows(const RowsHeader& header) {
        m_rows.reserve(header.form.pixel_size() * static_cast<size_t>(header.width) *
                       static_cast<size_t>(header.height));
    }
    void write(int32_t, std::span<const uint8_t> rows) override {
        m_rows.insert(m_rows.end(), rows.begin(), rows.end());
    }
    void finish() override {}
    std::vector<uint8_t> take() { return std::move(m_rows); }

 private:
    std::vector<uint8_t> m_rows;
};

// Of samples as the file would have them without a compression.
std::vector<uint8_t> lossless_jpeg_frame(const DicomForm& form, std::span<const uint8_t> frame) {
    constexpr int kFewestBits = 2;
    constexpr int kFirstOrder = 1;  // the predictor that the transfer syntax stands for
    const auto size = static_cast<size_t>(form.allocated / 8);
    // The sign fills the bits above those that count: other programs expect it to come back.
    const int bits = form.is_signed ? form.allocated : std::max(form.stored, kFewestBits);
    const uint32_t mask = (uint32_t{1} << bits) - 1;
    std::vector<uint16_t> samples;
    samples.reserve(frame.size() / size);
    for (size_t at = 0; at < frame.size(); at += size) {
        const uint32_t sample = size == 1 ? frame[at] : static_cast<uint32_t>(frame[at] | frame[at + 1] << 8);
        samples.push_back(static_cast<uint16_t>(sample & mask));
    }
    MemorySink file;
    encode_lossless_jpeg({form.width, form.height, form.samples, bits, kFirstOrder}, samples, {}, file);
    const EncodedBytes bytes = file.take();
    return {bytes.bytes().begin(), bytes.bytes().end()};
}

std::vector<uint8_t> encoded_frame(const VipsPicture& picture, const DicomEncoding& dicom, const DicomForm& form) {
    const bool is_jpeg = dicom.compression == DicomCompression::kJpeg && !is_lossless_jpeg(dicom);
    if (is_jpeg || dicom.compression == DicomCompression::kJpeg2000) {
        RowsHeader header = picture.rows_header();
        header.profile = nullptr;
        header.resolution.reset();
        MemorySink file;
        std::unique_ptr<RowWriter> writer;
        if (is_jpeg) {
            writer = make_jpeg_writer(header, dicom.jpeg, file);
        } else {
            Jpeg2000Encoding settings = dicom.jpeg2000;
            settings.codec = Jpeg2000Codec::kJ2k;
            settings.bit_depth = form.stored;
            writer = jpeg2000_codec().make_writer(header, settings, file);
        }
        write_rows(picture, *writer);
        writer->finish();
        const EncodedBytes bytes = file.take();
        return {bytes.bytes().begin(), bytes.bytes().end()};
    }
    FrameRows rows(picture.rows_header());
    write_rows(picture, rows);
    std::vector<uint8_t> frame = stored_samples(picture.form(), form.stored, rows.take());
    if (is_lossless_jpeg(dicom)) {
        return lossless_jpeg_frame(form, frame);
    }
    if (dicom.compression == DicomCompression::kRle) {
        return dicom_runs(form, frame);
    }
    return frame;
}

bool has_resolution_of_file(const VipsPicture& picture, const DicomFile& file) {
    return picture.resolution() == file.header.resolution.value_or(kDefaultResolution);
}

// The file whose frames the pictures still are, in any order; null where one of them is another picture.
std::shared_ptr<const DicomFrames> common_source(std::span<VipsPicture* const> pictures, const DicomEncoding& dicom) {
    std::shared_ptr<const DicomFrames> source;
    if (!dicom.keeps_frames) {
        return nullptr;
    }
    for (const VipsPicture* picture : pictures) {
        const auto own = std::dynamic_pointer_cast<const DicomFrames>(picture->origin().source);
        if (own == nullptr || (source != nullptr && own != source) || !has_resolution_of_file(*picture, own->file())) {
            return nullptr;
        }
        source = own;
    }
    return source;
}

// A file of frames as they are in another one. Nothing where one does not begin and end with a byte.
std::optional<std::vector<uint8_t>> copied(std::span<VipsPicture* const> pictures, const DicomEncoding& dicom) {
    const auto source = common_source(pictures, dicom);
    if (source == nullptr) {
        return std::nullopt;
    }
    bool whole = pictures.size() == source->count();
    for (size_t i = 0; i < pictures.size(); i++) {
        whole = whole && pictures[i]->origin().index == i;
    }
    const DicomHeader& header = source->file().header;
    if (whole && static_cast<int64_t>(pictures.size()) == header.frames && !header.syntax->deflated) {
        return all_bytes(*source->file().source);
    }
    std::vector<std::vector<uint8_t>> frames;
    for (const VipsPicture* picture : pictures) {
        auto bytes = source->bytes(picture->origin().index);
        if (!bytes) {
            return std::nullopt;
        }
        frames.push_back(std::move(*bytes));
    }
    return dicom_file_of_frames(source->file(), frames);
}

std::vector<uint8_t> file_of(std::span<VipsPicture* const> pictures, std::span<const Encoding* const> encodings) {
    const auto& dicom = encodings[0]->format.get<DicomEncoding>();
    if (auto file = copied(pictures, dicom)) {
        return std::move(*file);
    }
    PixelForm wanted = wanted_form(*pictures[0], dicom);
    for (const VipsPicture* picture : pictures) {
        if (picture->width() != pictures[0]->width() || picture->height() != pictures[0]->height()) {
            unfit("the pages of a DICOM file have to be of one size");
        }
        wanted = joined(wanted, wanted_form(*picture, dicom));
        const auto palette = pictures[0]->palette();
        if (wanted.color == ColorModel::kIndexed &&
            !std::equal(palette.begin(), palette.end(), picture->palette().begin(), picture->palette().end())) {
            wanted = {ColorModel::kRgb};
        }
    }
    std::vector<std::vector<uint8_t>> frames;
    std::optional<DicomForm> form;
    for (size_t i = 0; i < pictures.size(); i++) {
        bring_to(*pictures[i], wanted, *encodings[i]);
        if (!form) {
            RowsHeader header = pictures[i]->rows_header();
            if (pictures[i]->resolution() == kDefaultResolution && !encodings[i]->resolution) {
                header.resolution.reset();
            }
            form = dicom_form_of_rows(header, dicom);
        }
        frames.push_back(encoded_frame(*pictures[i], dicom, *form));
    }
    DicomElements elements;
    if (dicom.file != nullptr) {
        const DicomHeader& own = dicom.file->header;
        const bool same = form->samples == 1 && form->stored == own.stored && form->is_signed == own.is_signed &&
                          own.color == DicomColor::kMonochrome2 && form->palette.empty();
        elements = kept_elements(*dicom.file, same);
    }
    return dicom_file(*form, frames, std::move(elements));
}

void encode_dicom(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    VipsPicture* const pictures[] = {&picture};
    const Encoding* const encodings[] = {&encoding};
    out.write_whole(to_encoded(file_of(pictures, encodings)));
}

void encode_dicom_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    std::vector<std::unique_ptr<Picture>> own;
    std::vector<VipsPicture*> pictures;
    std::vector<const Encoding*> encodings;
    for (const FrameToWrite& frame : frames) {
        check_sides(*frame.picture, Format::kDicom);
        own.push_back(frame.picture->copy());
        prepare_for_encoding(*own.back(), *frame.encoding);
        pictures.push_back(static_cast<VipsPicture*>(own.back().get()));
        encodings.push_back(frame.encoding);
    }
    out.write_whole(to_encoded(file_of(pictures, encodings)));
}

}  // namespace

extern const FormatCodec kDicomCodec;
const FormatCodec kDicomCodec{
    .format = Format::kDicom,
    .open = &open_dicom,
    .longest_side = 65535,
    .encode = &encode_dicom,
    .encode_frames = &encode_dicom_frames,
    .has_one_size = false,
};

}  // namespace zelmor::imagework
