// Writing JPEG-LS; see jpegls_codec.h.
#include <charls/charls.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/native/formats/jpegls/jpegls_codec.h"
#include "runtime/native/imagework/encoded_bytes.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// `option` stands for the setting that the step takes.
void require(charls::jpegls_errc result, const char* option = "the picture") {
    if (result == charls::jpegls_errc::success) {
        return;
    }
    const Failure kind = result == charls::jpegls_errc::not_enough_memory ? Failure::kTooLarge : Failure::kEncoding;
    throw PictureError(kind, std::string(option) + " does not suit JPEG-LS: " + charls_get_error_message(result));
}

using Encoder = std::unique_ptr<charls_jpegls_encoder, void (*)(charls_jpegls_encoder*)>;

Encoder make_encoder() {
    Encoder encoder(charls_jpegls_encoder_create(),
                    [](charls_jpegls_encoder* own) { charls_jpegls_encoder_destroy(own); });
    if (encoder == nullptr) {
        throw PictureError(Failure::kTooLarge, "there is no memory for an encoder of JPEG-LS");
    }
    return encoder;
}

charls::interleave_mode interleaving_of(JpegLsInterleaving interleaving) {
    switch (interleaving) {
        case JpegLsInterleaving::kNone:
            return charls::interleave_mode::none;
        case JpegLsInterleaving::kLine:
            return charls::interleave_mode::line;
        case JpegLsInterleaving::kSample:
            break;
    }
    return charls::interleave_mode::sample;
}

// "JFIF", a zero, version 1.1, dots per inch, two resolutions, no thumbnail.
std::array<uint8_t, 14> jfif(const Resolution& resolution) {
    const auto dots = [](double value) { return static_cast<uint16_t>(std::clamp(std::round(value), 1.0, 65535.0)); };
    const uint16_t x = dots(resolution.horizontal);
    const uint16_t y = dots(resolution.vertical);
    return {'J',
            'F',
            'I',
            'F',
            0,
            1,
            1,
            1,
            static_cast<uint8_t>(x >> 8),
            static_cast<uint8_t>(x),
            static_cast<uint8_t>(y >> 8),
            static_cast<uint8_t>(y),
            0,
            0};
}

class JpegLsWriter final : public RowWriter {
 public:
    JpegLsWriter(const RowsHeader& header, const JpegEncoding& encoding, ByteSink& out)
        : m_header(header), m_comment(encoding.comment), m_ls(encoding.ls), m_out(out) {
        assert(header.form.sample == (m_ls.bits > 8 ? SampleType::kUint16 : SampleType::kUint8));
        m_rows.reserve(header.form.pixel_size() * static_cast<size_t>(header.width) *
                       static_cast<size_t>(header.height));
    }

    void write([[maybe_unused]] int32_t count, std::span<const uint8_t> rows) override {
        m_rows.insert(m_rows.end(), rows.begin(), rows.end());
    }

    void finish() override {
        if (m_header.form.sample == SampleType::kUint16) {
            prepare<uint16_t>();
        } else {
            prepare<uint8_t>();
        }
        const Encoder encoder = make_encoder();
        charls_jpegls_encoder* const codec = encoder.get();
        const int bands = m_header.form.bands();
        const charls_frame_info info{static_cast<uint32_t>(m_header.width), static_cast<uint32_t>(m_header.height),
                                     m_ls.bits, bands};
        require(charls_jpegls_encoder_set_frame_info(codec, &info), "BitsPerChannel");
        require(charls_jpegls_encoder_set_near_lossless(codec, m_ls.greatest_error), "JpegLsAllowedLossyError");
        require(charls_jpegls_encoder_set_interleave_mode(
                    codec, bands == 1 ? charls::interleave_mode::none : interleaving_of(m_ls.interleaving)),
                "JpegLsInterleaveMode");
        const charls_jpegls_pc_parameters preset{m_ls.maximum, m_ls.thresholds[0], m_ls.thresholds[1],
                                                 m_ls.thresholds[2], m_ls.reset};
        // The library would write a lower one into the file, and code as if it were the greatest of the bits.
        const int greatest = (1 << m_ls.bits) - 1;
        if (m_ls.maximum != 0 && m_ls.maximum != greatest) {
            throw PictureError(Failure::kEncoding, "JpegLsPreset does not suit JPEG-LS: the greatest sample of " +
                                                       std::to_string(m_ls.bits) + " bits is " +
                                                       std::to_string(greatest) + ", and no other is written");
        }
        const bool has_preset =
            m_ls.maximum != 0 || m_ls.reset != 0 ||
            std::any_of(m_ls.thresholds.begin(), m_ls.thresholds.end(), [](int threshold) { return threshold != 0; });
        if (has_preset) {
            require(charls_jpegls_encoder_set_preset_coding_parameters(codec, &preset), "JpegLsPreset");
        }
        size_t room = 0;
        require(charls_jpegls_encoder_get_estimated_destination_size(codec, &room));
        constexpr size_t kSegments = size_t{70} << 10;
        std::vector<uint8_t> file(room + m_rows.size() / 2 + kSegments);
        require(charls_jpegls_encoder_set_destination_buffer(codec, file.data(), file.size()));
        const auto segment = jfif(m_header.resolution.value_or(kDefaultResolution));
        require(charls_jpegls_encoder_write_application_data(codec, 0, segment.data(), segment.size()));
        if (!m_comment.empty()) {
            require(charls_jpegls_encoder_write_comment(codec, m_comment.data(), m_comment.size()), "Comment");
        }
        // The samples are encoded here, and with them the values that only fit each other together.
        require(charls_jpegls_encoder_encode_from_buffer(codec, m_rows.data(), m_rows.size(), 0),
                has_preset                ? "JpegLsPreset"
                : m_ls.greatest_error > 0 ? "JpegLsAllowedLossyError"
                                          : "the picture");
        size_t size = 0;
        require(charls_jpegls_encoder_get_bytes_written(codec, &size));
        file.resize(size);
        m_out.write_whole(to_encoded(std::move(file)));
    }

 private:
    // Brings the samples to their bits, and the components apart where the file has one after the other.
    template <class Sample>
    void prepare() {
        constexpr uint32_t kTop = static_cast<Sample>(~Sample{0});
        const uint32_t most = (1U << m_ls.bits) - 1;
        std::vector<Sample> samples(m_rows.size() / sizeof(Sample));
        std::memcpy(samples.data(), m_rows.data(), m_rows.size());
        if (most != kTop) {
            for (Sample& sample : samples) {
                sample = static_cast<Sample>((sample * uint64_t{most} + kTop / 2) / kTop);
            }
        }
        const auto bands = static_cast<size_t>(m_header.form.bands());
        const bool apart = bands > 1 && m_ls.interleaving == JpegLsInterleaving::kNone;
        const size_t pixels = samples.size() / bands;
        for (size_t i = 0; i < samples.size(); i++) {
            const size_t to = apart ? i % bands * pixels + i / bands : i;
            std::memcpy(m_rows.data() + to * sizeof(Sample), &samples[i], sizeof(Sample));
        }
    }

    RowsHeader m_header;
    std::string m_comment;
    JpegLsSettings m_ls;
    ByteSink& m_out;
    std::vector<uint8_t> m_rows;
};

}  // namespace

std::unique_ptr<RowWriter> make_jpegls_writer(const RowsHeader& header, const JpegEncoding& encoding, ByteSink& out) {
    return std::make_unique<JpegLsWriter>(header, encoding, out);
}

}  // namespace zelmor::imagework
