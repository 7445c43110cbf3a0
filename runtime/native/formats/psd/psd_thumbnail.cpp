// Making thumbnails; see psd_thumbnail.h.
#include "runtime/native/formats/psd/psd_thumbnail.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/psd/psd_resources.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::imagework {
namespace {

constexpr int32_t kMostSide = 160;
constexpr size_t kBands = 4;  // sums of one pixel

using Color = std::array<double, 3>;

double srgb_curve(double linear) {
    linear = std::clamp(linear, 0.0, 1.0);
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

// CIE Lab by D50 to sRGB; the bands from 0 to 1, a* and b* counted from the middle.
Color lab_to_rgb(const double* bands) {
    const double lightness = bands[0] * 100;
    const double a = bands[1] * 255 - 128;
    const double b = bands[2] * 255 - 128;
    const auto cube = [](double t) { return t > 6.0 / 29 ? t * t * t : (t - 4.0 / 29) * 108 / 841; };
    const double fy = (lightness + 16) / 116;
    const double x = 0.96422 * cube(fy + a / 500);
    const double y = cube(fy);
    const double z = 0.82521 * cube(fy - b / 200);
    return {srgb_curve(3.1338561 * x - 1.6168667 * y - 0.4906146 * z),
            srgb_curve(-0.9787684 * x + 1.9161415 * y + 0.0334540 * z),
            srgb_curve(0.0719453 * x - 0.2289914 * y + 1.4052427 * z)};
}

double sample_of(const PixelForm& form, const uint8_t* row, size_t index) {
    switch (form.sample) {
        case SampleType::kUint8:
            return row[index] / 255.0;
        case SampleType::kUint16:
            return reinterpret_cast<const uint16_t*>(row)[index] / 65535.0;
        default:
            assert(form.sample == SampleType::kFloat);
            return static_cast<double>(reinterpret_cast<const float*>(row)[index]);
    }
}

Color color_of(const PixelForm& form, const double* bands) {
    Color color{bands[0], bands[1], bands[2]};
    switch (form.color) {
        case ColorModel::kCmyk:
            for (double& ink : color) {
                ink = (1 - ink) * (1 - bands[3]);
            }
            break;
        case ColorModel::kLab:
            return lab_to_rgb(bands);
        case ColorModel::kGray:
            color = {bands[0], bands[0], bands[0]};
            break;
        default:
            break;
    }
    if (form.sample == SampleType::kFloat) {
        std::transform(color.begin(), color.end(), color.begin(), srgb_curve);  // floating samples are linear light
    }
    return color;
}

}  // namespace

PsdThumbnail::PsdThumbnail(const RowsHeader& header) : m_header(header) {
    m_step = (std::max(header.width, header.height) + kMostSide - 1) / kMostSide;
    m_width = (header.width + m_step - 1) / m_step;
    m_height = (header.height + m_step - 1) / m_step;
    m_sums.resize(kBands * static_cast<size_t>(m_width));
}

void PsdThumbnail::add(const uint8_t* row) {
    const PixelForm& form = m_header.form;
    const auto bands = static_cast<size_t>(form.bands());
    const auto colors = static_cast<size_t>(form.color_bands());
    for (int32_t x = 0; x < m_header.width; x++) {
        double* sums = m_sums.data() + kBands * static_cast<size_t>(x / m_step);
        if (form.color == ColorModel::kIndexed) {
            const Argb color = row[x] < m_header.palette.size() ? m_header.palette[row[x]] : kBlack;
            sums[0] += (color >> 16 & 0xFF) / 255.0;
            sums[1] += (color >> 8 & 0xFF) / 255.0;
            sums[2] += (color & 0xFF) / 255.0;
            continue;
        }
        for (size_t band = 0; band < colors; band++) {
            double sample = sample_of(form, row, bands * static_cast<size_t>(x) + band);
            if (form.color == ColorModel::kLab && band > 0) {
                sample = sample < 0.5 ? sample + 128.0 / 255 : sample - 128.0 / 255;  // the sign bit, turned
            }
            sums[band] += sample;
        }
    }
    m_rows++;
    if (m_rows == m_step) {
        end_row();
    }
}

void PsdThumbnail::end_row() {
    for (int32_t x = 0; x < m_width; x++) {
        double* sums = m_sums.data() + kBands * static_cast<size_t>(x);
        const double pixels = static_cast<double>(std::min(m_step, m_header.width - x * m_step)) * m_rows;
        std::transform(sums, sums + kBands, sums, [&](double sum) { return sum / pixels; });
        for (const double value : color_of(m_header.form, sums)) {
            m_rgb.push_back(static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255)));
        }
    }
    std::fill(m_sums.begin(), m_sums.end(), 0.0);
    m_rows = 0;
}

std::vector<uint8_t> PsdThumbnail::resource() {
    if (m_rows > 0) {
        end_row();
    }
    assert(m_rgb.size() == 3 * static_cast<size_t>(m_width) * static_cast<size_t>(m_height));
    RowsHeader header;
    header.width = m_width;
    header.height = m_height;
    MemorySink sink;
    const auto writer = make_jpeg_writer(header, JpegEncoding{}, sink);
    writer->write(m_height, m_rgb);
    writer->finish();
    const EncodedBytes jpeg = sink.take();

    constexpr int kJpegRgb = 1;
    constexpr int kBits = 24;
    const uint64_t stride = (static_cast<uint64_t>(m_width) * kBits + 31) / 32 * 4;
    std::vector<uint8_t> out;
    put_number(out, kJpegRgb, 4);
    put_number(out, static_cast<uint64_t>(m_width), 4);
    put_number(out, static_cast<uint64_t>(m_height), 4);
    put_number(out, stride, 4);
    put_number(out, stride * static_cast<uint64_t>(m_height), 4);
    put_number(out, jpeg.size, 4);
    put_number(out, kBits, 2);
    put_number(out, 1, 2);
    put_bytes(out, jpeg.bytes());
    return out;
}

}  // namespace zelmor::imagework
