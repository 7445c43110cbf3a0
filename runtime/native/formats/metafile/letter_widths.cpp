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

int64_t letter_width(const drawwork::TextLayout& layout, const TextScale& scale) {
    constexpr double kRounding = 0.02;  // the places of letters, which records say one by one, carry as much
    if (std::abs(scale.along / scale.across - 1) <= kRounding) {
        return 0;
    }
    return std::lround(average_letter_width(layout, layout.size) * scale.along);
}

}  // namespace zelmor::embed::metafile
