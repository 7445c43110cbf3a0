// Making thumbnails; see psd_thumbnail.h.
#include "runtime/native/formats/psd/psd_thumbnail.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/psd/psd_resources.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/samples.h"

namespace zelmor::imagework {
namespace {

constexpr int32_t kMostSide = 160;

std::array<uint8_t, 3> entry(const std::vector<Argb>& palette, uint8_t index) {
    const Argb color = index < palette.size() ? palette[index] : kBlack;
    return {static_cast<uint8_t>(color >> 16), static_cast<uint8_t>(color >> 8), static_cast<uint8_t>(color)};
}

}  // namespace

PsdThumbnail::PsdThumbnail(const RowsHeader& header, StandardColors colors)
    : m_header(header), m_colors(std::move(colors)) {
    assert(m_colors);
    m_step = (std::max(header.width, header.height) + kMostSide - 1) / kMostSide;
    m_small.width = (header.width + m_step - 1) / m_step;
    m_small.height = (header.height + m_step - 1) / m_step;
    m_small.profile = header.profile;
    if (header.form.color != ColorModel::kIndexed) {
        m_small.form = header.form;
        m_small.form.alpha = false;
        m_small.form.bits = std::max(8, header.form.bits);
    }
    m_sums.resize(static_cast<size_t>(m_small.form.bands()) * static_cast<size_t>(m_small.width));
}

void PsdThumbnail::add(const uint8_t* row) {
    const PixelForm& form = m_header.form;
    const auto colors = static_cast<size_t>(m_small.form.bands());
    const auto add_pixel = [&](int32_t x, const auto* samples) {
        double* sums = m_sums.data() + colors * static_cast<size_t>(x / m_step);
        std::transform(sums, sums + colors, samples, sums,
                       [](double sum, auto sample) { return sum + static_cast<double>(sample); });
    };
    if (form.color == ColorModel::kIndexed) {
        for (int32_t x = 0; x < m_header.width; x++) {
            add_pixel(x, entry(m_header.palette, row[x]).data());
        }
    } else {
        m_row.assign(row, row + form.pixel_size() * static_cast<size_t>(m_header.width));
        turn_signs(form, m_row);
        with_storage(storage_of(form.sample), [&](auto sample) {
            const auto* at = reinterpret_cast<const decltype(sample)*>(m_row.data());
            for (int32_t x = 0; x < m_header.width; x++, at += form.bands()) {
                add_pixel(x, at);
            }
        });
    }
    m_rows++;
    if (m_rows == m_step) {
        end_row();
    }
}

void PsdThumbnail::end_row() {
    const auto bands = static_cast<size_t>(m_small.form.bands());
    const size_t begin = m_samples.size();
    m_samples.resize(begin + m_small.form.pixel_size() * static_cast<size_t>(m_small.width));
    const std::span<uint8_t> row(m_samples.data() + begin, m_samples.size() - begin);
    with_storage(storage_of(m_small.form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        auto* to = reinterpret_cast<Sample*>(row.data());
        for (size_t i = 0; i < m_sums.size(); i++) {
            const auto x = static_cast<int32_t>(i / bands);
            const double mean =
                m_sums[i] / (static_cast<double>(std::min(m_step, m_header.width - x * m_step)) * m_rows);
            to[i] = static_cast<Sample>(std::is_floating_point_v<Sample> ? mean : std::round(mean));
        }
    });
    turn_signs(m_small.form, row);
    std::fill(m_sums.begin(), m_sums.end(), 0.0);
    m_rows = 0;
}

std::vector<uint8_t> PsdThumbnail::resource() {
    if (m_rows > 0) {
        end_row();
    }
    RowsHeader header;
    header.width = m_small.width;
    header.height = m_small.height;
    const std::vector<uint8_t> rgb = m_colors(m_small, std::move(m_samples));
    MemorySink sink;
    const auto writer = make_jpeg_writer(header, JpegEncoding{}, sink);
    writer->write(header.height, rgb);
    writer->finish();
    const EncodedBytes jpeg = sink.take();

    constexpr int kJpegRgb = 1;
    constexpr int kBits = 24;
    const uint64_t stride = (static_cast<uint64_t>(header.width) * kBits + 31) / 32 * 4;
    std::vector<uint8_t> out;
    put_number(out, kJpegRgb, 4);
    put_number(out, static_cast<uint64_t>(header.width), 4);
    put_number(out, static_cast<uint64_t>(header.height), 4);
    put_number(out, stride, 4);
    put_number(out, stride * static_cast<uint64_t>(header.height), 4);
    put_number(out, jpeg.size, 4);
    put_number(out, kBits, 2);
    put_number(out, 1, 2);
    put_bytes(out, jpeg.bytes());
    return out;
}

}  // namespace zelmor::imagework
