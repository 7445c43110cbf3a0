// The facts in the markers of a JPEG file up to its first scan.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_markers.h"
#include "runtime/native/formats/jpeg/jpeg_quality.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

namespace {

constexpr int kQualities = 100;
using Sums = std::array<int64_t, kQualities + 1>;  // by quality, from 1 on

// For each quality the sum of the table that encoders make for it of the example luminance table in annex K of the
// standard. Its order does not matter for the sum.
constexpr Sums sums_of_tables(int greatest) {
    constexpr int kExample[64] = {
        16, 11,  10,  16, 24, 40, 51, 61, 12,  12,  14,  19,  26, 58, 60, 55,  14,  13,  16,  24, 40, 57,
        69, 56,  14,  17, 22, 29, 51, 87, 80,  62,  18,  22,  37, 56, 68, 109, 103, 77,  24,  35, 55, 64,
        81, 104, 113, 92, 49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98,  112, 100, 103, 99,
    };
    Sums sums{};
    for (int quality = 1; quality <= kQualities; quality++) {
        const int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
        for (const int value : kExample) {
            sums[static_cast<size_t>(quality)] += std::clamp((value * scale + 50) / 100, 1, greatest);
        }
    }
    return sums;
}

}  // namespace

int jpeg_quality(const ByteReader& in, uint64_t table, bool wide) {
    static constexpr Sums kBytes = sums_of_tables(255);
    static constexpr Sums kWords = sums_of_tables(32767);
    int64_t sum = 0;
    for (uint64_t i = 0; i < 64; i++) {
        sum += wide ? in.u16(table + 2 * i) : in.u8(table + i);
    }
    const Sums& sums = wide ? kWords : kBytes;
    int best = kQualities;
    for (int quality = kQualities; quality >= 1; quality--) {
        if (std::abs(sums[static_cast<size_t>(quality)] - sum) < std::abs(sums[static_cast<size_t>(best)] - sum)) {
            best = quality;
        }
    }
    return best;
}

