// Text: fonts by the height of their lines or letters, alignment, distances of characters, turned lines.
#include <algorithm>
#include <cmath>

#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/metafile/letter_widths.h"
#include "runtime/native/formats/metafile/player/device.h"
#include "runtime/native/formats/metafile/player/shown_text.h"

namespace zelmor::embed::metafile {

namespace {

using drawwork::TextExtent;
using drawwork::TextLayout;

// Of the alignment of text.
enum : uint32_t {
    kUpdatePosition = 1,
    kRight = 2,
    kCenter = 6,
    kBottom = 8,
    kBaseline = 24,
    kRightToLeftReading = 0x100
};

constexpr double kProbe = 100;       // the size that fonts are measured with
constexpr double kUsualHeight = 12;  // of a font without one, in pixels of the device
constexpr size_t kMostCharacters = 65536;

// Characters that join or change their order: such text is drawn as a whole.
bool is_shaped(const std::u16string& text) {
    return std::any_of(text.begin(), text.end(), [](char16_t c) {
        return (c >= 0x590 && c < 0xE00) || (c >= 0x1780 && c < 0x1800) || (c >= 0xFB1D && c <= 0xFEFC && c != 0xFE0F);
    });
}

bool goes_on(char16_t c) {
    return (c >= 0xDC00 && c < 0xE000) || (c >= 0x300 && c < 0x370) || (c >= 0xFE00 && c < 0xFE10);
}

std::string family_of(const DeviceFont& font) {
    constexpr const char* kFamilies[] = {"sans-serif", "serif", "sans-serif", "monospace", "cursive", "fantasy"};
    const FontChoice choice = font_choice();
    std::string name = to_utf8(font.face.substr(0, font.face.find(u'\0')));
    if (!name.empty() && name.front() == '@') {  // letters that stand upright in vertical lines
        name.erase(0, 1);
    }
    std::replace(name.begin(), name.end(), ',', ' ');
    for (const std::string& other :
         {choice.default_name, std::string(font.family < std::size(kFamilies) ? kFamilies[font.family] : "")}) {
        if (!other.empty()) {
            name += (name.empty() ? "" : ",") + other;
        }
    }
    return name;
}

}  // namespace

// One run of text. Its own space has its origin where the text begins on the baseline, y pointing down and the units
// of a layout, which is as large as on the canvas.
class TextDrawing {
 public:
    TextDrawing(Device& device, const TextRun& run) : m_device(device), m_run(run) {
        const DeviceState& state = device.state;
        const DeviceFont& font = state.font;
        m_layout.family = family_of(font);
        m_layout.bold = font.weight >= 600;
        m_layout.italic = font.italic;
        m_layout.underline = font.underline;
        m_layout.strikeout = font.strikeout;
        m_layout.smooth = device.rendering().smooth_text;
        m_layout.hinted = device.rendering().hinted;
        m_layout.exact = true;
        m_layout.wrap = false;
        m_layout.folders = font_choice().folders;
        m_layout.right_to_left =
            (run.options & TextRun::kRightToLeft) != 0 || (state.text_align & kRightToLeftReading) != 0;
        const Affine page = state.page_map(device.space());
        const Affine upright = Affine::scaling(std::hypot(page.m11, page.m12), std::hypot(page.m21, page.m22));
        const Affine turn = Affine::rotation(-font.escapement / 10);
        const Affine world = state.world.linear();
        m_map = (world == Affine() ? upright.then(turn) : turn.then(world).then(upright))
                    .then(device.space().to_canvas.linear());
        const double scale = m_map.mean_scale();
        if (!(scale > 0) || !std::isfinite(scale)) {
            return;
        }
        double size = -font.height;
        if (font.height == 0) {
            size = upright.m22 > 0 ? kUsualHeight / upright.m22 : kUsualHeight;
        } else if (font.height > 0) {
            size = font.height * kProbe / std::max(measured(u"X", kProbe).height, 1.0);
        }
        // As large as on the canvas, within the sizes that fonts have.
        constexpr double kMostSize = 500;
        m_layout.size = std::min(size * scale, kMostSize);
        if (!is_measurable(m_layout.size)) {
            return;
        }
        m_unit = size / m_layout.size;
        if (font.width != 0) {
            const double usual = average_letter_width(m_layout, size);
            m_stretch = usual > 0 ? std::abs(font.width) / usual : 1;
        }
        m_usable = true;
    }

