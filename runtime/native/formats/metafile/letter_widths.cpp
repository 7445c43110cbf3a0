// Measuring letters; see letter_widths.h.
#include "runtime/native/formats/metafile/letter_widths.h"

#include <cmath>
#include <string_view>

#include "runtime/native/drawwork/loader.h"

namespace zelmor::embed::metafile {

double average_letter_width(const drawwork::TextLayout& font, double size) {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    constexpr double kProbe = 100;
    drawwork::TextLayout probe = font;
    probe.text = kAlphabet;
    probe.size = kProbe;
    return drawing_backend().measure(probe).width / kAlphabet.size() * size / kProbe;
}

std::optional<TextScale> text_scale(const drawwork::Affine& placing) {
    const double determinant = placing.determinant();
    const double slant = placing.m11 * placing.m21 + placing.m12 * placing.m22;
    if (!(determinant > 0) || !(std::abs(slant) <= 1e-6 * determinant)) {
        return std::nullopt;
    }
    return TextScale{std::hypot(placing.m11, placing.m12), std::hypot(placing.m21, placing.m22)};
}

int64_t letter_width(const drawwork::TextLayout& layout, const TextScale& scale) {
    constexpr double kRounding = 0.02;  // the places of letters, which records say one by one, carry as much
    if (std::abs(scale.along / scale.across - 1) <= kRounding) {
        return 0;
    }
    return std::lround(average_letter_width(layout, layout.size) * scale.along);
}

}  // namespace zelmor::embed::metafile