namespace {

// The segments that tell how the colors are stored.
struct ColorMarks {
    bool jfif = false;
    int transform = -1;  // of Adobe's segment: 0 for the colors as they are; -1 without the segment
};

// As libjpeg takes them. Luminance and differences lose a little, so that a lossless file has them only if it says so.
JpegColor color_of(const ByteReader& in, uint64_t frame, int components, const ColorMarks& marks, bool lossless) {
    if (components == 1) {
        return JpegColor::kGray;
    }
    if (components == 4) {
        return marks.transform == 2 ? JpegColor::kYcck : JpegColor::kCmyk;
    }
    if (marks.jfif || marks.transform > 0) {
        return JpegColor::kYcc;
    }
    if (lossless) {
        return JpegColor::kRgb;
    }
    const auto id = [&](uint64_t component) { return in.u8(frame + 10 + 3 * component); };
    const bool named = id(0) == 'R' && id(1) == 'G' && id(2) == 'B';
    return marks.transform == 0 || named ? JpegColor::kRgb : JpegColor::kYcc;
}

// From the header of the frame and that of the first scan, which follows, maybe behind other segments.
void take_ls_settings(const ByteReader& in, uint64_t frame, int depth, JpegLsSettings& ls) {
    ls.bits = depth;
    for (uint64_t at = frame; in.has(at, 4) && in.u8(at) == kJpegFill; at += 2 + uint64_t{in.u16(at + 2)}) {
        if (in.u8(at + 1) == kJpegScan) {
            const uint64_t behind = at + 5 + 2 * uint64_t{in.u8(at + 4)};
            ls.greatest_error = in.u8(behind);
            ls.interleaving = static_cast<JpegLsInterleaving>(std::min<int>(in.u8(behind + 1), 2));
            return;
        }
    }
}

// The sampling of each component, where a writer may use it again: each divides the greatest one, and the blocks of a
// unit are no more than the format lets a scan have.
void take_sampling(const ByteReader& in, uint64_t frame, int components, JpegEncoding& encoding) {
    constexpr int kMost = 4, kMostBlocks = 10;
    std::array<std::vector<uint8_t>, 2> factors;
    int blocks = 0;
    for (int i = 0; i < components; i++) {
        const int both = in.u8(frame + 11 + 3 * static_cast<uint64_t>(i));
        blocks += (both >> 4) * (both & 15);
        factors[0].push_back(static_cast<uint8_t>(both >> 4));
        factors[1].push_back(static_cast<uint8_t>(both & 15));
    }
    for (const auto& each : factors) {
        const int most = each.empty() ? 0 : *std::max_element(each.begin(), each.end());
        const auto fits = [&](int factor) { return factor >= 1 && factor <= kMost && most % factor == 0; };
        if (each.empty() || !std::all_of(each.begin(), each.end(), fits)) {
            return;
        }
    }
    if (components > 1 && blocks <= kMostBlocks) {
        encoding.horizontal_sampling = std::move(factors[0]);
        encoding.vertical_sampling = std::move(factors[1]);
    }
}

void probe_jpeg(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(true);
    JpegEncoding encoding;
    bool have_quality = false;
    ColorMarks colors;
    for (uint64_t at = 2; in.has(at, 4);) {
        if (in.u8(at) != 0xFF) {
            return;
        }
        int marker = in.u8(at + 1);
        if (marker == kJpegFill) {
            at++;
            continue;
        }
        if (is_bare_jpeg_marker(marker)) {
            at += 2;
            continue;
        }
        if (marker == kJpegEnd || marker == kJpegScan) {
            return;
        }
        uint32_t length = in.u16(at + 2);
        if (length < 2) {
            return;
        }
        if (marker == kJpegApp0 && in.starts_with(at + 4, "JFIF")) {
            colors.jfif = true;
            facts.has_resolution |= in.u8(at + 11) == 1 || in.u8(at + 11) == 2;  // per inch or centimeter
        } else if (marker == kJpegApp1 && in.starts_with(at + 4, "Exif")) {
            facts.has_resolution = true;
        } else if (marker == kJpegQuantizationTable && !have_quality && length >= 67 && (in.u8(at + 4) & 0x0F) == 0) {
            encoding.quality = jpeg_quality(in, at + 5, in.u8(at + 4) >> 4 != 0);
            have_quality = true;
        } else if (marker == kJpegComment && encoding.comment.empty() && in.has(at + 4, length - 2)) {
            const auto comment = in.piece(at + 4, length - 2);
            encoding.comment.assign(comment.begin(), comment.end());
        } else if (marker == kJpegApp14 && length >= 14 && in.starts_with(at + 4, "Adobe")) {
            colors.transform = in.u8(at + 15);
        } else if (is_jpeg_frame(marker) || marker == kJpegLsFrame) {
            int depth = in.u8(at + 4);
            int components = in.u8(at + 9);
            facts.height = in.u16(at + 5);
            facts.width = in.u16(at + 7);
            facts.bits_per_pixel = depth * components;
            encoding.progressive = is_progressive_jpeg_frame(marker);
            encoding.is_ls = marker == kJpegLsFrame;
            encoding.is_lossless = is_lossless_jpeg_frame(marker);
            encoding.bits = encoding.is_ls ? 8 : depth;
            encoding.color = encoding.is_ls && components == 3
                                 ? JpegColor::kRgb
                                 : color_of(in, at, components, colors, encoding.is_lossless);
            if (!encoding.is_ls && !encoding.is_lossless) {
                take_sampling(in, at, components, encoding);
            }
            if (encoding.is_ls) {
                take_ls_settings(in, at, depth, encoding.ls);
            }
            facts.encoding = encoding;
            facts.readable = in.ok() && facts.width > 0 && facts.height > 0 && components > 0;
            return;
        }
        at += 2 + static_cast<uint64_t>(length);
    }
}

bool begins_jpeg(const ByteReader& in) {
    return in.starts_with(0, "\xFF\xD8\xFF");
}

class JpegEnd final : public PictureEnd {
 public:
    explicit JpegEnd(const FileFacts& facts) : PictureEnd(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data, true);
        for (;;) {
            if (m_in_scan && !skip_scan(data)) {
                return data.size() + kStep;
            }
            if (!in.has(m_at, 2)) {
                return m_at + 2;
            }
            const int marker = in.u8(m_at + 1);
            if (in.u8(m_at) != 0xFF) {
                return kUnknown;
            }
            if (marker == kJpegFill) {
                m_at++;
            } else if (marker == kJpegEnd) {
                return m_at + 2;
            } else if (is_bare_jpeg_marker(marker)) {
                m_at += 2;
            } else {
                if (!in.has(m_at, 4)) {
                    return m_at + 4;
                }
                m_at += 2 + uint64_t{in.u16(m_at + 2)};
                m_in_scan = marker == kJpegScan;
                m_is_ls = m_is_ls || marker == kJpegLsFrame;
            }
        }
    }

 private:
    // To the next marker that does not belong to the data of the scan; false where it has not come yet.
    bool skip_scan(std::span<const uint8_t> data) {
        while (m_at + 1 < data.size()) {
            const auto* found = static_cast<const uint8_t*>(
                std::memchr(data.data() + m_at, 0xFF, static_cast<size_t>(data.size() - m_at)));
            m_at = found != nullptr ? static_cast<uint64_t>(found - data.data()) : data.size();
            if (m_at + 1 >= data.size()) {
                return false;
            }
            const uint8_t next = data[m_at + 1];
            if (!is_jpeg_scan_byte(next, m_is_ls) && next != kJpegFill && !is_jpeg_restart(next)) {
                m_in_scan = false;
                return true;
            }
            m_at += next == kJpegFill ? 1 : 2;
        }
        return false;
    }

    static constexpr uint64_t kStep = 1024;
    uint64_t m_at = 2;
    bool m_in_scan = false;
    bool m_is_ls = false;
};

std::unique_ptr<PictureEnd> jpeg_end(const FileFacts& facts) {
    return std::make_unique<JpegEnd>(facts);
}

constexpr const char* kJpegExtensions[] = {"jpg", "jpeg", "jpe", "jfif"};

}  // namespace

extern const FormatRoom kJpegRoom;
const FormatRoom kJpegRoom{
    .format = Format::kJpeg,
    .name = "JPEG",
    .extensions = kJpegExtensions,
    .begins = &begins_jpeg,
    .probe = &probe_jpeg,
    .end = &jpeg_end,
    .default_settings = &default_settings_of<JpegEncoding>,
};

}  // namespace zelmor::imagework
