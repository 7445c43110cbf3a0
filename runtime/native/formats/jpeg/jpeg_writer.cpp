// Writing JPEG; see jpeg_codec.h.
#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <string>
#include <utility>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_errors.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMostText = 65533;                   // of one segment
constexpr size_t kMostProfile = size_t{255} * 65519;  // of the segments of a profile, which are numbered by one byte
// From this quality on, colors are as fine as the brightness.
constexpr int kFineQuality = 90;

// Of 8 by 8 samples, which all components of a scan have together.
constexpr int kMostBlocks = 10;

[[noreturn]] void unfit(const std::string& text) {
    throw PictureError(Failure::kEncoding, text);
}

J_COLOR_SPACE color_space_of(const PixelForm& form) {
    if (form.sample != SampleType::kUint8 || form.alpha) {
        unfit("JPEG has samples of 8 bits without alpha");
    }
    switch (form.color) {
        case ColorModel::kGray:
            return JCS_GRAYSCALE;
        case ColorModel::kRgb:
            return JCS_RGB;
        case ColorModel::kCmyk:
            return JCS_CMYK;
        case ColorModel::kIndexed:
            unfit("JPEG holds no indexed colors");
        case ColorModel::kLab:
            break;
    }
    unfit("JPEG holds no Lab colors");
}

// The colors of the file. The library's own choice is YCbCr for RGB, and CMYK as it is.
J_COLOR_SPACE stored_space(J_COLOR_SPACE rows, JpegColor wanted) {
    switch (rows) {
        case JCS_RGB:
            return wanted == JpegColor::kRgb ? JCS_RGB : JCS_YCbCr;
        case JCS_CMYK:
            return wanted == JpegColor::kYcck ? JCS_YCCK : JCS_CMYK;
        default:
            return rows;
    }
}

UINT16 density(double dots_per_inch) {
    return static_cast<UINT16>(std::clamp(std::round(dots_per_inch), 1.0, 65535.0));
}