    void draw() {
        if (!m_usable || m_run.text.empty()) {
            return;
        }
        DeviceState& state = m_device.state;
        set_advances();
        const TextExtent line = extent_of(m_run.text);
        m_natural = line.width * m_stretch;
        double width = m_natural;
        if (!m_advances.empty()) {
            width = 0;
            for (const double advance : m_advances) {
                width += advance;
            }
        }
        const bool moves = (state.text_align & kUpdatePosition) != 0;
        const PointD at = moves ? state.position : m_run.at;
        PointD begin;
        const uint32_t across = state.text_align & kCenter, along = state.text_align & kBaseline;
        begin.x = across == kCenter ? -width / 2 : across == kRight ? -width : 0;
        begin.y = along == kBaseline ? 0 : along == kBottom ? line.baseline - line.height : line.baseline;
        m_placing = Affine::scaling(m_unit, m_unit).then(m_map);
        const PointD origin = m_device.canvas_map().apply(at);
        m_placing.dx = origin.x;
        m_placing.dy = origin.y;
        if (state.opaque && (m_run.options & TextRun::kOpaque) == 0) {
            Paint background;
            background.color = state.background;
            const RectD cell{begin.x, begin.y - line.baseline, width, line.height};
            if (!m_device.m_path_open) {
                m_device.canvas().fill(on_canvas({rectangle_contour(cell)}, m_placing), FillRule::kWinding, background,
                                       m_device.rendering().smooth);
            }
        }
        draw_letters(begin, line.baseline);
        if (moves && across != kCenter) {
            move_position(across == kRight ? -width : width);
        }
    }

 private:
    TextExtent measured(const std::u16string& text, double size) const {
        TextLayout layout = m_layout;
        layout.text = to_utf8(text);
        layout.size = size;
        return drawing_backend().measure(layout);
    }
    TextExtent extent_of(const std::u16string& text) const { return measured(text, m_layout.size); }

    // In units of the layout. Those of the record, or those of the font where something is added to them.
    void set_advances() {
        const DeviceState& state = m_device.state;
        const size_t count = std::min(m_run.text.size(), kMostCharacters);
        if (!m_run.advances.empty()) {
            for (size_t i = 0; i < count; ++i) {
                m_advances.push_back(i < m_run.advances.size() ? m_run.advances[i] / m_unit : 0);
            }
            return;
        }
        if (state.char_extra == 0 && (state.break_extra == 0 || state.break_count == 0)) {
            return;
        }
        std::map<char16_t, double> widths;
        for (size_t i = 0; i < count; ++i) {
            const char16_t c = m_run.text[i];
            auto [found, is_new] = widths.try_emplace(c, 0);
            if (is_new && !goes_on(c)) {
                found->second = extent_of(std::u16string(1, c)).width * m_stretch;
            }
            double extra = state.char_extra;
            if (c == u' ' && state.break_count != 0) {
                extra += state.break_extra / state.break_count;
            }
            m_advances.push_back(found->second + extra / m_unit);
        }
    }

    void draw_letters(PointD begin, double baseline) {
        double total = 0;
        for (const double advance : m_advances) {
            total += advance;
        }
        // The same text as the font itself would set it, but for rounding.
        const bool close =
            m_advances.empty() || std::abs(total - m_natural) <= std::min(0.01 * m_natural, 0.25 * m_layout.size);
        const bool level = std::all_of(m_run.rises.begin(), m_run.rises.end(), [](double rise) { return rise == 0; });
        if ((close || is_shaped(m_run.text)) && level) {
            const double fit = !m_advances.empty() && m_natural > 0 && total > 0 ? total / m_natural : 1;
            put(m_run.text, {begin.x, begin.y - baseline}, m_stretch * fit);
            return;
        }
        double x = begin.x, y = begin.y - baseline;
        if (level && total > 0 && (m_layout.underline || m_layout.strikeout)) {
            put_lines({x, y}, total);
            m_layout.underline = m_layout.strikeout = false;
        }
        for (size_t i = 0; i < m_advances.size();) {
            size_t end = i + 1;
            while (end < m_advances.size() && goes_on(m_run.text[end])) {
                ++end;
            }
            put(m_run.text.substr(i, end - i), {x, y}, m_stretch);
            for (; i < end; ++i) {
                x += m_advances[i];
                y -= i < m_run.rises.size() ? m_run.rises[i] / m_unit : 0;
            }
        }
    }

