// Writing JPEG 2000; see jpeg2000_codec.h.
#include <openjpeg.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <string>

#include "runtime/native/formats/jpeg2000/jpeg2000_boxes.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_codec.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_markers.h"
#include "runtime/native/formats/jpeg2000/latin_text.h"
#include "runtime/native/formats/jpeg2000/library_handles.h"
#include "runtime/native/formats/jpeg2000/sample_spread.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kMostBits = 24;
// The library's encoder computes with 32 bits; more of a sample would overflow on the way.
constexpr int kMostWrittenBits = 20;
constexpr size_t kMostComment = 65535 - 4;

[[noreturn]] void refuse(const std::string& reason) {
    throw PictureError(Failure::kEncoding, reason);
}

// The bytes that the library writes, from `base` on.
struct Output {
    Bytes& out;
    size_t base;
    size_t position;
};

// Called by the library, which no exception may pass through.
OPJ_SIZE_T write_stream(void* buffer, OPJ_SIZE_T size, void* data) {
    auto* output = static_cast<Output*>(data);
    try {
        if (output->position + size > output->out.size()) {
            output->out.resize(output->position + size);
        }
    } catch (const std::exception&) {
        return static_cast<OPJ_SIZE_T>(-1);
    }
    std::memcpy(output->out.data() + output->position, buffer, size);
    output->position += size;
    return size;
}

OPJ_BOOL seek_written(OPJ_OFF_T position, void* data) {
    auto* output = static_cast<Output*>(data);
    if (position < 0 || static_cast<uint64_t>(position) > output->out.size() - output->base) {
        return OPJ_FALSE;
    }
    output->position = output->base + static_cast<size_t>(position);
    return OPJ_TRUE;
}

OPJ_OFF_T skip_written(OPJ_OFF_T count, void* data) {
    const auto* output = static_cast<Output*>(data);
    const auto from = static_cast<OPJ_OFF_T>(output->position - output->base);
    return seek_written(from + count, data) == OPJ_TRUE ? count : -1;
}

bool is_signed_type(SampleType type) {
    return type == SampleType::kInt8 || type == SampleType::kInt16 || type == SampleType::kInt32;
}

int bits_of(const PixelForm& form) {
    return sample_size(form.sample) == 1 ? (form.sample == SampleType::kUint8 ? form.bits : 8)
                                         : std::min(kMostWrittenBits, static_cast<int>(8 * sample_size(form.sample)));
}

class Jpeg2000Writer final : public RowWriter {
 public:
    Jpeg2000Writer(const RowsHeader& header, const Jpeg2000Encoding& encoding, Bytes& out, const Jpeg2000Tiling& tiling)
        : m_header(header), m_encoding(encoding), m_out(out) {
        check_jpeg2000_encoding(encoding);
        const PixelForm& form = header.form;
        m_bits = encoding.bit_depth == 0 ? bits_of(form) : std::min(kMostWrittenBits, encoding.bit_depth);
        if (form.color == ColorModel::kIndexed) {
            m_bits = form.bits;
        }
        m_signed = is_signed_type(form.sample);
        check_form();
        m_bands = static_cast<size_t>(form.bands());
        m_sample = m_bits <= 8 ? 1 : m_bits <= 16 ? 2 : 4;
        const bool tiles = int64_t{header.width} * header.height > tiling.pixels_of_one_tile;
        m_tile_width = tiles ? std::min(tiling.side, header.width) : header.width;
        m_tile_height = tiles ? std::min(tiling.side, header.height) : header.height;
        m_out.clear();
        if (encoding.codec == Jpeg2000Codec::kJp2) {
            m_out = jpeg2000_boxes(header, encoding, m_bits, m_signed);
        }
        m_base = m_out.size();
        m_output = std::make_unique<Output>(Output{m_out, m_base, m_base});
        start();
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        const SampleSpread spread(m_bits, m_signed, m_header.form);
        std::vector<int32_t> samples(static_cast<size_t>(m_header.width));
        for (int32_t i = 0; i < count; i++) {
            const int32_t from = m_next - m_next % m_tile_height;
            const int32_t height = std::min(m_tile_height, m_header.height - from);
            const auto plane = static_cast<size_t>(m_header.width) * static_cast<size_t>(height) * m_sample;
            m_planes.resize(plane * m_bands);
            for (size_t band = 0; band < m_bands; band++) {
                spread.take(rows.data() + row_size * static_cast<size_t>(i), band, m_bands, samples);
                pack(samples,
                     m_planes.data() + plane * band + static_cast<size_t>(m_next - from) * samples.size() * m_sample);
            }
            m_next++;
            if (m_next == from + height) {
                write_tiles(from / m_tile_height, height);
            }
        }
    }

    void finish() override {
        assert(m_next == m_header.height);
        if (opj_end_compress(m_codec.get(), m_stream.get()) == OPJ_FALSE) {
            fail();
        }
        m_codec.reset();
        m_stream.reset();  // which writes what it still has
        m_out.resize(std::max(m_out.size(), m_output->position));
        replace_comments();
    }