class JpegWriter final : public RowWriter, private JpegErrors {
 public:
    JpegWriter(const RowsHeader& header, const JpegEncoding& encoding, ByteSink& out)
        : JpegErrors(Failure::kEncoding),
          m_row_size(header.form.pixel_size() * static_cast<size_t>(header.width)),
          m_inverts(header.form.color == ColorModel::kCmyk),
          m_out(out) {
        assert(header.width > 0 && header.height > 0);
        const J_COLOR_SPACE colors = color_space_of(header.form);
        require_room(header, encoding);
        m_codec.err = manager();
        m_codec.client_data = static_cast<JpegErrors*>(this);
        jpeg_compress_struct* const codec = &m_codec;
        run([codec] { jpeg_create_compress(codec); });
        try {
            begin(header, encoding, colors);
        } catch (...) {
            jpeg_destroy_compress(&m_codec);
            throw;
        }
    }
    ~JpegWriter() override { jpeg_destroy_compress(&m_codec); }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        assert(rows.size() == m_row_size * static_cast<size_t>(count));
        for (int32_t done = 0; done < count;) {
            const int32_t wanted = std::min(kAtOnce, count - done);
            const size_t size = m_row_size * static_cast<size_t>(wanted);
            const auto piece = rows.subspan(m_row_size * static_cast<size_t>(done), size);
            put(wanted, m_inverts ? inverted(piece) : piece.data());
            done += wanted;
        }
    }

    void finish() override {
        jpeg_compress_struct* const codec = &m_codec;
        run([codec] { jpeg_finish_compress(codec); });
    }

 private:
    static constexpr int32_t kAtOnce = 16;

    static void require_room(const RowsHeader& header, const JpegEncoding& encoding) {
        if (encoding.comment.size() > kMostText) {
            unfit("a JPEG comment has at most 65533 bytes, this one has " + std::to_string(encoding.comment.size()));
        }
        if (header.profile != nullptr && header.profile->size() > kMostProfile) {
            unfit("a color profile in a JPEG file has at most " + std::to_string(kMostProfile) +
                  " bytes, this one has " + std::to_string(header.profile->size()));
        }
    }

    // Sets all settings and writes the header.
    void begin(const RowsHeader& header, const JpegEncoding& encoding, J_COLOR_SPACE colors) {
        m_manager.init_destination = &on_init;
        m_manager.empty_output_buffer = &on_full;
        m_manager.term_destination = &on_end;
        jpeg_compress_struct* const codec = &m_codec;
        codec->dest = &m_manager;
        codec->image_width = static_cast<JDIMENSION>(header.width);
        codec->image_height = static_cast<JDIMENSION>(header.height);
        codec->input_components = header.form.bands();
        codec->in_color_space = colors;
        const int quality = encoding.quality;
        const bool progressive = encoding.progressive;
        const J_COLOR_SPACE stored = stored_space(colors, encoding.color);
        run([=] {
            jpeg_set_defaults(codec);
            jpeg_set_colorspace(codec, stored);
            jpeg_set_quality(codec, quality, TRUE);
            codec->optimize_coding = TRUE;
            if (progressive) {
                jpeg_simple_progression(codec);
            }
        });
        if (!encoding.horizontal_sampling.empty() || !encoding.vertical_sampling.empty()) {
            set_sampling(encoding);
        } else if (quality >= kFineQuality) {
            for (int i = 0; i < codec->num_components; i++) {
                codec->comp_info[i].h_samp_factor = 1;
                codec->comp_info[i].v_samp_factor = 1;
            }
        }
        if (header.resolution) {
            codec->density_unit = 1;  // inch
            codec->X_density = density(header.resolution->horizontal);
            codec->Y_density = density(header.resolution->vertical);
        }
        const std::string& comment = encoding.comment;
        const auto* const text = reinterpret_cast<const JOCTET*>(comment.data());
        const auto text_size = static_cast<unsigned>(comment.size());
        const JOCTET* const profile = header.profile != nullptr ? header.profile->data() : nullptr;
        const auto profile_size = static_cast<unsigned>(header.profile != nullptr ? header.profile->size() : 0);
        run([=] {
            jpeg_start_compress(codec, TRUE);
            if (profile_size > 0) {
                jpeg_write_icc_profile(codec, profile, profile_size);
            }
            if (text_size > 0) {
                jpeg_write_marker(codec, JPEG_COM, text, text_size);
            }
        });
    }

    // A direction without factors has ones. Settings of a picture with other components, as those of a file whose
    // colors were changed, count no more.
    void set_sampling(const JpegEncoding& encoding) {
        const auto components = static_cast<size_t>(m_codec.num_components);
        int blocks = 0;
        for (size_t i = 0; i < components; i++) {
            const auto factor = [&](const std::vector<uint8_t>& factors) -> int {
                return factors.size() == components ? factors[i] : 1;
            };
            m_codec.comp_info[i].h_samp_factor = factor(encoding.horizontal_sampling);
            m_codec.comp_info[i].v_samp_factor = factor(encoding.vertical_sampling);
            blocks += m_codec.comp_info[i].h_samp_factor * m_codec.comp_info[i].v_samp_factor;
        }
        if (components > 1 && blocks > kMostBlocks) {
            unfit("a unit of a JPEG file has at most " + std::to_string(kMostBlocks) +
                  " blocks; HorizontalSampling and VerticalSampling make " + std::to_string(blocks));
        }
    }

    const uint8_t* inverted(std::span<const uint8_t> rows) {
        m_inverted.resize(m_row_size * kAtOnce);
        std::transform(rows.begin(), rows.end(), m_inverted.begin(),
                       [](uint8_t ink) { return static_cast<uint8_t>(ink ^ 0xFF); });
        return m_inverted.data();
    }

    void put(int32_t count, const uint8_t* rows) {
        jpeg_compress_struct* const codec = &m_codec;
        const size_t row_size = m_row_size;
        run([=] {
            JSAMPROW pointers[kAtOnce];
            for (int32_t i = 0; i < count; i++) {
                pointers[i] = const_cast<JSAMPROW>(rows) + row_size * static_cast<size_t>(i);
            }
            jpeg_write_scanlines(codec, pointers, static_cast<JDIMENSION>(count));
        });
    }

    static JpegWriter& writer_of(j_compress_ptr codec) {
        return static_cast<JpegWriter&>(*static_cast<JpegErrors*>(codec->client_data));
    }
    static void on_init(j_compress_ptr codec) { writer_of(codec).clear_buffer(); }
    static boolean on_full(j_compress_ptr codec) {
        JpegWriter& self = writer_of(codec);
        self.take(self.m_buffer.size());
        self.clear_buffer();
        return TRUE;
    }
    static void on_end(j_compress_ptr codec) {
        JpegWriter& self = writer_of(codec);
        self.take(self.m_buffer.size() - self.m_manager.free_in_buffer);
    }

    void clear_buffer() {
        m_manager.next_output_byte = m_buffer.data();
        m_manager.free_in_buffer = m_buffer.size();
    }
    // Called by callbacks as their last act that can fail.
    void take(size_t count) {
        bool taken = false;
        try {
            m_out.write({m_buffer.data(), count});
            taken = true;
        } catch (...) {
            keep(std::current_exception());
        }
        if (!taken) {
            leave();
        }
    }

    size_t m_row_size;
    bool m_inverts;
    ByteSink& m_out;
    std::vector<uint8_t> m_inverted;
    std::array<JOCTET, size_t{64} << 10> m_buffer{};
    jpeg_destination_mgr m_manager{};
    jpeg_compress_struct m_codec{};
};

}  // namespace

std::unique_ptr<RowWriter> make_jpeg_writer(const RowsHeader& header, const JpegEncoding& encoding, ByteSink& out) {
    return std::make_unique<JpegWriter>(header, encoding, out);
}

}  // namespace zelmor::imagework
