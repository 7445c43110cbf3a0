// Walking over the segments of a JPEG file; see jpeg_copy.h.
#include "runtime/native/formats/pdf/jpeg_copy.h"

#include <algorithm>
#include <string_view>

#include "runtime/native/formats/jpeg/jpeg_markers.h"

namespace zelmor::imagework {
namespace {

constexpr uint8_t kApp2 = 0xE2, kApp14 = 0xEE, kLastApp = 0xEF;
constexpr uint8_t kBaseline = 0xC0, kProgressive = 0xC2;

bool begins(std::span<const uint8_t> bytes, std::string_view text) {
    return bytes.size() >= text.size() &&
           std::equal(text.begin(), text.end(), bytes.begin(), [](char c, uint8_t b) { return uint8_t(c) == b; });
}

// A frame header that every reader of PDF knows.
bool is_plain_frame(uint8_t marker, std::span<const uint8_t> body, bool& is_color, bool& usual_names) {
    constexpr size_t kBeforeComponents = 6, kComponent = 3;
    if (marker > kProgressive || body.size() < kBeforeComponents || body[0] != 8) {
        return false;
    }
    const size_t count = body[5];
    if ((count != 1 && count != 3) || body.size() != kBeforeComponents + count * kComponent) {
        return false;
    }
    is_color = count == 3;
    usual_names = true;
    for (size_t i = 0; i < count; ++i) {
        usual_names = usual_names && body[kBeforeComponents + i * kComponent] == i + 1;
    }
    return true;
}

// Behind the data of a scan that begins at `at`: the place of the next marker.
size_t end_of_scan(std::span<const uint8_t> file, size_t at) {
    for (; at + 1 < file.size(); ++at) {
        if (file[at] == kJpegFill && file[at + 1] != kJpegStuffing && file[at + 1] != kJpegFill &&
            !is_jpeg_restart(file[at + 1])) {
            return at;
        }
    }
    return file.size();
}

}  // namespace

std::optional<std::vector<uint8_t>> jpeg_for_pdf(std::span<const uint8_t> file, bool has_profile) {
    if (file.size() < 4 || file[0] != kJpegFill || file[1] != kJpegStart) {
        return std::nullopt;
    }
    std::vector<uint8_t> result{kJpegFill, kJpegStart};
    result.reserve(file.size());
    bool has_frame = false, is_color = false, usual_names = false, tells_colors = false, file_has_profile = false;
    for (size_t at = 2; at + 1 < file.size();) {
        if (file[at] != kJpegFill) {
            return std::nullopt;
        }
        const uint8_t marker = file[at + 1];
        if (marker == kJpegFill) {
            ++at;
            continue;
        }
        if (marker == kJpegEnd) {
            const bool known = !is_color || usual_names || tells_colors;
            if (!has_frame || !known || file_has_profile != has_profile) {
                return std::nullopt;
            }
            result.insert(result.end(), {kJpegFill, kJpegEnd});
            return result;
        }
        if (is_bare_jpeg_marker(marker) || at + 4 > file.size()) {
            return std::nullopt;
        }
        const size_t length = size_t{file[at + 2]} << 8 | file[at + 3];
        if (length < 2 || at + 2 + length > file.size()) {
            return std::nullopt;
        }
        const std::span<const uint8_t> body = file.subspan(at + 4, length - 2);
        size_t end = at + 2 + length;
        if (is_jpeg_frame(marker)) {
            if (has_frame || marker < kBaseline || !is_plain_frame(marker, body, is_color, usual_names)) {
                return std::nullopt;
            }
            has_frame = true;
        } else if (marker == kJpegScan) {
            end = end_of_scan(file, end);
        }
        tells_colors = tells_colors || (marker == kJpegApp0 && begins(body, "JFIF")) ||
                       (marker == kApp14 && begins(body, "Adobe"));
        file_has_profile = file_has_profile || (marker == kApp2 && begins(body, "ICC_PROFILE"));
        const bool describes =
            marker == kJpegComment || (marker >= kJpegApp1 && marker <= kLastApp && marker != kApp14);
        if (!describes) {
            result.insert(result.end(), file.begin() + static_cast<std::ptrdiff_t>(at),
                          file.begin() + static_cast<std::ptrdiff_t>(end));
        }
        at = end;
    }
    return std::nullopt;  // it has no end
}

}  // namespace zelmor::imagework