 private:
    [[noreturn]] void fail() const {
        throw PictureError(Failure::kInternal,
                           "the picture cannot be written: " + m_messages.text("the library gives no reason"));
    }

    void check_form() const {
        const PixelForm& form = m_header.form;
        if (!form.is_integer() || form.color == ColorModel::kLab) {
            refuse("JPEG 2000 files hold gray, RGB, CMYK and indexed pictures of integers here, no others");
        }
        const bool bare = m_encoding.codec == Jpeg2000Codec::kJ2k;
        if (form.color == ColorModel::kIndexed) {
            if (m_header.palette.empty() || m_header.palette.size() > size_t{1} << form.bits) {
                refuse("the palette of the picture does not go with its indices");
            }
            if (m_encoding.irreversible ||
                (!m_encoding.compression_ratios.empty() && m_encoding.compression_ratios.back() > 1)) {
                refuse("indices into a palette can be written without loss alone");
            }
        }
        if (bare && (form.color == ColorModel::kIndexed || form.color == ColorModel::kCmyk)) {
            refuse(std::string("a bare JPEG 2000 codestream cannot tell that its samples are ") +
                   (form.color == ColorModel::kCmyk ? "inks" : "indices into a palette") + "; a JP2 file can");
        }
    }

    void start() {
        opj_cparameters_t parameters;
        opj_set_default_encoder_parameters(&parameters);
        const bool rgb = m_header.form.color == ColorModel::kRgb;
        parameters.tcp_mct = rgb ? 1 : 0;
        parameters.irreversible = m_encoding.irreversible ? 1 : 0;
        parameters.cp_disto_alloc = 1;
        parameters.tcp_numlayers = std::max(1, static_cast<int>(m_encoding.compression_ratios.size()));
        for (size_t i = 0; i < m_encoding.compression_ratios.size(); i++) {
            const float ratio = m_encoding.compression_ratios[i];
            parameters.tcp_rates[i] = ratio <= 1 ? 0 : ratio;
        }
        while (parameters.numresolution > 1 &&
               (1 << (parameters.numresolution - 1)) > std::min(m_tile_width, m_tile_height)) {
            parameters.numresolution--;
        }
        parameters.tile_size_on = OPJ_TRUE;
        parameters.cp_tdx = m_tile_width;
        parameters.cp_tdy = m_tile_height;
        char no_comment[] = "";
        parameters.cp_comment = no_comment;

        std::vector<opj_image_cmptparm_t> parts(m_bands);
        for (opj_image_cmptparm_t& part : parts) {
            part.dx = part.dy = 1;
            part.w = static_cast<OPJ_UINT32>(m_header.width);
            part.h = static_cast<OPJ_UINT32>(m_header.height);
            part.prec = static_cast<OPJ_UINT32>(m_bits);
            part.sgnd = m_signed ? 1 : 0;
        }
        m_image.reset(opj_image_tile_create(static_cast<OPJ_UINT32>(m_bands), parts.data(),
                                            rgb ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY));
        m_codec.reset(opj_create_compress(OPJ_CODEC_J2K));
        constexpr size_t kBuffer = size_t{64} << 10;
        m_stream.reset(opj_stream_create(kBuffer, OPJ_FALSE));
        if (m_image == nullptr || m_codec == nullptr || m_stream == nullptr) {
            throw std::bad_alloc();
        }
        m_image->x1 = static_cast<OPJ_UINT32>(m_header.width);
        m_image->y1 = static_cast<OPJ_UINT32>(m_header.height);
        m_messages.listen(m_codec.get());
        opj_stream_set_user_data(m_stream.get(), m_output.get(), nullptr);
        opj_stream_set_write_function(m_stream.get(), write_stream);
        opj_stream_set_seek_function(m_stream.get(), seek_written);
        opj_stream_set_skip_function(m_stream.get(), skip_written);
        if (opj_setup_encoder(m_codec.get(), &parameters, m_image.get()) == OPJ_FALSE ||
            opj_start_compress(m_codec.get(), m_image.get(), m_stream.get()) == OPJ_FALSE) {
            fail();
        }
    }

    void pack(const std::vector<int32_t>& samples, uint8_t* to) const {
        for (const int32_t sample : samples) {
            if (m_sample == 1) {
                *to = static_cast<uint8_t>(sample);
            } else if (m_sample == 2) {
                const auto value = static_cast<uint16_t>(sample);
                std::memcpy(to, &value, sizeof(value));
            } else {
                std::memcpy(to, &sample, sizeof(sample));
            }
            to += m_sample;
        }
    }