    void put(const std::u16string& text, PointD at, double stretch) {
        m_layout.text = to_utf8(text);
        const Affine placing = Affine::scaling(stretch, 1).then(Affine::translation(at.x, at.y)).then(m_placing);
        if (m_device.m_path_open) {
            if (const auto back = m_device.space().to_canvas.inverse()) {
                m_device.shape(transformed(drawing_backend().outline_of(m_layout), placing.then(*back)), false, false);
            }
            return;
        }
        Paint paint;
        paint.color = m_device.state.text_color;
        show_text(m_device.canvas(), m_layout, placing, paint, m_device.rendering().smooth);
    }

    // The lines under all letters and through them, which go on between letters that are set one by one. Those of a
    // space tell where they are.
    void put_lines(PointD at, double length) {
        m_layout.text = " ";
        Outline lines;
        for (const Contour& line : drawing_backend().outline_of(m_layout)) {
            const RectD box = bounds_of({line});
            lines.push_back(rectangle_contour({0, box.y, length, box.height}));
        }
        const Affine placing = Affine::translation(at.x, at.y).then(m_placing);
        if (m_device.m_path_open) {
            if (const auto back = m_device.space().to_canvas.inverse()) {
                m_device.shape(transformed(lines, placing.then(*back)), false, false);
            }
            return;
        }
        Outline shown = on_canvas(lines, placing);
        if (m_layout.smooth && placing.m12 == 0 && placing.m21 == 0 && m_device.canvas().is_screen()) {
            for (Contour& line : shown) {  // whole rows of pixels are not blurred
                RectD box = bounds_of({line});
                const double middle = box.y + box.height / 2;
                box.height = std::max(std::round(box.height), 1.0);
                box.y = std::round(middle - box.height / 2);
                line = rectangle_contour(box);
            }
        }
        Paint paint;
        paint.color = m_device.state.text_color;
        m_device.canvas().fill(shown, FillRule::kWinding, paint, m_device.rendering().smooth_text);
    }

    void move_position(double by) {
        PointD end = m_placing.apply({by, 0});
        if (const auto back = m_device.canvas_map().inverse()) {
            m_device.state.position = back->apply(end);
        }
    }

    Device& m_device;
    TextRun m_run;
    TextLayout m_layout;
    Affine m_map;       // of lengths, from logical units to the canvas
    Affine m_placing;   // of units of the layout
    double m_unit = 1;  // logical units in a unit of the layout
    double m_stretch = 1;
    double m_natural = 0;
    std::vector<double> m_advances;
    bool m_usable = false;
};

void Device::text(const TextRun& run) {
    use_clip();
    const bool framed = (run.options & TextRun::kNoRect) == 0;
    const Outline box = on_canvas({rectangle_contour(run.rect)}, canvas_map());
    if (framed && (run.options & TextRun::kOpaque) != 0 && !m_path_open) {
        Paint background;
        background.color = state.background;
        m_canvas.fill(box, FillRule::kWinding, background, m_rendering.smooth);
    }
    if ((run.options & TextRun::kGlyphs) != 0) {
        return;  // numbers of a font that is not at hand
    }
    const bool clipped = framed && (run.options & TextRun::kClipped) != 0;
    if (clipped) {
        m_canvas.save();
        m_canvas.clip(box, FillRule::kWinding, m_rendering.smooth);
    }
    TextDrawing(*this, run).draw();
    if (clipped) {
        m_canvas.restore();
    }
}

}  // namespace zelmor::embed::metafile