    void write_tiles(int32_t row, int32_t height) {
        const int32_t columns = (m_header.width + m_tile_width - 1) / m_tile_width;
        for (int32_t column = 0; column < columns; column++) {
            const int32_t left = column * m_tile_width;
            const int32_t width = std::min(m_tile_width, m_header.width - left);
            Bytes own;
            Bytes& tile = columns == 1 ? m_planes : own;
            if (columns > 1) {
                const auto line = static_cast<size_t>(width) * m_sample;
                const auto stride = static_cast<size_t>(m_header.width) * m_sample;
                own.resize(line * static_cast<size_t>(height) * m_bands);
                for (size_t y = 0; y < static_cast<size_t>(height) * m_bands; y++) {
                    std::memcpy(own.data() + y * line,
                                m_planes.data() + y * stride + static_cast<size_t>(left) * m_sample, line);
                }
            }
            const auto index = static_cast<OPJ_UINT32>(row * columns + column);
            if (opj_write_tile(m_codec.get(), index, tile.data(), static_cast<OPJ_UINT32>(tile.size()),
                               m_stream.get()) == OPJ_FALSE) {
                fail();
            }
        }
        m_planes.clear();
    }

    // The library writes a comment of its own into the main header; the settings' comments take its place.
    void replace_comments() {
        const ByteReader in(m_out, true);
        size_t at = m_base + 2;
        size_t begin = 0;
        size_t end = 0;
        while (in.u16(at) != kMarkerSot) {
            const size_t size = size_t{2} + in.u16(at + 2);
            if (!in.ok()) {
                throw PictureError(Failure::kInternal, "the library wrote no main header");
            }
            if (in.u16(at) == kMarkerCom) {
                begin = at;
                end = at + size;
            }
            at += size;
        }
        if (begin == 0) {
            begin = end = at;
        }
        Bytes comments;
        for (const std::string& comment : m_encoding.comments) {
            const auto text = to_latin9(comment);
            assert(text);
            const size_t length = text->size() + 4;
            for (const size_t byte :
                 {size_t{kMarkerCom} >> 8, size_t{kMarkerCom}, length >> 8, length, size_t{0}, size_t{1}}) {
                comments.push_back(static_cast<uint8_t>(byte));
            }
            comments.insert(comments.end(), text->begin(), text->end());
        }
        const auto first = m_out.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto kept = m_out.erase(first, m_out.begin() + static_cast<std::ptrdiff_t>(end));
        m_out.insert(kept, comments.begin(), comments.end());
    }

    RowsHeader m_header;
    Jpeg2000Encoding m_encoding;
    Bytes& m_out;
    int m_bits = 8;
    bool m_signed = false;
    size_t m_bands = 1;
    size_t m_sample = 1;  // bytes of a sample, as the library takes them
    int32_t m_tile_width = 0;
    int32_t m_tile_height = 0;
    size_t m_base = 0;
    std::unique_ptr<Output> m_output;
    LibraryMessages m_messages;
    LibraryImage m_image;
    LibraryStream m_stream;
    LibraryCodec m_codec;
    int32_t m_next = 0;
    Bytes m_planes;  // of a row of tiles, one band after the other
};

}  // namespace

void check_jpeg2000_encoding(const Jpeg2000Encoding& encoding) {
    if (encoding.codec == Jpeg2000Codec::kJpt) {
        refuse("JPT streams belong to a network protocol and cannot be written");
    }
    if (encoding.bit_depth < 0 || encoding.bit_depth > kMostBits) {
        refuse("JPEG 2000 is written with 1 to " + std::to_string(kMostBits) + " bits a sample, not " +
               std::to_string(encoding.bit_depth));
    }
    const auto& ratios = encoding.compression_ratios;
    if (ratios.size() > kMostJpeg2000Layers) {
        refuse("there are " + std::to_string(ratios.size()) + " compression ratios; up to " +
               std::to_string(kMostJpeg2000Layers) + " can be written");
    }
    for (size_t i = 0; i < ratios.size(); i++) {
        if (!std::isfinite(ratios[i]) || ratios[i] < 1) {
            refuse("a compression ratio is 1 or more");
        }
        if (i > 0 && ratios[i] >= ratios[i - 1]) {
            refuse("each compression ratio is below the one before it");
        }
    }
    for (const std::string& comment : encoding.comments) {
        const auto text = to_latin9(comment);
        if (!text) {
            refuse("a comment has characters beyond those of ISO 8859-15, which JPEG 2000 has no place for");
        }
        if (text->size() > kMostComment) {
            refuse("a comment has more than " + std::to_string(kMostComment) + " characters");
        }
    }
    if (encoding.codec == Jpeg2000Codec::kJ2k && (!encoding.xmp.empty() || !encoding.exif.empty())) {
        refuse("a bare JPEG 2000 codestream has no place for XMP or EXIF data; a JP2 file has");
    }
}

std::unique_ptr<RowWriter> make_jpeg2000_writer(const RowsHeader& header, const Jpeg2000Encoding& encoding,
                                                std::vector<uint8_t>& out, const Jpeg2000Tiling& tiling) {
    return std::make_unique<Jpeg2000Writer>(header, encoding, out, tiling);
}

}  // namespace zelmor::imagework
